#include "QuillmarshEngine/Data/PipelineData.h"

#include <cstring>

#include "QuillmarshEngine/Data/Implementation/RecordBytes.h"

namespace QuillmarshEngine { namespace Data {

using namespace Implementation;

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

std::vector<char> createMaterialData(std::int32_t pipeline, const Shaders::AlphaMaterial& alphaMaterial, std::span<const char> material) {
    /* Every byte is written, so the array is not zero-filled first */
    std::vector<char> out(20 + material.size());
    std::memcpy(out.data(), &pipeline, 4);
    std::memcpy(out.data() + 4, &alphaMaterial, sizeof(alphaMaterial));
    if(!material.empty()) std::memcpy(out.data() + 20, material.data(), material.size());
    return out;
}

}}
