#include "QuillmarshEngine/Data/LanguageData.h"

#include <cstring>

#include "QuillmarshEngine/Data/AssetValidation.h"
#include "QuillmarshEngine/Data/Implementation/RecordBytes.h"

namespace QuillmarshEngine { namespace Data {

using namespace Implementation;

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

LanguageData::LanguageData(std::span<const char> data): _data{data} {
    QUILLMARSH_ASSERT(data.size() >= HeaderSize, "Data::LanguageData: expected at least" << HeaderSize << "bytes, got" << data.size(), );
    _strings = StringArrayView{data.subspan(HeaderSize), 2*std::size_t(pairCount())};
}

std::string_view LanguageData::name() const { return readName(_data.data(), NameSize); }
std::string_view LanguageData::code() const { return readName(_data.data() + NameSize, CodeSize); }
std::uint32_t LanguageData::pairCount() const { return readU32(_data.data() + 96); }

Utils::Result<LanguageData> readLanguageData(const std::span<const char> payload) {
    const Utils::Result<std::span<const char>> valid = validateAssetRecord(Magic::Language, payload);
    if(!valid) return Utils::Result<LanguageData>::fail(valid.error());
    return LanguageData{payload};
}

}}
