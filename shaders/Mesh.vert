#version 330 core
/* Vertex shader of meshes in the packed layout, placed by the mesh manager's instance
 * transforms (a dual quaternion and a scaling per instance) and optionally skinned. Preprocess
 * with define expansion on; the attribute flags are those of VertexAttributes.glsl. */

#include "Quantization.glsl"
#include "VertexAttributes.glsl"
#include "DualQuaternion.glsl"
#ifdef SKINNING
#include "Skinning.glsl"
#endif

#ifndef MAX_INSTANCES
#define MAX_INSTANCES 256
#endif

/* The mesh manager's transforms and scalings columns: a 32-byte dual quaternion and a 32-byte
 * scaling record (xyz scaling, w the material index as a float, then padding) per instance */
layout(std140) uniform Instances {
    vec4 instanceTransforms[2*MAX_INSTANCES];
    vec4 instanceScalings[2*MAX_INSTANCES];
};

uniform mat4 viewProjection;
uniform int firstInstance;

out vec3 worldPosition;
flat out float materialIndex;
#ifdef NORMAL
out vec3 worldNormal;
#endif
#ifdef TANGENT
out vec4 worldTangent;
#endif
#ifdef TEXTURE_COORDINATES
out vec2 interpolatedTextureCoordinates;
#endif
#ifdef SECOND_TEXTURE_COORDINATES
out vec2 interpolatedSecondTextureCoordinates;
#endif
#ifdef COLOR
out vec4 interpolatedColor;
#endif
#ifdef OBJECT_IDS
flat out uint interpolatedObjectId;
#endif

void main() {
    int instance = firstInstance + gl_InstanceID;
    DualQuaternion transform = DualQuaternion(instanceTransforms[2*instance], instanceTransforms[2*instance + 1]);
    vec4 scaling = instanceScalings[2*instance];

    vec3 localPosition = position;
    #ifdef NORMAL
    vec3 localNormal = vertexNormal();
    #endif
    #ifdef TANGENT
    vec4 localTangent = vertexTangent();
    #endif

    #ifdef SKINNING
    SkinTransform skin = skinTransform();
    localPosition = skinPoint(skin, localPosition);
    #ifdef NORMAL
    localNormal = skinNormal(skin, localNormal);
    #endif
    #ifdef TANGENT
    localTangent.xyz = normalize(dualQuaternionTransformVector(skin.transform, skin.scaling*localTangent.xyz));
    #endif
    #endif

    worldPosition = dualQuaternionTransformPoint(transform, scaling.xyz*localPosition);
    materialIndex = scaling.w;
    #ifdef NORMAL
    worldNormal = normalize(dualQuaternionTransformVector(transform, localNormal/scaling.xyz));
    #endif
    #ifdef TANGENT
    worldTangent = vec4(normalize(dualQuaternionTransformVector(transform, scaling.xyz*localTangent.xyz)), localTangent.w);
    #endif
    #ifdef TEXTURE_COORDINATES
    interpolatedTextureCoordinates = textureCoordinates;
    #endif
    #ifdef SECOND_TEXTURE_COORDINATES
    interpolatedSecondTextureCoordinates = secondTextureCoordinates;
    #endif
    #ifdef COLOR
    interpolatedColor = vertexColor();
    #endif
    #ifdef OBJECT_IDS
    interpolatedObjectId = objectId;
    #endif

    gl_Position = viewProjection*vec4(worldPosition, 1.0);
}
