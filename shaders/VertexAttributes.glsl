/* Vertex attributes of the packed mesh layout, at the locations the renderer binds.
 *
 * Each attribute exists when its flag is defined (POSITION is always there): TEXTURE_COORDINATES,
 * SECOND_TEXTURE_COORDINATES, COLOR, TANGENT, OBJECT_IDS, NORMAL, SKINNING (four joints) and
 * EIGHT_JOINTS (eight, with SKINNING). QUANTIZED_NORMAL, QUANTIZED_TANGENT, QUANTIZED_COLOR and
 * QUANTIZED_WEIGHTS select the 16-bit formats, bound as integer attributes and unpacked by the
 * functions of Quantization.glsl, which must be included first.
 *
 * Eight joints do not fit one attribute: joints 4 to 7 and their weights take locations 8 and 9,
 * which the layout leaves free for them. */

#define POSITION_LOCATION 0
#define TEXTURE_COORDINATES_LOCATION 1
#define COLOR_LOCATION 2
#define TANGENT_LOCATION 3
#define OBJECT_ID_LOCATION 4
#define NORMAL_LOCATION 5
#define JOINT_IDS_LOCATION 6
#define WEIGHTS_LOCATION 7
#define SECOND_JOINT_IDS_LOCATION 8
#define SECOND_WEIGHTS_LOCATION 9
#define SECOND_TEXTURE_COORDINATES_LOCATION 10

layout(location = POSITION_LOCATION) in vec3 position;

#ifdef TEXTURE_COORDINATES
layout(location = TEXTURE_COORDINATES_LOCATION) in vec2 textureCoordinates;
#endif

#ifdef SECOND_TEXTURE_COORDINATES
layout(location = SECOND_TEXTURE_COORDINATES_LOCATION) in vec2 secondTextureCoordinates;
#endif

#ifdef COLOR
#ifdef QUANTIZED_COLOR
layout(location = COLOR_LOCATION) in uvec4 colorPacked;
vec4 vertexColor() { return unpackUnorm16(colorPacked); }
#else
layout(location = COLOR_LOCATION) in vec4 color;
vec4 vertexColor() { return color; }
#endif
#endif

#ifdef TANGENT
#ifdef QUANTIZED_TANGENT
layout(location = TANGENT_LOCATION) in ivec4 tangentPacked;
vec4 vertexTangent() { return unpackSnorm16(tangentPacked); }
#else
layout(location = TANGENT_LOCATION) in vec4 tangent;
vec4 vertexTangent() { return tangent; }
#endif
#endif

#ifdef OBJECT_IDS
layout(location = OBJECT_ID_LOCATION) in uint objectId;
#endif

#ifdef NORMAL
#ifdef QUANTIZED_NORMAL
layout(location = NORMAL_LOCATION) in ivec3 normalPacked;
vec3 vertexNormal() { return normalize(unpackSnorm16(normalPacked)); }
#else
layout(location = NORMAL_LOCATION) in vec3 normal;
vec3 vertexNormal() { return normal; }
#endif
#endif

#ifdef SKINNING
layout(location = JOINT_IDS_LOCATION) in uvec4 jointIds;
#ifdef QUANTIZED_WEIGHTS
layout(location = WEIGHTS_LOCATION) in uvec4 weightsPacked;
vec4 vertexWeights() { return unpackUnorm16(weightsPacked); }
#else
layout(location = WEIGHTS_LOCATION) in vec4 weights;
vec4 vertexWeights() { return weights; }
#endif
#ifdef EIGHT_JOINTS
layout(location = SECOND_JOINT_IDS_LOCATION) in uvec4 secondJointIds;
#ifdef QUANTIZED_WEIGHTS
layout(location = SECOND_WEIGHTS_LOCATION) in uvec4 secondWeightsPacked;
vec4 vertexSecondWeights() { return unpackUnorm16(secondWeightsPacked); }
#else
layout(location = SECOND_WEIGHTS_LOCATION) in vec4 secondWeights;
vec4 vertexSecondWeights() { return secondWeights; }
#endif
#endif
#endif
