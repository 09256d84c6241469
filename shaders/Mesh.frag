#version 330 core
{{defines}}
/* Fragment shader of meshes: the base colour of the instance's material (times the vertex colour
 * and a texture when present) lit by the light manager's lights. The material index arrives in
 * the value lane of the instance scaling; its colour is looked up in the Materials block. Replace the defines tag and preprocess as for Mesh.vert, with
 * the same flags. With DEPTH_ONLY (shadow maps) it writes nothing but depth. */

#ifdef DEPTH_ONLY
void main() {}
#else

#include "Lights.glsl"

#ifndef MAX_MATERIALS
#define MAX_MATERIALS 64
#endif
layout(std140) uniform Materials {
    vec4 materialColors[MAX_MATERIALS];
};
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
    vec4 albedo = materialColors[clamp(int(materialIndex + 0.5), 0, MAX_MATERIALS - 1)];
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
