#include "QuillmarshEngine/Data/AssetData.h"

#include <algorithm>
#include <cstring>

#include "QuillmarshEngine/Data/MeshData.h"

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

}}
