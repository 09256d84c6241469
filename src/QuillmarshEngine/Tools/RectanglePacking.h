#ifndef QuillmarshEngine_Tools_RectanglePacking_h
#define QuillmarshEngine_Tools_RectanglePacking_h

/** @file
 * @brief Rectangle packing for texture atlases: @ref QuillmarshEngine::Tools::packRectangles(),
 *      @ref QuillmarshEngine::Tools::packAtlas()
 */

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "QuillmarshEngine/Math/Types.h"
#include "QuillmarshEngine/Math/Vector2.h"
#include "QuillmarshEngine/Utils/Result.h"

namespace QuillmarshEngine { namespace Tools {

/**
 * @brief Place rectangles inside an area without overlap
 *
 * Returns the bottom left corner of each rectangle, in the order of @p sizes, or nothing when
 * they do not all fit. Each rectangle keeps @p padding pixels of its own on every side (room for
 * @ref extendEdges()), so two rectangles are at least twice the padding apart and every one is
 * at least the padding away from the area's border. Rectangles are not rotated. Empty
 * rectangles (a zero side) are placed at the origin and take no room.
 *
 * A maximal-rectangles packer: it keeps every largest free rectangle, and places the rectangles
 * from the longest side down, each where the shorter leftover side is smallest. Measured in
 * bench/AtlasPacking, it packs tighter than stb_rect_pack's skyline. Cost O(n²) in the number of
 * free rectangles per placement. Expects non-negative sizes and padding.
 */
QUILLMARSH_EXPORT std::optional<std::vector<Vector2i>> packRectangles(std::span<const Vector2i> sizes, const Vector2i& areaSize, std::int32_t padding = 0);

/** @brief Atlas size and where each rectangle went */
struct Atlas {
    Vector2i size;                  /**< Width and height, powers of two */
    std::vector<Vector2i> offsets;  /**< Bottom left corner of each rectangle */
};

/**
 * @brief Pack rectangles into the smallest power-of-two atlas that holds them
 *
 * Tries sizes from the smallest whose area could hold the rectangles upwards, growing width and
 * height in turn (square, then twice as wide), up to @p maxSize on each side. An error when they
 * do not fit in @p maxSize × @p maxSize or a size or the padding is negative.
 */
QUILLMARSH_EXPORT Utils::Result<Atlas> packAtlas(std::span<const Vector2i> sizes, std::int32_t maxSize, std::int32_t padding = 0);

}}

#endif
