#ifndef QuillmarshEngine_Tools_ImageTools_h
#define QuillmarshEngine_Tools_ImageTools_h

/** @file
 * @brief Image tools: @ref QuillmarshEngine::Tools::decodeImage(), @ref QuillmarshEngine::Tools::convertImage(),
 *      @ref QuillmarshEngine::Tools::fillImage(), @ref QuillmarshEngine::Tools::copyImage(),
 *      @ref QuillmarshEngine::Tools::extendEdges(), @ref QuillmarshEngine::Tools::generateMipLevels(),
 *      @ref QuillmarshEngine::Tools::createImageRecord()
 *
 * The tools work on the uncompressed colour formats of @ref Trade::PixelFormat (the 8-, 16- and
 * 32-bit normalized, sRGB, integer and float formats of one to four channels): see
 * @ref isPixelFormatConvertible(). A pixel passes through the values its channels stand for: a
 * normalized channel its value in [0, 1] or [-1, 1], an sRGB channel its linear value (alpha is
 * linear), an integer channel its integer, a float channel its float. Writing a value rounds half
 * away from zero and clamps it to what the channel holds; NaN becomes 0 in integer and normalized
 * channels. Channels a format lacks read as 0, alpha as 1.
 *
 * Functions that take images from outside (decoding, conversion, mip levels) return an error
 * naming the fault; the ones that edit an image the caller made abort on misuse.
 */

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "QuillmarshEngine/EnumSet.h"
#include "QuillmarshEngine/Math/Color4.h"
#include "QuillmarshEngine/Math/Range.h"
#include "QuillmarshEngine/Tools/Image2D.h"
#include "QuillmarshEngine/Utils/Result.h"

namespace QuillmarshEngine { namespace Tools {

/** @brief How @ref decodeImage() labels and lays out what it decodes */
enum class ImageDecodeFlag: std::uint8_t {
    /**
     * The file holds sRGB-encoded colour (base colour and emissive textures): 8-bit images
     * decode to the sRGB formats, a grey image with alpha to RGBA (sRGB has no two-channel form
     * whose second channel is linear), and 16-bit images to linear half floats (there is no
     * 16-bit sRGB format)
     */
    Srgb = 1 << 0
};

/** @brief Set of @ref ImageDecodeFlag */
typedef EnumSet<ImageDecodeFlag> ImageDecodeFlags;
QUILLMARSH_ENUMSET_OPERATORS(ImageDecodeFlags)

/** @brief Prints `ImageDecodeFlag::Srgb` or `ImageDecodeFlag(0x..)` */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, ImageDecodeFlag value);
/** @brief Prints `ImageDecodeFlag::Srgb` or `ImageDecodeFlags{}` */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, ImageDecodeFlags value);

/** @brief Largest width or height @ref decodeImage() accepts */
constexpr std::int32_t MaxDecodedImageSize = 16384;

/** @brief Most bytes of pixels @ref decodeImage() produces for one image */
constexpr std::size_t MaxDecodedImageBytes = std::size_t(1) << 28;

/**
 * @brief Decode a PNG, JPEG, TGA or Radiance HDR file
 *
 * 8-bit files give the R8, RG8, RGB8 or RGBA8 Unorm formats (grey counts as red), 16-bit PNGs
 * the 16-bit Unorm ones, HDR files RGB32F (RGBA32F with four channels asked for). With
 * @p channelCount 1 to 4 the decoder converts to that many channels (grey spreads to red, green
 * and blue), with 0 the file's own count is kept. Rows are turned to run bottom to top. Untrusted
 * input: anything that does not decode, is larger than @ref MaxDecodedImageSize or
 * @ref MaxDecodedImageBytes, or asks for a channel count above 4 gives an error, never a crash.
 */
QUILLMARSH_EXPORT Utils::Result<Image2D> decodeImage(std::span<const char> data, std::uint32_t channelCount = 0, ImageDecodeFlags flags = {});

/** @brief Whether the image tools convert, fill and filter @p format */
QUILLMARSH_EXPORT bool isPixelFormatConvertible(Trade::PixelFormat format);

/**
 * @brief @p image in another pixel format
 *
 * By the values the channels stand for (see the file documentation), so an sRGB image converts
 * to float as linear light. An error when either format is not convertible, or when the view's
 * size is negative or its data holds fewer bytes than its pixels need.
 */
QUILLMARSH_EXPORT Utils::Result<Image2D> convertImage(const Trade::ImageData2D& image, Trade::PixelFormat format);

/**
 * @brief Fill @p rectangle of @p image with @p color
 *
 * The colour is in linear values, encoded as the format stores it. The rectangle is clipped to
 * the image. Expects a convertible format.
 */
QUILLMARSH_EXPORT void fillImage(Image2D& image, const Range2Di& rectangle, const Color4& color);

/** @brief Fill the whole of @p image with @p color */
QUILLMARSH_EXPORT void fillImage(Image2D& image, const Color4& color);

/**
 * @brief Copy @p source into @p destination with its bottom left corner at @p offset
 *
 * Pixels falling outside the destination are dropped. Expects the same pixel format in both and
 * a source view whose data holds its pixels.
 */
QUILLMARSH_EXPORT void copyImage(const Trade::ImageData2D& source, Image2D& destination, const Vector2i& offset);

/**
 * @brief Extend the border pixels of @p rectangle outwards by @p padding pixels
 *
 * Every pixel within @p padding of the rectangle (and inside the image) takes the value of the
 * nearest pixel of the rectangle, corners the corner pixel, so that filtering and mip levels of
 * an atlas do not bleed neighbouring images into this one. Works on the bytes, in any format.
 * Expects a non-empty rectangle inside the image and a non-negative padding.
 */
QUILLMARSH_EXPORT void extendEdges(Image2D& image, const Range2Di& rectangle, std::int32_t padding);

/**
 * @brief The mip levels below @p image, down to 1 × 1
 *
 * Level n + 1 is max(1, size/2) of level n in each dimension, in the same format. Each level is
 * filtered from the one above it, kept in floats between levels: where a dimension halves
 * exactly, a box over the two source pixels (so power-of-two sizes get the plain 2 × 2 box);
 * where it is odd, each pixel averages its exact footprint of 2 + 1/n source pixels with weights
 * by coverage, three taps. sRGB channels are filtered as linear light; alpha is not
 * premultiplied. The base level itself is not included. Errors as @ref convertImage().
 */
QUILLMARSH_EXPORT Utils::Result<std::vector<Image2D>> generateMipLevels(const Trade::ImageData2D& image);

/**
 * @brief Content hash of an image, as image records and image tiles store it
 *
 * SHA-256 over the pixel format, width and height as little-endian 32-bit values and then the
 * pixels, so that equal bytes of another shape or format hash differently. The records' hash
 * fields hold 32 characters: the first 16 bytes of the digest as lower-case hexadecimal digits,
 * which is the first half of what `sha256sum` prints for those bytes. Expects a view whose data
 * holds its pixels.
 */
QUILLMARSH_EXPORT std::string imageContentHash(const Trade::ImageData2D& image);

/**
 * @brief Store an image and its mip levels as image tiles and an image record
 *
 * Appends one @ref Data::Magic::ImageTile chunk per level to @p out, with the level's content
 * hash, its pixel format as the tile's value, the flag false and the pixels as data; a level
 * whose hash an earlier level of the call has is not stored twice. Returns the image record
 * listing the hashes in level order with the first level's size (depth 1), for the caller to
 * wrap in a @ref Data::Magic::Image chunk. Expects at least one level, each holding its pixels.
 */
QUILLMARSH_EXPORT std::vector<char> createImageRecord(std::span<const Trade::ImageData2D> levels, std::vector<char>& out);

}}

#endif
