#ifndef QuillmarshEngine_Tools_Image2D_h
#define QuillmarshEngine_Tools_Image2D_h

/** @file
 * @brief Class @ref QuillmarshEngine::Tools::Image2D
 */

#include <cstdint>
#include <span>
#include <vector>

#include "QuillmarshEngine/Math/Types.h"
#include "QuillmarshEngine/Math/Vector2.h"
#include "QuillmarshEngine/Trade/ImageData.h"

namespace QuillmarshEngine { namespace Tools {

/**
 * @brief Two-dimensional image owning its pixels
 *
 * A pixel format, a size and width × height × pixel size bytes of tightly packed rows, bottom
 * row first, as @ref Trade::ImageData2D views them. Holds any format whose pixel size is known;
 * the image tools say which formats they convert. Constructing with a negative size, or with data
 * of the wrong size, aborts. Move-only.
 */
class QUILLMARSH_EXPORT Image2D {
    public:
        /** @brief Empty image of no format */
        Image2D() = default;

        /** @brief Zero-filled image */
        explicit Image2D(Trade::PixelFormat format, const Vector2i& size);

        /** @brief Image taking @p data, which must hold exactly the pixels */
        explicit Image2D(Trade::PixelFormat format, const Vector2i& size, std::vector<char>&& data);

        Image2D(const Image2D&) = delete;
        Image2D(Image2D&&) noexcept = default;
        Image2D& operator=(const Image2D&) = delete;
        Image2D& operator=(Image2D&&) noexcept = default;

        [[nodiscard]] Trade::PixelFormat format() const { return _format; }
        [[nodiscard]] Vector2i size() const { return _size; }
        /** @brief Bytes of one pixel */
        [[nodiscard]] std::uint32_t pixelSize() const;
        [[nodiscard]] std::span<const char> data() const { return _data; }
        [[nodiscard]] std::span<char> mutableData() { return _data; }

        /** @brief Bytes of pixel (@p x, @p y), y counted from the bottom row; expects both in range */
        [[nodiscard]] std::span<const char> pixel(std::int32_t x, std::int32_t y) const;
        /** @brief Writable twin of @ref pixel() */
        [[nodiscard]] std::span<char> mutablePixel(std::int32_t x, std::int32_t y);

        /** @brief View for the asset records */
        [[nodiscard]] Trade::ImageData2D view() const;

        /** @brief Give the pixels away, leaving the image empty */
        std::vector<char> release();

    private:
        Trade::PixelFormat _format{};
        Vector2i _size{0};
        std::vector<char> _data;
};

}}

#endif
