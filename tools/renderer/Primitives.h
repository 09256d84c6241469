#ifndef QuillmarshRenderer_Primitives_h
#define QuillmarshRenderer_Primitives_h

/* Meshes the demo scene and the renderer's tests draw, as importer-side meshes of float
   positions and normals (and joints), counter-clockwise seen from outside: pack them with
   Tools::packMesh() for the renderer */

#include <cstdint>

#include "QuillmarshEngine/Trade/MeshData.h"

namespace QuillmarshRenderer {

using namespace QuillmarshEngine;

/* Axis-aligned cube of side 1 centred at the origin, flat faces (24 vertices) */
Trade::MeshData cubeMesh();

/* Sphere of radius 1 centred at the origin, smooth normals */
Trade::MeshData sphereMesh(std::uint32_t rings, std::uint32_t segments);

/* Square of side 2 in the XZ plane, centred at the origin, facing +Y */
Trade::MeshData planeMesh();

/* A square bar of side 0.5 from y = 0 to y = joints (one unit per joint), divided into
   `rings` steps per unit, skinned to `joints` joints: a vertex at height y follows joint
   floor(y) and blends into the next one over the upper half of each unit */
Trade::MeshData skinnedBarMesh(std::uint32_t joints, std::uint32_t rings);

}

#endif
