#ifndef QuillmarshEngine_Data_ObjectData_h
#define QuillmarshEngine_Data_ObjectData_h

/** @file
 * @brief Struct @ref QuillmarshEngine::Data::ObjectData
 */

#include <cstdint>

namespace QuillmarshEngine { namespace Data {

/**
 * @brief Hierarchy record of one scene-graph object
 *
 * A column of @ref SceneGraph, 8 bytes. Objects are stored in depth-first pre-order: the subtree
 * of the object at index i is exactly [i, i + descendants].
 */
struct ObjectData {
    std::uint16_t parent;      /**< Index of the parent; 0 for children of the root and for the root */
    std::uint16_t children;    /**< Number of direct children */
    std::uint16_t descendants; /**< Number of all objects below */
    std::uint16_t reserved;    /**< Kept zero */
};

static_assert(sizeof(ObjectData) == 8, "ObjectData is a column of the scene graph block");

}}

#endif
