#include "QuillmarshEngine/Data/ShaderData.h"

#include <cstring>

#include "QuillmarshEngine/Data/Implementation/RecordBytes.h"

namespace QuillmarshEngine { namespace Data {

using namespace Implementation;

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

}}
