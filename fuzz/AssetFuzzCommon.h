#ifndef QuillmarshEngine_fuzz_AssetFuzzCommon_h
#define QuillmarshEngine_fuzz_AssetFuzzCommon_h

/* Shared by the asset fuzzers: reads every chunk of a file that passed validation through the
   views a loader would use, so the sanitizers see every read the library makes on it */

#include <cstring>
#include <vector>

#include "QuillmarshEngine/Data/AssetRecords.h"
#include "QuillmarshEngine/Data/AssetValidation.h"
#include "QuillmarshEngine/Data/MeshData.h"
#include "QuillmarshEngine/Tools/MeshFormat.h"

namespace QuillmarshEngine { namespace Fuzz {

inline void readMesh(const Trade::MeshData& mesh) {
    volatile std::uint64_t sum = 0;
    for(std::uint32_t i = 0; i != mesh.attributeCount(); ++i) {
        const StridedArrayView2D<const char> view = mesh.attribute(i);
        for(std::size_t v = 0; v != view.size().rows; ++v)
            for(std::size_t b = 0; b != view.size().columns; ++b) sum = sum + std::uint8_t(view[v][b]);
    }
    if(mesh.isIndexed()) for(const std::uint32_t index: mesh.indicesAsArray()) sum = sum + index;
    /* Repacking walks every attribute with the format converters */
    if(mesh.vertexCount() <= 4096) {
        const Trade::MeshData packed = Tools::packMesh(Tools::MeshDataFlag::Quantized, mesh);
        (void)Tools::unpackMesh(Tools::MeshDataFlag::Quantized, packed);
    }
}

inline void readValidated(std::span<const char> data) {
    /* Unknown chunk tags are warnings; a fuzzer makes many */
    Warning silenceWarnings{nullptr};
    const Utils::Result<std::vector<Data::AssetChunkEntry>> chunks = Data::validateAssetData(data);
    if(!chunks) return;
    for(const Data::AssetChunkEntry& entry: *chunks) {
        const Data::AssetChunkView view{data.subspan(std::size_t(entry.offset))};
        switch(entry.magic) {
            case Data::Magic::Mesh: {
                const Data::MeshData mesh = view.as<Data::MeshData>();
                if(mesh.compressionFlags()) {
                    Utils::Result<Trade::MeshData> decompressed = Tools::decompressMesh(mesh);
                    if(decompressed) readMesh(*decompressed);
                } else {
                    readMesh(mesh.mesh());
                    readMesh(mesh.meshCopy());
                }
            } break;
            case Data::Magic::Shader: {
                const Data::ShaderData shader = view.as<Data::ShaderData>();
                (void)shader.name();
                (void)shader.source();
                if(shader.hasSecond()) (void)shader.secondSource();
            } break;
            case Data::Magic::Image: {
                const Data::ImageData image = view.as<Data::ImageData>();
                if(image.kind() == Data::ImageData::Kind::Path) (void)image.path();
                else for(std::uint32_t i = 0; i != image.hashCount(); ++i) (void)image.hash(i);
            } break;
            case Data::Magic::Language: {
                const Data::LanguageData language = view.as<Data::LanguageData>();
                for(std::uint32_t i = 0; i != language.pairCount(); ++i) (void)language.translation(i);
            } break;
            case Data::Magic::Locale: {
                const Data::LocaleData locale = view.as<Data::LocaleData>();
                for(std::uint32_t i = 0; i != locale.linkCount(); ++i) {
                    (void)locale.link(i);
                    (void)locale.linkTerm(i);
                }
            } break;
            case Data::Magic::Draw: (void)view.as<Data::Draw>().mesh; break;
            default: break;
        }
    }
    /* A file that passed validation can have its header recomputed */
    std::vector<char> copy{data.begin(), data.end()};
    Data::updateHeaderData(copy);
}

}}

#endif
