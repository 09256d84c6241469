/* Unit dual quaternions as the scene data stores them: the real part (x, y, z, w) holds the
 * rotation, the dual part the translation as dual = translation*real/2. */

struct DualQuaternion {
    vec4 real;
    vec4 dual;
};

/* Rotation of v by the unit quaternion q */
vec3 quaternionRotate(vec4 q, vec3 v) {
    return v + 2.0*cross(q.xyz, cross(q.xyz, v) + q.w*v);
}

/* Translation of a unit dual quaternion: the vector part of 2*dual*conjugate(real) */
vec3 dualQuaternionTranslation(DualQuaternion dq) {
    return 2.0*(dq.real.w*dq.dual.xyz - dq.dual.w*dq.real.xyz + cross(dq.real.xyz, dq.dual.xyz));
}

vec3 dualQuaternionTransformPoint(DualQuaternion dq, vec3 point) {
    return quaternionRotate(dq.real, point) + dualQuaternionTranslation(dq);
}

vec3 dualQuaternionTransformVector(DualQuaternion dq, vec3 vector) {
    return quaternionRotate(dq.real, vector);
}

/* Back to unit length after blending; both parts scale alike */
DualQuaternion dualQuaternionNormalized(DualQuaternion dq) {
    float inverseLength = 1.0/length(dq.real);
    return DualQuaternion(dq.real*inverseLength, dq.dual*inverseLength);
}
