#ifndef QuillmarshEngine_Data_Id_h
#define QuillmarshEngine_Data_Id_h

/** @file
 * @brief Struct @ref QuillmarshEngine::Data::Id
 */

#include <cstdint>

#include "QuillmarshEngine/visibility.h"

namespace QuillmarshEngine {

class Debug;

namespace Data {

/**
 * @brief Handle of an element of a sparse array
 *
 * A plain unsigned 16-bit slot number in [0, capacity) with no generation bits: it stays stable
 * while the element's index moves, and is reused once the element is removed. `Id(0)` is both the
 * empty id and the scene root's id. Converts implicitly to and from `std::uint16_t`, so it indexes
 * columns directly; prints as `Id(5)`.
 */
struct Id {
    std::uint16_t value{}; /**< Slot number */

    constexpr Id() noexcept = default;
    constexpr /*implicit*/ Id(std::uint16_t v) noexcept: value{v} {}
    constexpr /*implicit*/ operator std::uint16_t() const { return value; }
};

static_assert(sizeof(Id) == 2, "Data::Id must stay 16 bits, it is stored in columns and files");

/** @brief Prints `Id(value)` */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, Id value);

}}

#endif
