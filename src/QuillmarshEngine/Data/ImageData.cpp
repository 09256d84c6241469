#include "QuillmarshEngine/Data/ImageData.h"

#include <cstring>

#include "QuillmarshEngine/Data/Implementation/RecordBytes.h"

namespace QuillmarshEngine { namespace Data {

using namespace Implementation;

namespace {

std::vector<char> imageHead(std::uint32_t hashCount, ImageData::Kind kind, const std::array<std::int32_t, 3>& size, std::size_t tail) {
    std::vector<char> out(ImageData::HeaderSize + tail, '\0');
    writeU32(out.data(), hashCount);
    out[4] = char(kind);
    std::memcpy(out.data() + 8, size.data(), 12);
    return out;
}

}

std::vector<char> createImageData(const std::array<std::int32_t, 3>& size, std::string_view path) {
    std::vector<char> out = imageHead(0, ImageData::Kind::Path, size, path.size() + 1);
    writeName(out.data() + ImageData::HeaderSize, path);
    return out;
}

std::vector<char> createImageData(const std::array<std::int32_t, 3>& size, std::span<const std::string_view> hashes) {
    std::vector<char> out = imageHead(std::uint32_t(hashes.size()), ImageData::Kind::Hashes, size, hashes.size()*ImageData::HashSize);
    for(std::size_t i = 0; i != hashes.size(); ++i) {
        const std::string_view hash = hashes[i];
        /* The documented location of this assertion, from before the record builders had files
           of their own */
        QUILLMARSH_INTERNAL_ASSERT_AT(hash.size() == ImageData::HashSize, "Data/AssetData", 348);
        writeName(out.data() + ImageData::HeaderSize + i*ImageData::HashSize, hash);
    }
    return out;
}

AssetChunk createImageTileChunk(std::string_view hash, std::span<const char> data, bool flag, std::uint32_t value, std::vector<char>& out) {
    QUILLMARSH_ASSERT(hash.size() == ImageData::HashSize, "createImageTileChunk(): expected hash string of length" << ImageData::HashSize, {});
    char head[40]{};
    writeName(head, hash);
    writeU32(head + 32, value);
    head[36] = flag ? 1 : 0;
    const std::span<const char> pieces[]{{head, sizeof(head)}, data};
    return AssetChunk::create(Magic::ImageTile, pieces, out);
}

std::vector<char> createTextureData(std::uint16_t image, std::uint16_t second, Trade::SamplerFilter minificationFilter, Trade::SamplerFilter magnificationFilter, Trade::SamplerMipmap mipmap, const std::array<Trade::SamplerWrapping, 3>& wrapping) {
    std::vector<char> out(32, '\0');
    std::memcpy(out.data(), &image, 2);
    std::memcpy(out.data() + 2, &second, 2);
    writeU32(out.data() + 4, std::uint32_t(minificationFilter));
    writeU32(out.data() + 8, std::uint32_t(magnificationFilter));
    writeU32(out.data() + 12, std::uint32_t(mipmap));
    for(std::size_t i = 0; i != 3; ++i) writeU32(out.data() + 16 + 4*i, std::uint32_t(wrapping[i]));
    out[28] = 2;
    return out;
}

std::vector<char> createTextureData(const Trade::TextureData& texture) {
    QUILLMARSH_ASSERT(texture.image <= 0xffff, "createTextureData(): image index" << texture.image << "does not fit 16 bits", {});
    return createTextureData(std::uint16_t(texture.image), 0, texture.minificationFilter, texture.magnificationFilter, texture.mipmapFilter, texture.wrapping);
}

std::vector<char> createProbeData(std::span<const Trade::ImageData2D> images) {
    /* The documented location of this assertion, from before the record builders had files of
       their own */
    QUILLMARSH_INTERNAL_ASSERT_AT(images.size(), "Data/AssetData", 1266);
    const Trade::ImageData2D& first = images[0];
    std::size_t total = 12;
    for(const Trade::ImageData2D& image: images) {
        QUILLMARSH_ASSERT(image.data.size() >= image.dataSize(), "createProbeData(): image of" << image.dataSize() << "bytes has only" << image.data.size(), {});
        total += image.dataSize();
    }
    std::vector<char> out(total, '\0');
    std::memcpy(out.data(), first.size.data(), 8);
    writeU32(out.data() + 8, std::uint32_t(first.format));
    std::size_t offset = 12;
    for(const Trade::ImageData2D& image: images) {
        const std::size_t size = image.dataSize();
        if(size) std::memcpy(out.data() + offset, image.data.data(), size);
        offset += size;
    }
    return out;
}

Debug& operator<<(Debug& debug, ImageData::Kind value) {
    switch(value) {
        case ImageData::Kind::Path: return QuillmarshEngine::Implementation::printEnumValue(debug, "ImageData::Kind", "Path");
        case ImageData::Kind::Hashes: return QuillmarshEngine::Implementation::printEnumValue(debug, "ImageData::Kind", "Hashes");
    }
    return QuillmarshEngine::Implementation::printUnknownEnum(debug, "ImageData::Kind", std::uint8_t(value));
}

ImageData::ImageData(std::span<const char> data): _data{data} {
    QUILLMARSH_ASSERT(data.size() >= HeaderSize, "Data::ImageData: expected at least" << HeaderSize << "bytes, got" << data.size(), );
}

std::uint32_t ImageData::hashCount() const { return readU32(_data.data()); }

std::array<std::int32_t, 3> ImageData::size() const {
    std::array<std::int32_t, 3> out;
    std::memcpy(out.data(), _data.data() + 8, 12);
    return out;
}

std::string_view ImageData::path() const {
    QUILLMARSH_ASSERT(kind() == Kind::Path, "Data::ImageData::path(): the record lists hashes", {});
    return readName(_data.data() + HeaderSize, _data.size() - HeaderSize);
}

std::string_view ImageData::hash(std::uint32_t i) const {
    QUILLMARSH_ASSERT(kind() == Kind::Hashes, "Data::ImageData::hash(): the record names a path", {});
    QUILLMARSH_ASSERT(i < hashCount() && HeaderSize + (std::uint64_t(i) + 1)*HashSize <= _data.size(), "Data::ImageData::hash(): index" << i << "out of range for" << hashCount() << "hashes", {});
    return {_data.data() + HeaderSize + i*HashSize, HashSize};
}

}}
