#include "QuillmarshEngine/Data/AssetData.h"

#include <algorithm>
#include <cstring>

#include "QuillmarshEngine/Data/AssetRecords.h"
#include "QuillmarshEngine/Data/MeshData.h"
#include "QuillmarshEngine/Math/DualQuaternion.h"

namespace QuillmarshEngine { namespace Data {

namespace {

/* Chunk fields are little-endian; the library runs on little-endian targets only, so reading
   and writing them is a plain copy, done through memcpy so unaligned views stay defined */
std::uint32_t readU32(const char* at) {
    std::uint32_t value;
    std::memcpy(&value, at, 4);
    return value;
}

void writeU32(char* at, std::uint32_t value) {
    std::memcpy(at, &value, 4);
}

bool isAligned(const void* pointer) {
    return (reinterpret_cast<std::uintptr_t>(pointer) & 3) == 0;
}

}

const char* magicName(Magic magic) {
    switch(magic) {
        case Magic::AnimationTargets: return "AnimationTargets";
        case Magic::Skin: return "Skin";
        case Magic::Probe: return "Probe";
        case Magic::Font: return "Font";
        case Magic::Image: return "Image";
        case Magic::Locale: return "Locale";
        case Magic::Mesh: return "Mesh";
        case Magic::PhysX: return "PhysX";
        case Magic::Rendering: return "Rendering";
        case Magic::Scene: return "Scene";
        case Magic::Texture: return "Texture";
        case Magic::Header: return "Header";
        case Magic::Signature: return "Signature";
        case Magic::Animation: return "Animation";
        case Magic::MorphTarget: return "MorphTarget";
        case Magic::Draw: return "Draw";
        case Magic::External: return "External";
        case Magic::AnimationGraph: return "AnimationGraph";
        case Magic::JsParams: return "JsParams";
        case Magic::Language: return "Language";
        case Magic::Material: return "Material";
        case Magic::Pipeline: return "Pipeline";
        case Magic::Shader: return "Shader";
        case Magic::ImageTile: return "ImageTile";
    }
    return nullptr;
}

bool isMagicKnown(Magic magic) {
    return magicName(magic) != nullptr;
}

Debug& operator<<(Debug& debug, Magic value) {
    if(const char* name = magicName(value))
        return Implementation::printEnumValue(debug, "Magic", name);
    /* Unknown tags print their four bytes as text, which is what a reader wants to see in a
       damaged file; bytes that are not printable become '?' so the line stays one line */
    char text[4];
    const std::uint32_t bits = std::uint32_t(value);
    for(int i = 0; i != 4; ++i) {
        const char c = char((bits >> (8*i)) & 0xff);
        text[i] = c >= 0x20 && c < 0x7f ? c : '?';
    }
    return debug << "Magic(" << Debug::nospace << std::string_view{text, 4} << Debug::nospace << ")";
}

AssetChunkView::AssetChunkView(std::span<const char> data): _data{data} {
    QUILLMARSH_ASSERT(isAligned(data.data()), "AssetChunkView::AssetChunkView(): data is not 4-byte aligned", );
    QUILLMARSH_ASSERT(data.size() >= AssetChunkHeaderSize, "AssetChunkView::AssetChunkView(): expected at least 8 bytes for a chunk header, got" << data.size(), );
}

Magic AssetChunkView::magic() const {
    QUILLMARSH_ASSERT(_data.size() >= AssetChunkHeaderSize, "AssetChunkView::magic(): the view is empty", {});
    return Magic(readU32(_data.data()));
}

std::uint32_t AssetChunkView::size() const {
    QUILLMARSH_ASSERT(_data.size() >= AssetChunkHeaderSize, "AssetChunkView::size(): the view is empty", {});
    return readU32(_data.data() + 4);
}

std::span<const char> AssetChunkView::payload() const {
    if(_data.size() < AssetChunkHeaderSize) return {};
    const std::size_t available = _data.size() - std::size_t(AssetChunkHeaderSize);
    return _data.subspan(std::size_t(AssetChunkHeaderSize), std::min<std::size_t>(size(), available));
}

AssetChunk AssetChunk::create(Magic magic, std::uint64_t payloadSize, std::span<char> destData) {
    const std::uint64_t paddedPayloadSize = (payloadSize + 3) & ~std::uint64_t{3};
    QUILLMARSH_ASSERT(destData.size() >= paddedPayloadSize + AssetChunkHeaderSize, "AssetChunk::create(): destData too small", {});
    QUILLMARSH_ASSERT(isAligned(destData.data()), "AssetChunkView::AssetChunkView(): data is not 4-byte aligned", {});
    QUILLMARSH_ASSERT(paddedPayloadSize <= 0xffffffffu, "AssetChunk::create(): payload size" << payloadSize << "does not fit 32 bits", {});
    writeU32(destData.data(), std::uint32_t(magic));
    /* The reserving form stores the padded size, the copying forms the exact one; readers step
       by the padded total either way */
    writeU32(destData.data() + 4, std::uint32_t(paddedPayloadSize));
    const std::span<char> bytes = destData.first(std::size_t(paddedPayloadSize + AssetChunkHeaderSize));
    return AssetChunk{bytes, AssetChunkView{bytes}};
}

AssetChunk AssetChunk::create(Magic magic, std::span<const std::span<const char>> pieces, std::span<char> destData) {
    std::uint64_t payloadSize = 0;
    for(const std::span<const char>& piece: pieces) payloadSize += piece.size();
    QUILLMARSH_ASSERT(destData.size() >= calulateAssetChunkSizePadded(payloadSize), "AssetChunk::create(): destData too small", {});
    QUILLMARSH_ASSERT(isAligned(destData.data()), "AssetChunkView::AssetChunkView(): data is not 4-byte aligned", {});
    QUILLMARSH_ASSERT(payloadSize <= 0xffffffffu, "AssetChunk::create(): payload size" << payloadSize << "does not fit 32 bits", {});
    writeU32(destData.data(), std::uint32_t(magic));
    writeU32(destData.data() + 4, std::uint32_t(payloadSize));
    char* out = destData.data() + AssetChunkHeaderSize;
    for(const std::span<const char>& piece: pieces) {
        if(!piece.empty()) std::memcpy(out, piece.data(), piece.size());
        out += piece.size();
    }
    const std::span<char> bytes = destData.first(std::size_t(payloadSize + AssetChunkHeaderSize));
    return AssetChunk{bytes, AssetChunkView{bytes}};
}

AssetChunk AssetChunk::create(Magic magic, std::span<const std::span<const char>> pieces, std::vector<char>& out) {
    std::uint64_t payloadSize = 0;
    for(const std::span<const char>& piece: pieces) payloadSize += piece.size();
    const std::size_t start = out.size();
    out.resize(start + std::size_t(calulateAssetChunkSizePadded(payloadSize)), '\0');
    return create(magic, pieces, std::span<char>{out}.subspan(start));
}

std::vector<AssetChunk> AssetChunk::create(std::span<const Magic> magics, std::span<const std::span<const char>> datas, std::span<char> destData) {
    QUILLMARSH_ASSERT(magics.size() == datas.size(), "AssetChunk::create(): magic and data arrays not same size", {});
    std::vector<AssetChunk> chunks;
    chunks.reserve(magics.size());
    for(std::size_t i = 0; i != magics.size(); ++i) {
        const AssetChunk chunk = create(magics[i], datas.subspan(i, 1), destData);
        const std::size_t step = std::size_t(chunk.view.sizePadded());
        chunks.push_back(chunk);
        /* The last chunk may end in its padding, past the buffer; nothing follows it then */
        destData = destData.subspan(std::min(step, destData.size()));
    }
    return chunks;
}

AssetChunk createExternalBinChunk(std::string_view path, std::vector<char>& out) {
    const char zero = '\0';
    const std::span<const char> pieces[]{{path.data(), path.size()}, {&zero, 1}};
    return AssetChunk::create(Magic::External, pieces, out);
}

void appendHeaderData(std::vector<char>& out) {
    const AssetHeader header{AssetHeaderFormatWord0, AssetHeaderFormatWord1, 0, 0};
    const std::span<const char> pieces[]{{reinterpret_cast<const char*>(&header), sizeof(header)}};
    AssetChunk::create(Magic::Header, pieces, out);
}

void updateHeaderData(std::span<char> data) {
    QUILLMARSH_ASSERT(isAligned(data.data()), "AssetChunkView::AssetChunkView(): data is not 4-byte aligned", );
    QUILLMARSH_ASSERT(data.size() >= AssetChunkHeaderSize + AssetHeaderPayloadSize, "updateHeaderData(): expected at least 24 bytes for the header chunk, got" << data.size(), );
    QUILLMARSH_ASSERT(Magic(readU32(data.data())) == Magic::Header, "AssetChunkView::as(): Chunk is not of given type", );
    const std::uint32_t headerSize = readU32(data.data() + 4);
    /* A smaller header would have its two fields written over the next chunk's header */
    QUILLMARSH_ASSERT(headerSize >= AssetHeaderPayloadSize, "updateHeaderData(): expected a header chunk size of at least 16, got" << headerSize, );
    std::uint64_t step = calulateAssetChunkSizePadded(headerSize);
    QUILLMARSH_ASSERT(step <= data.size(), "updateHeaderData(): header chunk of" << step << "bytes exceeds the" << data.size() << "bytes of data", );

    char* const largestField = data.data() + AssetChunkHeaderSize + offsetof(AssetHeader, largestChunkSize);
    char* const countField = data.data() + AssetChunkHeaderSize + offsetof(AssetHeader, chunkCount);
    std::uint64_t largest = step;
    std::uint32_t count = 1;
    writeU32(largestField, std::uint32_t(largest));
    writeU32(countField, count);

    std::uint64_t remaining = data.size();
    std::size_t position = 0;
    while(step < remaining) {
        position += std::size_t(step);
        remaining -= step;
        /* Fewer than 8 bytes can't hold a chunk header; they are stray bytes, not a chunk */
        if(remaining < AssetChunkHeaderSize) break;
        QUILLMARSH_ASSERT(isAligned(data.data() + position), "AssetChunkView::AssetChunkView(): data is not 4-byte aligned", );
        const std::uint64_t total = calulateAssetChunkSizePadded(readU32(data.data() + position + 4));
        QUILLMARSH_ASSERT(total <= 0xffffffffu, "updateHeaderData(): chunk at offset" << position << "has a padded size of" << total << "bytes, which does not fit 32 bits", );
        largest = std::max(largest, total);
        ++count;
        writeU32(largestField, std::uint32_t(largest));
        writeU32(countField, count);
        step = total;
    }
}

namespace Utils {
    /* Named as in the reported assertion of createMeshDataChunk() */
    constexpr std::uint64_t fourByteAlign(std::uint64_t size) { return (size + 3) & ~std::uint64_t{3}; }
}

AssetChunk createMeshDataChunk(const MeshDataChunkHeader& meshHeader, std::span<const MeshData::MeshAttributeData32> attributes, std::span<const char> vertexData, std::span<const char> indexData, std::vector<char>& out) {
    const std::uint64_t tableSize = std::uint64_t(attributes.size())*sizeof(MeshData::MeshAttributeData32);
    const std::uint64_t total = MeshData::HeaderSize + tableSize + Utils::fourByteAlign(vertexData.size()) + Utils::fourByteAlign(indexData.size());
    /* The header field is 32-bit; walking to the end of the index data must land exactly on it,
       which fails when the total was truncated */
    struct {
        std::uint32_t totalSize;
    } header{std::uint32_t(total)};
    const std::uint64_t offset = MeshData::HeaderSize + tableSize + Utils::fourByteAlign(vertexData.size());
    const std::uint64_t size = indexData.size();
    QUILLMARSH_INTERNAL_ASSERT_AT_LINE(offset + Utils::fourByteAlign(size) == header.totalSize, 374);

    const std::size_t start = out.size();
    out.resize(start + std::size_t(header.totalSize + AssetChunkHeaderSize), '\0');
    const AssetChunk chunk = AssetChunk::create(Magic::Mesh, header.totalSize, std::span<char>{out}.subspan(start));
    char* payload = chunk.payload().data();
    writeU32(payload + 0, std::uint32_t(header.totalSize));
    writeU32(payload + 4, std::uint32_t(tableSize));
    writeU32(payload + 8, std::uint32_t(vertexData.size()));
    writeU32(payload + 12, std::uint32_t(indexData.size()));
    writeU32(payload + 16, meshHeader.vertexCount);
    writeU32(payload + 20, meshHeader.indexCount);
    writeU32(payload + 24, std::uint32_t(attributes.size()));
    writeU32(payload + 28, std::uint32_t(meshHeader.indexType));
    payload[32] = char(meshHeader.compressionFlags);
    const float sphere[]{meshHeader.boundingSphere.center()[0], meshHeader.boundingSphere.center()[1], meshHeader.boundingSphere.center()[2], meshHeader.boundingSphere.radius()};
    std::memcpy(payload + 36, sphere, 16);
    if(!attributes.empty()) std::memcpy(payload + MeshData::HeaderSize, attributes.data(), std::size_t(tableSize));
    char* vertices = payload + MeshData::HeaderSize + tableSize;
    if(!vertexData.empty()) std::memcpy(vertices, vertexData.data(), vertexData.size());
    if(!indexData.empty()) std::memcpy(vertices + Utils::fourByteAlign(vertexData.size()), indexData.data(), indexData.size());
    return chunk;
}

namespace {

std::span<const char> bytesOf(const void* data, std::size_t size) {
    return {static_cast<const char*>(data), size};
}

void writeName(char* at, std::string_view name) {
    if(!name.empty()) std::memcpy(at, name.data(), name.size());
}

std::string_view readName(const char* at, std::size_t size) {
    return {at, ::strnlen(at, size)};
}

}

std::vector<char> createShaderData(std::string_view name, std::span<const std::string_view> sources, Shaders::ShaderProgramFlags flags, Shaders::ShaderType type, Shaders::ShaderStage stage, bool hasSecond, std::string_view secondName) {
    /* 126 characters at most: the field keeps its terminating zero with room to spare */
    QUILLMARSH_ASSERT(name.size() < 127, "createShaderData(): Shader name too long.", {});
    QUILLMARSH_ASSERT(!hasSecond || secondName.size() < 127, "createShaderData(): Shader name too long.", {});
    QUILLMARSH_ASSERT(sources.size() >= (hasSecond ? 2u : 1u), "createShaderData(): expected" << (hasSecond ? 2 : 1) << "sources, got" << sources.size(), {});
    const std::string_view first = sources[0];
    const std::string_view second = hasSecond ? sources[1] : std::string_view{};
    /* Lengths + 1 are stored in 16 bits */
    QUILLMARSH_ASSERT(first.size() < 65535 && second.size() < 65535, "createShaderData(): Shader source too long.", {});

    std::vector<char> out(ShaderData::HeaderSize + first.size() + 1 + (hasSecond ? second.size() + 1 : 0), '\0');
    out[0] = char(stage);
    out[1] = char(type);
    const std::uint16_t flagBits = flags.value();
    const std::uint16_t firstSize = std::uint16_t(first.size() + 1);
    const std::uint16_t secondSize = hasSecond ? std::uint16_t(second.size() + 1) : 0;
    std::memcpy(out.data() + 2, &flagBits, 2);
    std::memcpy(out.data() + 4, &firstSize, 2);
    std::memcpy(out.data() + 6, &secondSize, 2);
    writeName(out.data() + 8, name);
    if(hasSecond) writeName(out.data() + 136, secondName);
    writeName(out.data() + ShaderData::HeaderSize, first);
    if(hasSecond) writeName(out.data() + ShaderData::HeaderSize + firstSize, second);
    return out;
}

std::vector<char> createPipelineData(std::string_view name, const Pipeline& pipeline, std::int32_t first, const StringArrayView& features, std::int32_t second) {
    /* The pipeline builder reports with the shader builder's message */
    QUILLMARSH_ASSERT(name.size() < 64, "createShaderData(): Shader name too long.", {});
    const std::size_t featureSize = std::size_t(features.usedSize());
    std::vector<char> out(144 + featureSize, '\0');
    const std::uint32_t count = std::uint32_t(features.size());
    std::memcpy(out.data(), &first, 4);
    std::memcpy(out.data() + 4, &count, 4);
    writeName(out.data() + 8, name);
    std::memcpy(out.data() + 72, &second, 4);
    std::memcpy(out.data() + 76, &pipeline, sizeof(Pipeline));
    if(featureSize) std::memcpy(out.data() + 144, features.data().data(), featureSize);
    return out;
}

std::vector<char> createDrawData(const Draw& draw) {
    const std::span<const char> bytes = bytesOf(&draw, sizeof(Draw));
    return {bytes.begin(), bytes.end()};
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

std::vector<char> createMaterialData(std::int32_t pipeline, const Shaders::AlphaMaterial& alphaMaterial, std::span<const char> material) {
    /* Every byte is written, so the array is not zero-filled first */
    std::vector<char> out(20 + material.size());
    std::memcpy(out.data(), &pipeline, 4);
    std::memcpy(out.data() + 4, &alphaMaterial, sizeof(alphaMaterial));
    if(!material.empty()) std::memcpy(out.data() + 20, material.data(), material.size());
    return out;
}

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
        QUILLMARSH_INTERNAL_ASSERT(hash.size() == ImageData::HashSize);
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

std::vector<char> createPhysXData(PhysXData::Type type, std::uint16_t id, std::span<const char> data) {
    QUILLMARSH_ASSERT(std::uint32_t(type) <= 0xffff, "createPhysXData(): type" << std::uint32_t(type) << "does not fit 16 bits", {});
    std::vector<char> out(4 + data.size());
    writeU32(out.data(), std::uint32_t(type) | (std::uint32_t(id) << 16));
    if(!data.empty()) std::memcpy(out.data() + 4, data.data(), data.size());
    return out;
}

std::vector<char> createFontData(std::span<const char> data) {
    return {data.begin(), data.end()};
}

std::vector<char> createLanguageData(std::string_view name, std::string_view code, std::uint32_t value, const StringArrayView& strings) {
    QUILLMARSH_ASSERT(name.size() < LanguageData::NameSize, "createLanguageData(): Language name too long.", {});
    QUILLMARSH_ASSERT(code.size() < LanguageData::CodeSize, "createLanguageData(): Language code too long.", {});
    const std::size_t stringSize = std::size_t(strings.usedSize());
    std::vector<char> out(LanguageData::HeaderSize + stringSize, '\0');
    writeName(out.data(), name);
    writeName(out.data() + LanguageData::NameSize, code);
    writeU32(out.data() + 96, value);
    if(stringSize) std::memcpy(out.data() + LanguageData::HeaderSize, strings.data().data(), stringSize);
    return out;
}

std::vector<char> createSkinData(std::span<const DualQuaternion> transforms, std::span<const Vector3> scalings, std::span<const Id> joints) {
    QUILLMARSH_ASSERT(transforms.size() == joints.size() && scalings.size() == joints.size(),
        "createSkinData(): expected lists of the same length, got" << transforms.size() << "transforms," << scalings.size() << "scalings and" << joints.size() << "joints", {});
    const std::size_t n = joints.size();
    std::vector<char> out(4 + 46*n, '\0');
    writeU32(out.data(), std::uint32_t(n));
    if(n) {
        /* Real part x, y, z, w, then dual part x, y, z, w: the math types' own layout */
        static_assert(sizeof(DualQuaternion) == 32 && sizeof(Vector3) == 12, "skin records copy the math types as they are");
        std::memcpy(out.data() + 4, transforms.data(), 32*n);
        std::memcpy(out.data() + 4 + 32*n, scalings.data(), 12*n);
        std::memcpy(out.data() + 4 + 44*n, joints.data(), 2*n);
    }
    return out;
}

std::vector<char> createLocaleData(std::span<const std::pair<std::string_view, std::string_view>> pairs, std::span<const std::string_view> pairExtras, std::span<const std::string_view> strings, std::span<const LocaleLinkHeader> links) {
    QUILLMARSH_ASSERT(pairExtras.size() == pairs.size(), "createLocaleData(): expected" << pairs.size() << "pair extras, got" << pairExtras.size(), {});
    /* Readers take the second count as the link count and find link i's term at string
       3 × pairs + i, so there must be exactly one extra string per link */
    QUILLMARSH_ASSERT(strings.size() == links.size(), "createLocaleData(): expected one string per link," << links.size() << "links but" << strings.size() << "strings", {});
    StringArray array;
    for(std::size_t i = 0; i != pairs.size(); ++i) {
        array.add(pairs[i].first);
        array.add(pairs[i].second);
        array.add(pairExtras[i]);
    }
    for(const std::string_view string: strings) array.add(string);

    std::vector<char> out(8 + 8*links.size() + array.data().size(), '\0');
    writeU32(out.data(), std::uint32_t(pairs.size()));
    writeU32(out.data() + 4, std::uint32_t(strings.size()));
    if(!links.empty()) std::memcpy(out.data() + 8, links.data(), 8*links.size());
    if(!array.data().empty()) std::memcpy(out.data() + 8 + 8*links.size(), array.data().data(), array.data().size());
    return out;
}

Debug& operator<<(Debug& debug, PhysXData::Type value) {
    switch(value) {
        case PhysXData::Type::Sphere: return Implementation::printEnumValue(debug, "PhysXData::Type", "Sphere");
        case PhysXData::Type::Capsule: return Implementation::printEnumValue(debug, "PhysXData::Type", "Capsule");
        case PhysXData::Type::Box: return Implementation::printEnumValue(debug, "PhysXData::Type", "Box");
        case PhysXData::Type::Plane: return Implementation::printEnumValue(debug, "PhysXData::Type", "Plane");
        case PhysXData::Type::ConvexMesh: return Implementation::printEnumValue(debug, "PhysXData::Type", "ConvexMesh");
        case PhysXData::Type::TriangleMesh: return Implementation::printEnumValue(debug, "PhysXData::Type", "TriangleMesh");
        case PhysXData::Type::HeightField: return Implementation::printEnumValue(debug, "PhysXData::Type", "HeightField");
    }
    return Implementation::printUnknownEnum(debug, "PhysXData::Type", std::uint32_t(value));
}

Debug& operator<<(Debug& debug, AssetSignatureAlgorithm value) {
    switch(value) {
        case AssetSignatureAlgorithm::RsaPssSha256: return Implementation::printEnumValue(debug, "AssetSignatureAlgorithm", "RsaPssSha256");
    }
    return Implementation::printUnknownEnum(debug, "AssetSignatureAlgorithm", std::uint32_t(value));
}

Debug& operator<<(Debug& debug, ImageData::Kind value) {
    switch(value) {
        case ImageData::Kind::Path: return Implementation::printEnumValue(debug, "ImageData::Kind", "Path");
        case ImageData::Kind::Hashes: return Implementation::printEnumValue(debug, "ImageData::Kind", "Hashes");
    }
    return Implementation::printUnknownEnum(debug, "ImageData::Kind", std::uint8_t(value));
}

ShaderData::ShaderData(std::span<const char> data): _data{data} {
    QUILLMARSH_ASSERT(data.size() >= HeaderSize, "Data::ShaderData: expected at least" << HeaderSize << "bytes, got" << data.size(), );
}

Shaders::ShaderProgramFlags ShaderData::flags() const {
    std::uint16_t bits;
    std::memcpy(&bits, _data.data() + 2, 2);
    return Shaders::ShaderProgramFlags{bits, nullptr};
}

std::uint16_t ShaderData::sourceSize() const {
    std::uint16_t size;
    std::memcpy(&size, _data.data() + 4, 2);
    return size;
}

std::uint16_t ShaderData::secondSourceSize() const {
    std::uint16_t size;
    std::memcpy(&size, _data.data() + 6, 2);
    return size;
}

std::string_view ShaderData::name() const { return readName(_data.data() + 8, NameSize); }
std::string_view ShaderData::secondName() const { return readName(_data.data() + 136, NameSize); }

std::string_view ShaderData::source() const {
    const std::size_t size = sourceSize();
    QUILLMARSH_ASSERT(size && HeaderSize + size <= _data.size(), "Data::ShaderData::source(): text of" << size << "bytes outside the" << _data.size() << "bytes of data", {});
    return {_data.data() + HeaderSize, size - 1};
}

std::string_view ShaderData::secondSource() const {
    const std::size_t first = sourceSize(), size = secondSourceSize();
    QUILLMARSH_ASSERT(size && HeaderSize + first + size <= _data.size(), "Data::ShaderData::secondSource(): text of" << size << "bytes outside the" << _data.size() << "bytes of data", {});
    return {_data.data() + HeaderSize + first, size - 1};
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

LanguageData::LanguageData(std::span<const char> data): _data{data} {
    QUILLMARSH_ASSERT(data.size() >= HeaderSize, "Data::LanguageData: expected at least" << HeaderSize << "bytes, got" << data.size(), );
    _strings = StringArrayView{data.subspan(HeaderSize), 2*std::size_t(pairCount())};
}

std::string_view LanguageData::name() const { return readName(_data.data(), NameSize); }
std::string_view LanguageData::code() const { return readName(_data.data() + NameSize, CodeSize); }
std::uint32_t LanguageData::pairCount() const { return readU32(_data.data() + 96); }

LocaleData::LocaleData(std::span<const char> data): _data{data} {
    QUILLMARSH_ASSERT(data.size() >= 8 && 8 + 8*std::uint64_t(readU32(data.data() + 4)) <= data.size(),
        "Data::LocaleData: the record of" << data.size() << "bytes is too small for its links", );
    _strings = StringArrayView{data.subspan(8 + 8*std::size_t(linkCount())), 3*std::size_t(pairCount()) + linkCount()};
}

std::uint32_t LocaleData::pairCount() const { return readU32(_data.data()); }
std::uint32_t LocaleData::linkCount() const { return readU32(_data.data() + 4); }

LocaleLinkHeader LocaleData::link(std::uint32_t i) const {
    QUILLMARSH_ASSERT(i < linkCount(), "Data::LocaleData::link(): index" << i << "out of range for" << linkCount() << "links", {});
    LocaleLinkHeader out;
    std::memcpy(&out, _data.data() + 8 + 8*std::size_t(i), 8);
    return out;
}

/* Keep the probe assertion below on the line it reports */
std::vector<char> createProbeData(std::span<const Trade::ImageData2D> images) {
    QUILLMARSH_INTERNAL_ASSERT_AT_LINE(images.size(), 1266);
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

}}
