#ifndef QuillmarshEngine_Utils_IndexRange_h
#define QuillmarshEngine_Utils_IndexRange_h

/** @file
 * @brief Struct @ref QuillmarshEngine::Utils::IndexRange
 */

#include <cstdint>

#include "QuillmarshEngine/visibility.h"

namespace QuillmarshEngine {

class Debug;

namespace Utils {

/**
 * @brief Half-open range [@ref begin, @ref end) of 16-bit indices
 *
 * An empty range has `begin == end`; a range with `end < begin` is malformed and counts as empty.
 */
struct IndexRange {
    std::uint16_t begin{}; /**< First index in the range */
    std::uint16_t end{};   /**< One past the last index */

    /** @brief Number of indices, 0 for an empty or malformed range */
    constexpr std::uint16_t size() const { return end > begin ? std::uint16_t(end - begin) : std::uint16_t(0); }
    /** @brief Whether the range holds no index */
    constexpr bool isEmpty() const { return end <= begin; }
    /** @brief Whether @p index lies in the range */
    constexpr bool contains(std::uint32_t index) const { return index >= begin && index < end; }

    constexpr bool operator==(const IndexRange&) const = default;
};

/** @brief Prints `IndexRange(begin, end)` */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, const IndexRange& value);

}}

#endif
