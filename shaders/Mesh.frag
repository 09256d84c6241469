#version 330 core
{{defines}}
/* Fragment shader of meshes: a base colour (times the vertex colour and a texture when present)
 * lit by the light manager's lights. Replace the defines tag and preprocess as for Mesh.vert, with
 * the same flags. With DEPTH_ONLY (shadow maps) it writes nothing but depth. */

#ifdef DEPTH_ONLY
void main() {}
#else

#include "Lights.glsl"

uniform vec4 baseColor;
uniform vec3 ambientColor;
#ifdef TEXTURE_COORDINATES
uniform sampler2D baseColorTexture;
#endif

in vec3 worldPosition;
flat in float materialIndex;
#ifdef NORMAL
in vec3 worldNormal;
#endif
#ifdef TANGENT
in vec4 worldTangent;
#endif
#ifdef TEXTURE_COORDINATES
in vec2 interpolatedTextureCoordinates;
#endif
#ifdef SECOND_TEXTURE_COORDINATES
in vec2 interpolatedSecondTextureCoordinates;
#endif
#ifdef COLOR
in vec4 interpolatedColor;
#endif
#ifdef OBJECT_IDS
flat in uint interpolatedObjectId;
#endif

layout(location = 0) out vec4 fragmentColor;
#ifdef OBJECT_IDS
layout(location = 1) out uint fragmentObjectId;
#endif

void main() {
    vec4 albedo = baseColor;
    #ifdef COLOR
    albedo *= interpolatedColor;
    #endif
    #ifdef TEXTURE_COORDINATES
    albedo *= texture(baseColorTexture, interpolatedTextureCoordinates);
    #endif

    #ifdef NORMAL
    vec3 normal = normalize(worldNormal);
    #else
    /* Flat shading from the screen-space derivatives of the position */
    vec3 normal = normalize(cross(dFdx(worldPosition), dFdy(worldPosition)));
    #endif

    fragmentColor = vec4(albedo.rgb*(ambientColor + accumulateLights(worldPosition, normal)), albedo.a);
    #ifdef OBJECT_IDS
    fragmentObjectId = interpolatedObjectId;
    #endif
}
#endif
