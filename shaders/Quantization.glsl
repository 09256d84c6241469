/* Unpacking of the quantized vertex formats of the packed mesh layout.
 *
 * For quantized values a shader reads as integers (from buffers or textures; vertex attributes are
 * bound normalized and need none of this): normals and tangents as signed 16-bit normalized
 * values, colors and skinning weights as unsigned 16-bit normalized values. -32768 and -32767
 * both map to -1, as with the graphics API's own normalization. */

float unpackSnorm16(int value) {
    return max(float(value)/32767.0, -1.0);
}

vec3 unpackSnorm16(ivec3 value) {
    return max(vec3(value)/32767.0, vec3(-1.0));
}

vec4 unpackSnorm16(ivec4 value) {
    return max(vec4(value)/32767.0, vec4(-1.0));
}

float unpackUnorm16(uint value) {
    return float(value)/65535.0;
}

vec4 unpackUnorm16(uvec4 value) {
    return vec4(value)/65535.0;
}
