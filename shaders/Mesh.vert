#version 330 core
{{defines}}
/* Vertex shader of meshes in the packed layout, placed by the mesh manager's instance
 * transforms (a dual quaternion and a scaling per instance) and optionally skinned. Replace the
 * defines tag with the #define lines of the variant (or nothing), then preprocess with define
 * expansion on; the attribute flags are those of VertexAttributes.glsl.
 *
 * With PARABOLOID (shadow maps of point lights) viewProjection is the record's projection alone
 * and paraboloidView the record's light-space matrix: the hemisphere in front of the light maps
 * onto the unit disc, and clip distance 0 cuts away the other one. */

#include "VertexAttributes.glsl"
#include "DualQuaternion.glsl"
#ifdef SKINNING
#include "Skinning.glsl"
#endif

/* The mesh manager's transforms and scalings columns, bound as they are as instanced attributes
 * of a 32-byte stride: the dual quaternion's real and dual parts, and the scaling record (xyz
 * scaling, w the material index as a float; its padding is not read) */
layout(location = INSTANCE_REAL_LOCATION) in vec4 instanceReal;
layout(location = INSTANCE_DUAL_LOCATION) in vec4 instanceDual;
layout(location = INSTANCE_SCALING_LOCATION) in vec4 instanceScaling;

uniform mat4 viewProjection;
#ifdef PARABOLOID
uniform mat4 paraboloidView;
#endif

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
    DualQuaternion transform = DualQuaternion(instanceReal, instanceDual);
    vec4 scaling = instanceScaling;

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

    #ifdef PARABOLOID
    vec4 lightSpace = paraboloidView*vec4(worldPosition, 1.0);
    float distance = length(lightSpace.xyz);
    gl_Position = viewProjection*vec4(lightSpace.xy/max(distance - lightSpace.z, 1.0e-6), -distance, 1.0);
    gl_ClipDistance[0] = -lightSpace.z;
    #else
    gl_Position = viewProjection*vec4(worldPosition, 1.0);
    #endif
}
