/* Vertex attributes of the packed mesh layout, at the locations the renderer binds.
 *
 * Each attribute exists when its flag is defined (POSITION is always there): TEXTURE_COORDINATES,
 * SECOND_TEXTURE_COORDINATES, COLOR, TANGENT, OBJECT_IDS, NORMAL, SKINNING (four joints) and
 * EIGHT_JOINTS (eight, with SKINNING). The 16-bit quantized and half-float formats are bound as
 * normalized (or half-float) attributes, so the shader reads floats whatever the format; only
 * QUANTIZED_NORMAL and QUANTIZED_TANGENT matter here: they renormalize the direction, whose length
 * the 16-bit rounding moved off 1. Joint ids are integer attributes.
 *
 * Eight joints do not fit one attribute: joints 4 to 7 and their weights take locations 8 and 9,
 * which the layout leaves free for them. Locations 11 to 13 hold the per-instance attributes of
 * Mesh.vert; the layout gives them to text meshes only, which have shaders of their own. */

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
#define INSTANCE_REAL_LOCATION 11
#define INSTANCE_DUAL_LOCATION 12
#define INSTANCE_SCALING_LOCATION 13

layout(location = POSITION_LOCATION) in vec3 position;

#ifdef TEXTURE_COORDINATES
layout(location = TEXTURE_COORDINATES_LOCATION) in vec2 textureCoordinates;
#endif

#ifdef SECOND_TEXTURE_COORDINATES
layout(location = SECOND_TEXTURE_COORDINATES_LOCATION) in vec2 secondTextureCoordinates;
#endif

#ifdef COLOR
layout(location = COLOR_LOCATION) in vec4 color;
vec4 vertexColor() { return color; }
#endif

#ifdef TANGENT
layout(location = TANGENT_LOCATION) in vec4 tangent;
#ifdef QUANTIZED_TANGENT
vec4 vertexTangent() { return vec4(normalize(tangent.xyz), tangent.w); }
#else
vec4 vertexTangent() { return tangent; }
#endif
#endif

#ifdef OBJECT_IDS
layout(location = OBJECT_ID_LOCATION) in uint objectId;
#endif

#ifdef NORMAL
layout(location = NORMAL_LOCATION) in vec3 normal;
#ifdef QUANTIZED_NORMAL
vec3 vertexNormal() { return normalize(normal); }
#else
vec3 vertexNormal() { return normal; }
#endif
#endif

#ifdef SKINNING
layout(location = JOINT_IDS_LOCATION) in uvec4 jointIds;
layout(location = WEIGHTS_LOCATION) in vec4 weights;
vec4 vertexWeights() { return weights; }
#ifdef EIGHT_JOINTS
layout(location = SECOND_JOINT_IDS_LOCATION) in uvec4 secondJointIds;
layout(location = SECOND_WEIGHTS_LOCATION) in vec4 secondWeights;
vec4 vertexSecondWeights() { return secondWeights; }
#endif
#endif
