/* Light records of the light manager, uploaded in its group order: point lights, then spot lights,
 * then sun lights, the runs given by lightGroupOffsets (x: first spot, y: first sun, z: end).
 *
 * color: rgb colour, a intensity.
 * position: xyz world position. direction: xyz world direction the light points to (its +Y axis).
 * parameters: x outer and y inner spot cone angle in degrees (full angles), z shadows enabled,
 *     w shadow range.
 * shadowParameters: w number of sun cascades.
 * derived: x cos(outer/2), y cos(inner/2) for spot lights, z 1 when shadows were assigned this
 *     frame, w index of the first shadow record. */

#ifndef MAX_LIGHTS
#define MAX_LIGHTS 64
#endif

#define LIGHT_TYPE_POINT 0
#define LIGHT_TYPE_SPOT 1
#define LIGHT_TYPE_SUN 2

struct Light {
    vec4 color;
    vec4 position;
    vec4 direction;
    vec4 parameters;
    vec4 shadowParameters;
    vec4 derived;
};

layout(std140) uniform Lights {
    Light lights[MAX_LIGHTS];
    uvec4 lightGroupOffsets;
};

/* With SHADOWS, a light with shadows assigned reads the shadow map layer of its first shadow
 * record, through that record's light-space matrix; without, every light is unshadowed */
#ifdef SHADOWS
#ifndef MAX_SHADOWS
#define MAX_SHADOWS 16
#endif
uniform sampler2DArrayShadow shadowMaps;
layout(std140) uniform Shadows {
    mat4 shadowMatrices[MAX_SHADOWS];
};
float lightShadow(Light light, vec3 position) {
    int record = int(light.derived.w);
    vec4 projected = shadowMatrices[record]*vec4(position, 1.0);
    vec3 coordinates = projected.xyz/projected.w*0.5 + 0.5;
    return texture(shadowMaps, vec4(coordinates.xy, float(record), coordinates.z));
}
#else
float lightShadow(Light light, vec3 position) { return 1.0; }
#endif

/* Radiance arriving at position from the direction toLight, for a Lambertian surface with the
 * given normal */
vec3 lightRadiance(Light light, int type, vec3 position, vec3 normal) {
    vec3 toLight;
    float attenuation = 1.0;
    if(type == LIGHT_TYPE_SUN) {
        toLight = -normalize(light.direction.xyz);
    } else {
        vec3 offset = light.position.xyz - position;
        float distanceSquared = max(dot(offset, offset), 1.0e-4);
        toLight = offset*inversesqrt(distanceSquared);
        attenuation = 1.0/distanceSquared;
        if(type == LIGHT_TYPE_SPOT) {
            float cosine = dot(-toLight, normalize(light.direction.xyz));
            attenuation *= smoothstep(light.derived.x, light.derived.y, cosine);
        }
    }
    if(light.derived.z != 0.0) attenuation *= lightShadow(light, position);
    return light.color.rgb*light.color.a*attenuation*max(dot(normal, toLight), 0.0);
}

vec3 accumulateLights(vec3 position, vec3 normal) {
    vec3 radiance = vec3(0.0);
    for(uint i = 0u; i != lightGroupOffsets.z; ++i) {
        int type = i < lightGroupOffsets.x ? LIGHT_TYPE_POINT :
            i < lightGroupOffsets.y ? LIGHT_TYPE_SPOT : LIGHT_TYPE_SUN;
        radiance += lightRadiance(lights[i], type, position, normal);
    }
    return radiance;
}
