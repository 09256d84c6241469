#ifndef QuillmarshEngine_Trade_TextureData_h
#define QuillmarshEngine_Trade_TextureData_h

/** @file
 * @brief Struct @ref QuillmarshEngine::Trade::TextureData, sampler enums
 */

#include <array>
#include <cstdint>

#include "QuillmarshEngine/visibility.h"

namespace QuillmarshEngine {

class Debug;

namespace Trade {

/** @brief Texture filtering; values stored in texture records, 0 is valid */
enum class SamplerFilter: std::uint32_t {
    Nearest = 0,
    Linear = 1
};

/** @brief Mip level selection; values stored in texture records, 0 is valid */
enum class SamplerMipmap: std::uint32_t {
    Base = 0,       /**< Only the base level */
    Nearest = 1,
    Linear = 2
};

/** @brief Coordinate wrapping; values stored in texture records, 0 is valid */
enum class SamplerWrapping: std::uint32_t {
    Repeat = 0,
    MirroredRepeat = 1,
    ClampToEdge = 2,
    ClampToBorder = 3,
    MirrorClampToEdge = 4
};

/**
 * @brief Texture as an importer describes it: an image and its sampler
 */
struct TextureData {
    SamplerFilter minificationFilter;
    SamplerFilter magnificationFilter;
    SamplerMipmap mipmapFilter;
    std::array<SamplerWrapping, 3> wrapping;
    std::uint32_t image;    /**< Image index */
};

QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, SamplerFilter value);
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, SamplerMipmap value);
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, SamplerWrapping value);

}}

#endif
