#include "QuillmarshEngine/Data/AssetValidation.h"

#include "QuillmarshEngine/Data/Scene.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <sstream>
#include <string>

#include "QuillmarshEngine/Data/AnimationData.h"
#include "QuillmarshEngine/Data/AssetRecords.h"
#include "QuillmarshEngine/Data/MeshData.h"
#include "QuillmarshEngine/Trade/MeshAttribute.h"
#include "QuillmarshEngine/Trade/MeshIndexType.h"
#include "QuillmarshEngine/Trade/VertexFormat.h"

namespace QuillmarshEngine { namespace Data {

namespace {

std::uint32_t readU32(const char* at) {
    std::uint32_t value;
    std::memcpy(&value, at, 4);
    return value;
}

std::uint64_t fourByteAlign(std::uint64_t size) { return (size + 3) & ~std::uint64_t{3}; }

/* Collects the first fault; every check returns false once one is recorded */
class Checker {
    public:
        template<class... T> bool fail(std::uint64_t offset, const T&... message) {
            std::ostringstream out;
            {
                Debug d{&out, Debug::Flag::NoNewlineAtTheEnd};
                d << "offset" << offset << Debug::nospace << ":";
                (d << ... << message);
            }
            _error = out.str();
            return false;
        }

        const std::string& error() const { return _error; }

    private:
        std::string _error;
};

bool hasZero(std::span<const char> bytes) {
    return std::find(bytes.begin(), bytes.end(), '\0') != bytes.end();
}

/* Finds `count` terminated strings from `offset`; the count comes from the file, so stop as soon
   as the bytes run out */
bool checkStrings(Checker& checker, std::span<const char> payload, std::uint64_t base, std::uint64_t offset, std::uint64_t count, const char* what) {
    std::uint64_t at = offset;
    for(std::uint64_t i = 0; i != count; ++i) {
        if(at >= payload.size())
            return checker.fail(base + offset, what, "expected", count, "strings, found", i);
        const char* end = static_cast<const char*>(std::memchr(payload.data() + at, '\0', std::size_t(payload.size() - at)));
        if(!end) return checker.fail(base + at, what, "string", i, "is not terminated");
        at = std::uint64_t(end - payload.data()) + 1;
    }
    return true;
}

/* Whether count floats from offset are all finite: NaN or infinite positions, bounds and
   transformations make a renderer draw garbage or cull everything */
bool areFinite(std::span<const char> payload, std::uint64_t offset, std::uint64_t count) {
    for(std::uint64_t i = 0; i != count; ++i) {
        float value;
        std::memcpy(&value, payload.data() + offset + 4*i, 4);
        if(!std::isfinite(value)) return false;
    }
    return true;
}

/* Every stored index must name a vertex: a renderer reads the vertex an index names without
   checking */
bool checkIndexValues(Checker& checker, const MeshData& mesh, std::span<const char> payload, std::uint64_t base) {
    const std::uint64_t indexSize = Trade::meshIndexTypeSize(mesh.indexType());
    const std::uint64_t offset = MeshData::HeaderSize + std::uint64_t(mesh.attributeTableSize()) + fourByteAlign(mesh.vertexDataSize());
    const char* const indices = payload.data() + offset;
    const std::uint32_t vertexCount = mesh.vertexCount();
    for(std::uint32_t i = 0; i != mesh.indexCount(); ++i) {
        std::uint32_t value = 0;
        std::memcpy(&value, indices + i*indexSize, std::size_t(indexSize));
        if(value >= vertexCount)
            return checker.fail(base + offset + i*indexSize, "index", i, "of value", value, "points past the", vertexCount, "vertices");
    }
    return true;
}

bool checkMesh(Checker& checker, std::span<const char> payload, std::uint64_t base) {
    if(payload.size() < MeshData::HeaderSize)
        return checker.fail(base, "mesh record of", payload.size(), "bytes is smaller than its", MeshData::HeaderSize, "byte header");
    const MeshData mesh{payload};
    if(mesh.totalSize() > payload.size() || mesh.totalSize() < MeshData::HeaderSize)
        return checker.fail(base, "mesh total size", mesh.totalSize(), "does not fit the", payload.size(), "byte record");
    if(std::uint64_t(mesh.attributeCount())*sizeof(MeshData::MeshAttributeData32) != mesh.attributeTableSize())
        return checker.fail(base + 4, "attribute table of", mesh.attributeTableSize(), "bytes for", mesh.attributeCount(), "attributes");
    const std::uint64_t expected = MeshData::HeaderSize + std::uint64_t(mesh.attributeTableSize()) + fourByteAlign(mesh.vertexDataSize()) + fourByteAlign(mesh.indexDataSize());
    if(expected != mesh.totalSize())
        return checker.fail(base, "mesh total size", mesh.totalSize(), "but its parts take", expected);
    if(mesh.compressionFlags() & ~3)
        return checker.fail(base + 32, "unknown compression flags", Debug::hex, mesh.compressionFlags());
    const std::uint32_t indexType = std::uint32_t(mesh.indexType());
    if(indexType < 1 || indexType > 3)
        return checker.fail(base + 28, "invalid index type", indexType);
    const std::uint64_t indexSize = Trade::meshIndexTypeSize(mesh.indexType());
    const std::uint64_t vertexCount = mesh.vertexCount();
    if(!areFinite(payload, 36, 4) || mesh.boundingSphere().radius() < 0.0f)
        return checker.fail(base + 36, "mesh bounding sphere is not finite");

    if(!mesh.isIndexDataCompressed()) {
        if(std::uint64_t(mesh.indexCount())*indexSize != mesh.indexDataSize())
            return checker.fail(base + 12, mesh.indexDataSize(), "bytes of index data for", mesh.indexCount(), "indices of", indexSize, "bytes");
    } else {
        if(!mesh.indexCount() || indexSize == 1)
            return checker.fail(base + 20, "compressed index data needs 16- or 32-bit indices and a count");
        if(mesh.indexCount()*indexSize > 64*std::uint64_t(mesh.indexDataSize()))
            return checker.fail(base + 12, mesh.indexDataSize(), "bytes of compressed index data can't hold", mesh.indexCount(), "indices");
    }

    /* For compressed vertices the records' stride tells the decoded size */
    std::uint64_t vertexBytes = mesh.vertexDataSize();
    if(mesh.isVertexDataCompressed()) {
        if(!mesh.attributeCount())
            return checker.fail(base + 24, "compressed vertex data without attributes");
        const std::int32_t stride = mesh.attribute(0).stride;
        if(stride <= 0 || stride > 256 || stride % 4)
            return checker.fail(base + MeshData::HeaderSize + 12, "compressed vertex data with a stride of", stride);
        vertexBytes = vertexCount*std::uint64_t(stride);
        if(vertexBytes > 64*std::uint64_t(mesh.vertexDataSize()))
            return checker.fail(base + 8, mesh.vertexDataSize(), "bytes of compressed vertex data can't hold", vertexCount, "vertices");
    }

    std::uint32_t joints = 0, weights = 0;
    std::uint16_t jointArraySizes[256]{}, weightArraySizes[256]{};
    for(std::uint32_t i = 0; i != mesh.attributeCount(); ++i) {
        const MeshData::MeshAttributeData32 a = mesh.attribute(i);
        const std::uint64_t at = base + MeshData::HeaderSize + 20*std::uint64_t(i);
        const Trade::VertexFormat format = Trade::VertexFormat(a.format);
        const Trade::MeshAttribute name = Trade::MeshAttribute(a.name);
        if(!Trade::isVertexFormatKnown(format))
            return checker.fail(at, "attribute", i, "has an invalid format", a.format);
        if(!Trade::isMeshAttributeBuiltin(name) && !Trade::isMeshAttributeCustom(name))
            return checker.fail(at + 4, "attribute", i, "has an invalid name", a.name);
        if(a.offsetOnly != 1)
            return checker.fail(at + 6, "attribute", i, "is not marked offset-only");
        if(a.vertexCount != vertexCount)
            return checker.fail(at + 8, "attribute", i, "has", a.vertexCount, "vertices instead of", vertexCount);
        const bool arrayName = name == Trade::MeshAttribute::JointIds || name == Trade::MeshAttribute::Weights;
        if(a.arraySize && !arrayName && !Trade::isMeshAttributeCustom(name))
            return checker.fail(at + 14, "attribute", i, "can't be an array");
        if(mesh.isVertexDataCompressed() && a.stride != mesh.attribute(0).stride)
            return checker.fail(at + 12, "compressed vertex data with attributes of different strides");
        if(name == Trade::MeshAttribute::JointIds) jointArraySizes[joints++ & 0xff] = a.arraySize;
        if(name == Trade::MeshAttribute::Weights) weightArraySizes[weights++ & 0xff] = a.arraySize;
        if(!vertexCount) continue;
        const std::int64_t size = std::int64_t(Trade::vertexFormatSize(format))*std::max<std::int64_t>(a.arraySize, 1);
        const std::int64_t span = std::int64_t(vertexCount - 1)*a.stride;
        const std::int64_t begin = std::int64_t(a.offset) + std::min<std::int64_t>(span, 0);
        const std::int64_t end = std::int64_t(a.offset) + size + std::max<std::int64_t>(span, 0);
        if(begin < 0 || end > std::int64_t(vertexBytes))
            return checker.fail(at + 16, "attribute", i, "spans bytes", begin, "to", end, "outside the", vertexBytes, "bytes of vertex data");
    }
    if(joints != weights)
        return checker.fail(base + 24, joints, "joint id attributes but", weights, "weight attributes");
    for(std::uint32_t i = 0; i != std::min<std::uint32_t>(joints, 256); ++i)
        if(jointArraySizes[i] != weightArraySizes[i])
            return checker.fail(base + 24, "joint id and weight attributes", i, "have different array sizes");
    /* Compressed indices are checked when they are decoded, by Tools::decompressMesh() */
    if(!mesh.isIndexDataCompressed() && !checkIndexValues(checker, mesh, payload, base)) return false;
    return true;
}

bool checkDraw(Checker& checker, std::span<const char> payload, std::uint64_t base) {
    if(payload.size() < sizeof(Draw))
        return checker.fail(base, "draw record of", payload.size(), "bytes, expected at least", sizeof(Draw));
    if(!areFinite(payload, offsetof(Draw, boundingSphere), 4))
        return checker.fail(base + offsetof(Draw, boundingSphere), "draw bounding sphere is not finite");
    if(!areFinite(payload, offsetof(Draw, transformation), 8))
        return checker.fail(base + offsetof(Draw, transformation), "draw transformation is not finite");
    if(!areFinite(payload, offsetof(Draw, scaling), 3))
        return checker.fail(base + offsetof(Draw, scaling), "draw scaling is not finite");
    return true;
}

bool checkSkin(Checker& checker, std::span<const char> payload, std::uint64_t base) {
    if(payload.size() < 4)
        return checker.fail(base, "skin record of", payload.size(), "bytes, expected at least 4");
    const std::uint64_t joints = readU32(payload.data());
    if(4 + 46*joints > payload.size())
        return checker.fail(base, "skin of", joints, "joints exceeds the", payload.size(), "byte record");
    if(!areFinite(payload, 4, 8*joints))
        return checker.fail(base + 4, "skin joint transformations are not finite");
    if(!areFinite(payload, 4 + 32*joints, 3*joints))
        return checker.fail(base + 4 + 32*joints, "skin joint scalings are not finite");
    return true;
}

bool checkShader(Checker& checker, std::span<const char> payload, std::uint64_t base) {
    if(payload.size() < ShaderData::HeaderSize)
        return checker.fail(base, "shader record of", payload.size(), "bytes is smaller than its", ShaderData::HeaderSize, "byte head");
    const ShaderData shader{payload};
    if(!hasZero(payload.subspan(8, ShaderData::NameSize)) || !hasZero(payload.subspan(136, ShaderData::NameSize)))
        return checker.fail(base + 8, "shader name is not terminated");
    const std::uint64_t first = shader.sourceSize(), second = shader.secondSourceSize();
    if(!first) return checker.fail(base + 4, "shader source size is 0");
    if(ShaderData::HeaderSize + first + second > payload.size())
        return checker.fail(base + 4, "shader texts of", first + second, "bytes exceed the", payload.size(), "byte record");
    if(payload[std::size_t(ShaderData::HeaderSize + first - 1)] != '\0' || (second && payload[std::size_t(ShaderData::HeaderSize + first + second - 1)] != '\0'))
        return checker.fail(base + ShaderData::HeaderSize, "shader text is not terminated");
    return true;
}

bool checkImage(Checker& checker, std::span<const char> payload, std::uint64_t base) {
    if(payload.size() < ImageData::HeaderSize)
        return checker.fail(base, "image record of", payload.size(), "bytes is smaller than its", ImageData::HeaderSize, "byte head");
    const ImageData image{payload};
    if(image.kind() == ImageData::Kind::Path) {
        if(image.hashCount()) return checker.fail(base, "image path record with", image.hashCount(), "hashes");
        if(!hasZero(payload.subspan(ImageData::HeaderSize)))
            return checker.fail(base + ImageData::HeaderSize, "image path is not terminated");
    } else if(image.kind() == ImageData::Kind::Hashes) {
        if(ImageData::HeaderSize + std::uint64_t(image.hashCount())*ImageData::HashSize > payload.size())
            return checker.fail(base, image.hashCount(), "image hashes exceed the", payload.size(), "byte record");
    } else return checker.fail(base + 4, "unknown image record kind", int(image.kind()));
    return true;
}

bool checkLanguage(Checker& checker, std::span<const char> payload, std::uint64_t base) {
    if(payload.size() < LanguageData::HeaderSize)
        return checker.fail(base, "language record of", payload.size(), "bytes is smaller than its", LanguageData::HeaderSize, "byte head");
    if(!hasZero(payload.first(LanguageData::NameSize)) || !hasZero(payload.subspan(LanguageData::NameSize, LanguageData::CodeSize)))
        return checker.fail(base, "language name or code is not terminated");
    return checkStrings(checker, payload, base, LanguageData::HeaderSize, 2*std::uint64_t(readU32(payload.data() + 96)), "language record:");
}

bool checkLocale(Checker& checker, std::span<const char> payload, std::uint64_t base) {
    if(payload.size() < 8)
        return checker.fail(base, "locale record of", payload.size(), "bytes can't hold its counts");
    const std::uint64_t pairs = readU32(payload.data()), links = readU32(payload.data() + 4);
    if(8 + 8*links > payload.size())
        return checker.fail(base + 4, links, "locale links exceed the", payload.size(), "byte record");
    return checkStrings(checker, payload, base, 8 + 8*links, 3*pairs + links, "locale record:");
}

bool checkPipeline(Checker& checker, std::span<const char> payload, std::uint64_t base) {
    if(payload.size() < 144)
        return checker.fail(base, "pipeline record of", payload.size(), "bytes is smaller than its 144 byte head");
    if(!hasZero(payload.subspan(8, 64)))
        return checker.fail(base + 8, "pipeline name is not terminated");
    return checkStrings(checker, payload, base, 144, readU32(payload.data() + 4), "pipeline features:");
}

/* Everything the animation view and its decoder read: the track headers, each track's keys
   inside the key data, the events and their names, and every packed rotation, which decodes to
   a unit quaternion or makes the reader abort */
bool checkAnimation(Checker& checker, std::span<const char> payload, std::uint64_t base) {
    if(payload.size() < AnimationData::HeaderSize)
        return checker.fail(base, "animation record of", payload.size(), "bytes is smaller than its", AnimationData::HeaderSize, "byte header");
    const AnimationData animation{payload};
    const AnimationData::Header header = animation.header();
    if(header.compressed > 1)
        return checker.fail(base + 4, "unknown animation compression", header.compressed);
    const std::uint64_t keysAt = AnimationData::HeaderSize + AnimationData::TrackHeaderSize*std::uint64_t(header.trackCount);
    if(keysAt > payload.size())
        return checker.fail(base + 6, header.trackCount, "animation track headers exceed the", payload.size(), "byte record");
    const std::uint64_t eventsAt = keysAt + header.keyDataSize;
    if(eventsAt > payload.size())
        return checker.fail(base + 8, "animation key data of", header.keyDataSize, "bytes exceeds the", payload.size(), "byte record");
    for(std::uint32_t i = 0; i != header.trackCount; ++i) {
        const AnimationData::TrackHeader track = animation.trackHeader(i);
        const std::uint64_t at = base + AnimationData::HeaderSize + AnimationData::TrackHeaderSize*i;
        const std::uint64_t size = AnimationData::trackDataSize(track, header.compressed);
        if(std::uint64_t(track.offset) + size > header.keyDataSize)
            return checker.fail(at, "animation track", i, "takes bytes", track.offset, "to", std::uint64_t(track.offset) + size, "of", header.keyDataSize, "bytes of key data");
        if(!header.compressed) continue;
        const std::uint64_t rotations = keysAt + track.offset + 8*(std::uint64_t(track.translationCount) + track.scaleCount);
        for(std::uint32_t k = 0; k != track.rotationCount; ++k)
            if(!AnimationData::tryUnpackRotation(readU32(payload.data() + rotations + 4*std::uint64_t(k))))
                return checker.fail(base + rotations + 4*std::uint64_t(k), "animation track", i, "rotation", k, "is not a unit quaternion");
    }
    if(eventsAt + 4*std::uint64_t(header.eventCount) > payload.size())
        return checker.fail(base + 12, header.eventCount, "animation events exceed the", payload.size(), "byte record");
    return checkStrings(checker, payload, base, eventsAt + 4*std::uint64_t(header.eventCount), header.eventCount, "animation event names:");
}

bool checkAnimationTargets(Checker& checker, std::span<const char> payload, std::uint64_t base) {
    if(payload.size() < AnimationTargetsData::HeaderSize)
        return checker.fail(base, "animation targets record of", payload.size(), "bytes can't hold its head");
    const std::uint64_t count = AnimationTargetsData{payload}.targetCount();
    if(AnimationTargetsData::HeaderSize + 2*count > payload.size())
        return checker.fail(base + 2, count, "animation targets exceed the", payload.size(), "byte record");
    return true;
}

bool checkMinimum(Checker& checker, std::span<const char> payload, std::uint64_t base, std::uint64_t size, const char* what) {
    if(payload.size() < size)
        return checker.fail(base, what, "record of", payload.size(), "bytes, expected at least", size);
    return true;
}

bool checkRecord(Checker& checker, Magic magic, std::span<const char> payload, std::uint64_t base) {
    switch(magic) {
        case Magic::Mesh: return checkMesh(checker, payload, base);
        case Magic::Animation: return checkAnimation(checker, payload, base);
        case Magic::AnimationTargets: return checkAnimationTargets(checker, payload, base);
        case Magic::Shader: return checkShader(checker, payload, base);
        case Magic::Image: return checkImage(checker, payload, base);
        case Magic::Language: return checkLanguage(checker, payload, base);
        case Magic::Locale: return checkLocale(checker, payload, base);
        case Magic::Pipeline: return checkPipeline(checker, payload, base);
        case Magic::Texture: return checkMinimum(checker, payload, base, 32, "texture");
        case Magic::Draw: return checkDraw(checker, payload, base);
        case Magic::ImageTile: return checkMinimum(checker, payload, base, 40, "image tile");
        case Magic::PhysX: return checkMinimum(checker, payload, base, 4, "PhysX");
        case Magic::Probe: return checkMinimum(checker, payload, base, 12, "probe");
        case Magic::Skin: return checkSkin(checker, payload, base);
        case Magic::Scene: {
            /* The scene record is checked by loading it: adoption checks every block and the
               references between them */
            Utils::Result<std::unique_ptr<Scene>> scene = Scene::loadRecord(payload);
            if(!scene) return checker.fail(base, scene.error());
            return true;
        }
        case Magic::External:
            if(payload.empty() || payload.back() != '\0')
                return checker.fail(base, "external file name is not terminated");
            return true;
        case Magic::Signature:
            if(!checkMinimum(checker, payload, base, sizeof(AssetSignatureHeader), "signature")) return false;
            if(sizeof(AssetSignatureHeader) + std::uint64_t(readU32(payload.data() + 4)) != payload.size())
                return checker.fail(base + 4, "signature of", readU32(payload.data() + 4), "bytes does not fill the", payload.size(), "byte record");
            return true;
        default: return true;
    }
}

}

std::vector<AssetChunkEntry> listAssetChunks(std::span<const char> data) {
    std::vector<AssetChunkEntry> chunks;
    std::uint64_t position = 0;
    while(data.size() - position >= AssetChunkHeaderSize) {
        const std::uint32_t size = readU32(data.data() + position + 4);
        const std::uint64_t padded = calulateAssetChunkSizePadded(size);
        chunks.push_back({position, Magic(readU32(data.data() + position)), size, padded});
        if(padded > data.size() - position) break;
        position += padded;
    }
    return chunks;
}

Utils::Result<std::vector<AssetChunkEntry>> validateAssetData(std::span<const char> data) {
    typedef Utils::Result<std::vector<AssetChunkEntry>> Result;
    Checker checker;
    if(reinterpret_cast<std::uintptr_t>(data.data()) & 3) {
        checker.fail(0, "data is not 4-byte aligned");
        return Result::fail(checker.error());
    }
    if(data.size() < AssetChunkHeaderSize + AssetHeaderPayloadSize) {
        checker.fail(0, data.size(), "bytes can't hold the 24-byte header chunk");
        return Result::fail(checker.error());
    }
    const Magic first = Magic(readU32(data.data()));
    if(first != Magic::Header) {
        checker.fail(0, "expected a header chunk, got", first);
        return Result::fail(checker.error());
    }
    if(readU32(data.data() + 4) != AssetHeaderPayloadSize) {
        checker.fail(4, "header chunk size", readU32(data.data() + 4), Debug::nospace, ", expected", AssetHeaderPayloadSize);
        return Result::fail(checker.error());
    }
    if(readU32(data.data() + 8) != AssetHeaderFormatWord0 || readU32(data.data() + 12) != AssetHeaderFormatWord1) {
        checker.fail(8, "unknown format words", Debug::hex, readU32(data.data() + 8), Debug::hex, readU32(data.data() + 12));
        return Result::fail(checker.error());
    }

    std::vector<AssetChunkEntry> chunks;
    std::uint64_t largest = 0;
    std::uint64_t position = 0;
    while(position != data.size()) {
        const std::uint64_t remaining = data.size() - position;
        if(remaining < AssetChunkHeaderSize) {
            checker.fail(position, remaining, "stray bytes after the last chunk");
            return Result::fail(checker.error());
        }
        const Magic magic = Magic(readU32(data.data() + position));
        const std::uint32_t size = readU32(data.data() + position + 4);
        const std::uint64_t padded = calulateAssetChunkSizePadded(size);
        if((std::uint32_t(magic) & 0x00ffffffu) != 0x00454d51u) {
            checker.fail(position, "not a chunk tag:", magic);
            return Result::fail(checker.error());
        }
        if(magic == Magic::Header && position) {
            checker.fail(position, "a second header chunk");
            return Result::fail(checker.error());
        }
        /* The tags are sparse so that letters can be added: a reader of today skips one it does
           not know, and says so */
        if(!isMagicKnown(magic))
            QUILLMARSH_WARNING("validateAssetData(): offset" << position << Debug::nospace << ": unknown chunk tag" << magic << Debug::nospace << ", not checked");
        if(padded > 0xffffffffu) {
            checker.fail(position + 4, "chunk size", size, "does not fit 32 bits when padded");
            return Result::fail(checker.error());
        }
        if(padded > remaining) {
            checker.fail(position + 4, magic, "chunk of", padded, "bytes ends past the end of the data at", data.size());
            return Result::fail(checker.error());
        }
        if(magic == Magic::Signature && padded != remaining) {
            checker.fail(position, "a signature chunk before the last chunk");
            return Result::fail(checker.error());
        }
        const std::span<const char> payload = data.subspan(std::size_t(position + AssetChunkHeaderSize), size);
        if(!checkRecord(checker, magic, payload, position + AssetChunkHeaderSize))
            return Result::fail(checker.error());
        chunks.push_back({position, magic, size, padded});
        largest = std::max(largest, padded);
        position += padded;
    }

    const AssetHeader* header = reinterpret_cast<const AssetHeader*>(data.data() + AssetChunkHeaderSize);
    if(header->largestChunkSize != largest) {
        checker.fail(16, "largest chunk size field", header->largestChunkSize, Debug::nospace, ", the largest chunk takes", largest);
        return Result::fail(checker.error());
    }
    if(header->chunkCount != chunks.size()) {
        checker.fail(20, "chunk count field", header->chunkCount, Debug::nospace, ", counted", chunks.size());
        return Result::fail(checker.error());
    }
    return chunks;
}

Utils::Result<std::span<const char>> validateAssetRecord(const Magic magic, const std::span<const char> payload) {
    Checker checker;
    if(!checkRecord(checker, magic, payload, 0))
        return Utils::Result<std::span<const char>>::fail(checker.error());
    return payload;
}

}}
