#ifndef QuillmarshEngine_Data_PhysXData_h
#define QuillmarshEngine_Data_PhysXData_h

/** @file
 * @brief Struct @ref QuillmarshEngine::Data::PhysXData, functions @ref QuillmarshEngine::Data::createPhysXData(), @ref QuillmarshEngine::Data::createFontData()
 *
 * The records whose payload is opaque to the library: cooked physics data behind a one-word head,
 * and font files as they are.
 */

#include <cstdint>
#include <span>
#include <vector>

#include "QuillmarshEngine/Data/AssetData.h"

namespace QuillmarshEngine { namespace Data {

/**
 * @brief PhysX record: its type values
 */
struct PhysXData {
    /** @brief What the cooked data describes; stored in 16 bits */
    enum class Type: std::uint32_t {
        Sphere = 1,
        Capsule = 2,
        Box = 3,
        Plane = 4,
        ConvexMesh = 5,
        TriangleMesh = 6,
        HeightField = 7
    };
};

/** @brief Prints `PhysXData::Type::Box` or `PhysXData::Type(0x..)` */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, PhysXData::Type value);

/** @brief Build a PhysX record; expects a @p type that fits 16 bits */
QUILLMARSH_EXPORT std::vector<char> createPhysXData(PhysXData::Type type, std::uint16_t id, std::span<const char> data);

/** @brief Build a font record: @p data as it is */
QUILLMARSH_EXPORT std::vector<char> createFontData(std::span<const char> data);

}}

#endif
