#ifndef QuillmarshEngine_fuzz_AssetFuzzCommon_h
#define QuillmarshEngine_fuzz_AssetFuzzCommon_h

/* Shared by the asset fuzzers: reads every chunk of a file that passed validation through the
   views a loader would use, so the sanitizers see every read the library makes on it */

#include <cstring>
#include <memory>
#include <vector>

#include "QuillmarshEngine/Animation/SamplingJob.h"
#include "QuillmarshEngine/Data/AnimationData.h"
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

/* Decodes, builds and samples an animation record; refusals by the builder are fine */
inline void readAnimation(const Data::AnimationData& record) {
    (void)record.eventKeys();
    for(const std::string_view name: record.eventNames()) (void)name;
    const Error silence{nullptr};
    const std::unique_ptr<Animation::Animation> animation = record.animation();
    if(!animation) return;
    Animation::SamplingJob::Context context{animation->numTracks()};
    std::vector<Animation::SoaTransform> output(std::size_t(animation->numSoaTracks()) + 1);
    Animation::SamplingJob job;
    job.animation = animation.get();
    job.context = &context;
    job.output = output;
    for(const float ratio: {0.0f, 0.5f, 0.25f, 1.0f}) {
        job.ratio = ratio;
        if(!job.Run()) __builtin_trap();
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
            case Data::Magic::Animation: readAnimation(view.as<Data::AnimationData>()); break;
            case Data::Magic::AnimationTargets: {
                volatile std::uint32_t sum = 0;
                for(const Data::Id id: view.as<Data::AnimationTargetsData>().targets()) sum = sum + id;
            } break;
            default: break;
        }
    }
    /* A file that passed validation can have its header recomputed */
    std::vector<char> copy{data.begin(), data.end()};
    Data::updateHeaderData(copy);
}

}}

#endif
