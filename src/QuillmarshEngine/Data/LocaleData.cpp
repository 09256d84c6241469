#include "QuillmarshEngine/Data/LocaleData.h"

#include <cstring>

#include "QuillmarshEngine/Data/AssetValidation.h"
#include "QuillmarshEngine/Data/Implementation/RecordBytes.h"

namespace QuillmarshEngine { namespace Data {

using namespace Implementation;

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

Utils::Result<LocaleData> readLocaleData(const std::span<const char> payload) {
    const Utils::Result<std::span<const char>> valid = validateAssetRecord(Magic::Locale, payload);
    if(!valid) return Utils::Result<LocaleData>::fail(valid.error());
    return LocaleData{payload};
}

}}
