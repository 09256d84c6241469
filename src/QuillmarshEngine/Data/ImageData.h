#ifndef QuillmarshEngine_Data_ImageData_h
#define QuillmarshEngine_Data_ImageData_h

/** @file
 * @brief Class @ref QuillmarshEngine::Data::ImageData and the builders of the image, image tile, texture and probe records
 */

#include <array>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "QuillmarshEngine/Data/AssetData.h"
#include "QuillmarshEngine/Trade/ImageData.h"
#include "QuillmarshEngine/Trade/TextureData.h"

namespace QuillmarshEngine { namespace Data {

/**
 * @brief View of an image record
 *
 * A 20-byte head (hash count, kind, three padding bytes, size x, y, z) and either a path with its
 * terminating zero or @ref hashCount() hashes of @ref HashSize characters. Trusts its input like
 * every record view: check untrusted files with @ref validateAssetData() first.
 */
class QUILLMARSH_EXPORT ImageData {
    public:
        static constexpr Magic AssetMagic = Magic::Image;
        static constexpr std::size_t HeaderSize = 20;
        /** @brief Characters of one hash */
        static constexpr std::size_t HashSize = 32;

        /** @brief Tail kind */
        enum class Kind: std::uint8_t {
            Path = 0,
            Hashes = 1
        };

        /** @brief View @p data; expects at least @ref HeaderSize bytes */
        explicit ImageData(std::span<const char> data);

        [[nodiscard]] std::uint32_t hashCount() const;
        [[nodiscard]] Kind kind() const { return Kind(_data[4]); }
        [[nodiscard]] std::array<std::int32_t, 3> size() const;
        /** @brief The path; expects @ref Kind::Path */
        [[nodiscard]] std::string_view path() const;
        /** @brief Hash @p i; expects @ref Kind::Hashes and @p i below @ref hashCount() */
        [[nodiscard]] std::string_view hash(std::uint32_t i) const;

    private:
        std::span<const char> _data;
};

/** @brief Prints `ImageData::Kind::Path` or `ImageData::Kind(0x..)` */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, ImageData::Kind value);

/** @brief Build an image record naming a file */
QUILLMARSH_EXPORT std::vector<char> createImageData(const std::array<std::int32_t, 3>& size, std::string_view path);

/** @brief Build an image record listing content hashes; expects each of 32 characters */
QUILLMARSH_EXPORT std::vector<char> createImageData(const std::array<std::int32_t, 3>& size, std::span<const std::string_view> hashes);

/**
 * @brief Append a @ref Magic::ImageTile chunk to @p out
 *
 * 32 hash characters, @p value, @p flag, three zero bytes, then @p data. Expects a hash of 32
 * characters.
 */
QUILLMARSH_EXPORT AssetChunk createImageTileChunk(std::string_view hash, std::span<const char> data, bool flag, std::uint32_t value, std::vector<char>& out);

/** @brief Build a 32-byte texture record */
QUILLMARSH_EXPORT std::vector<char> createTextureData(std::uint16_t image, std::uint16_t second, Trade::SamplerFilter minificationFilter, Trade::SamplerFilter magnificationFilter, Trade::SamplerMipmap mipmap, const std::array<Trade::SamplerWrapping, 3>& wrapping);

/** @brief Build a texture record from importer data; expects an image index that fits 16 bits */
QUILLMARSH_EXPORT std::vector<char> createTextureData(const Trade::TextureData& texture);

/**
 * @brief Build a probe record: size and format of the first image, then every image's pixels
 *
 * Expects a non-empty list and images holding at least their computed data size.
 */
QUILLMARSH_EXPORT std::vector<char> createProbeData(std::span<const Trade::ImageData2D> images);

}}

#endif
