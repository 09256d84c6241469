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

/* With SHADOWS, a light with shadows assigned reads the shadow map layers of its shadow records,
 * one layer per record, through the records' light-space and projection matrices; without, every
 * light is unshadowed. Per record, shadowRecords x is the kind (0 spot, 1 sun cascade, 2 point
 * hemisphere) and y, for a sun cascade, the view depth where the cascade ends. A sun picks the
 * first of its cascades whose end lies beyond the position's depth in the view the cascades were
 * fitted to (shadowDepth: the depth is dot(shadowDepth, vec4(position, 1))). A point light has a
 * pair of paraboloid records, the first for the hemisphere in front of its pointing axis. */
#ifdef SHADOWS
#ifndef MAX_SHADOWS
#define MAX_SHADOWS 16
#endif
#ifndef SHADOW_BIAS
#define SHADOW_BIAS 0.0015
#endif
uniform sampler2DArrayShadow shadowMaps;
layout(std140) uniform Shadows {
    mat4 shadowViews[MAX_SHADOWS];
    mat4 shadowProjections[MAX_SHADOWS];
    vec4 shadowRecords[MAX_SHADOWS];
    vec4 shadowDepth;
};
float lightShadow(Light light, vec3 position) {
    int record = int(light.derived.w);
    vec4 lightSpace = shadowViews[record]*vec4(position, 1.0);
    vec4 projected;
    if(shadowRecords[record].x == 2.0) {
        if(lightSpace.z > 0.0) {
            record += 1;
            lightSpace = shadowViews[record]*vec4(position, 1.0);
        }
        float distance = length(lightSpace.xyz);
        projected = shadowProjections[record]*vec4(lightSpace.xy/max(distance - lightSpace.z, 1.0e-6), -distance, 1.0);
    } else {
        if(shadowRecords[record].x == 1.0) {
            float depth = dot(shadowDepth, vec4(position, 1.0));
            int last = record + int(light.shadowParameters.w) - 1;
            while(record < last && depth > shadowRecords[record].y) ++record;
            lightSpace = shadowViews[record]*vec4(position, 1.0);
        }
        projected = shadowProjections[record]*lightSpace;
    }
    vec3 coordinates = projected.xyz/projected.w*0.5 + 0.5;
    /* Beyond the far end of the map nothing casts a shadow */
    if(coordinates.z >= 1.0) return 1.0;
    return texture(shadowMaps, vec4(coordinates.xy, float(record), coordinates.z - SHADOW_BIAS));
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
