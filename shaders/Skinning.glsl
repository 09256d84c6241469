/* Skinning from joint dual quaternions (linear blending, then normalization), with four or, with
 * EIGHT_JOINTS, eight joints per vertex. The joint transforms and scalings are the skin record's:
 * one dual quaternion and one scaling per joint, uploaded as the Skin uniform block. Needs
 * DualQuaternion.glsl and VertexAttributes.glsl (with SKINNING) before it. */

#ifndef MAX_JOINTS
#define MAX_JOINTS 128
#endif

layout(std140) uniform Skin {
    vec4 jointReal[MAX_JOINTS];
    vec4 jointDual[MAX_JOINTS];
    /* xyz: joint scaling, w unused */
    vec4 jointScaling[MAX_JOINTS];
};

struct SkinTransform {
    DualQuaternion transform;
    vec3 scaling;
};

void accumulateJoints(uvec4 ids, vec4 jointWeights, vec4 pivot, inout vec4 real, inout vec4 dual, inout vec3 scaling) {
    for(int i = 0; i != 4; ++i) {
        uint id = ids[i];
        float weight = jointWeights[i];
        vec4 r = jointReal[id];
        /* Blend along the shorter arc: quaternions on the far side of the first one flip */
        float signedWeight = dot(r, pivot) < 0.0 ? -weight : weight;
        real += signedWeight*r;
        dual += signedWeight*jointDual[id];
        scaling += weight*jointScaling[id].xyz;
    }
}

SkinTransform skinTransform() {
    vec4 real = vec4(0.0);
    vec4 dual = vec4(0.0);
    vec3 scaling = vec3(0.0);
    vec4 pivot = jointReal[jointIds.x];
    accumulateJoints(jointIds, vertexWeights(), pivot, real, dual, scaling);
    #ifdef EIGHT_JOINTS
    accumulateJoints(secondJointIds, vertexSecondWeights(), pivot, real, dual, scaling);
    #endif
    return SkinTransform(dualQuaternionNormalized(DualQuaternion(real, dual)), scaling);
}

vec3 skinPoint(SkinTransform skin, vec3 point) {
    return dualQuaternionTransformPoint(skin.transform, skin.scaling*point);
}

/* Directions take the inverse scaling so that normals stay perpendicular */
vec3 skinNormal(SkinTransform skin, vec3 direction) {
    return normalize(dualQuaternionTransformVector(skin.transform, direction/skin.scaling));
}
