#ifndef QuillmarshEngine_Data_LocaleData_h
#define QuillmarshEngine_Data_LocaleData_h

/** @file
 * @brief Class @ref QuillmarshEngine::Data::LocaleData, struct @ref QuillmarshEngine::Data::LocaleLinkHeader, functions @ref QuillmarshEngine::Data::createLocaleData(),
 *      @ref QuillmarshEngine::Data::readLocaleData()
 */

#include <cstdint>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "QuillmarshEngine/Data/AssetData.h"
#include "QuillmarshEngine/StringArray.h"
#include "QuillmarshEngine/Utils/Result.h"

namespace QuillmarshEngine { namespace Data {

/**
 * @brief One link of a locale record, 8 bytes
 *
 * As two 32-bit words: the link type in the upper and the component id in the lower 16 bits of
 * the first, the parameter index in the second.
 */
struct LocaleLinkHeader {
    std::uint16_t component;    /**< Component id in its manager */
    std::uint16_t type;         /**< 2 = text component, 3 = script component */
    std::uint32_t parameter;    /**< Parameter index of a script component */
};

static_assert(sizeof(LocaleLinkHeader) == 8, "locale links are 8 bytes");

/**
 * @brief View of a locale record
 *
 * Two 32-bit counts (pairs, links), one @ref LocaleLinkHeader per link, then a string array: for
 * each pair its two strings and its extra string, then one term per link. Trusts its input like
 * every record view: check untrusted files with @ref validateAssetData() first, or read a
 * single record with @ref readLocaleData().
 */
class QUILLMARSH_EXPORT LocaleData {
    public:
        static constexpr Magic AssetMagic = Magic::Locale;

        /** @brief View @p data; expects the counts, the links and all strings */
        explicit LocaleData(std::span<const char> data);

        [[nodiscard]] std::uint32_t pairCount() const;
        /** @brief Number of links, which is also the number of extra strings */
        [[nodiscard]] std::uint32_t linkCount() const;
        [[nodiscard]] LocaleLinkHeader link(std::uint32_t i) const;
        /** @brief First string of pair @p i */
        [[nodiscard]] std::string_view pairFirst(std::uint32_t i) const { return _strings[3*std::size_t(i)]; }
        /** @brief Second string of pair @p i */
        [[nodiscard]] std::string_view pairSecond(std::uint32_t i) const { return _strings[3*std::size_t(i) + 1]; }
        /** @brief Extra string of pair @p i */
        [[nodiscard]] std::string_view pairExtra(std::uint32_t i) const { return _strings[3*std::size_t(i) + 2]; }
        /** @brief Term of link @p i */
        [[nodiscard]] std::string_view linkTerm(std::uint32_t i) const { return _strings[3*std::size_t(pairCount()) + i]; }
        [[nodiscard]] const StringArrayView& strings() const { return _strings; }

    private:
        std::span<const char> _data;
        StringArrayView _strings;
};

/**
 * @brief Build a locale record
 *
 * For each pair its two strings and `pairExtras[i]`, then @p strings, one term per link. Expects as
 * many extras as pairs and exactly one string per link.
 */
QUILLMARSH_EXPORT std::vector<char> createLocaleData(std::span<const std::pair<std::string_view, std::string_view>> pairs, std::span<const std::string_view> pairExtras, std::span<const std::string_view> strings, std::span<const LocaleLinkHeader> links);

/**
 * @brief Read an untrusted locale record
 *
 * The view of @p payload after @ref validateAssetRecord() found its counts, its links and all its
 * strings (three per pair, one per link), or the reason it can't be read. Never aborts.
 */
QUILLMARSH_EXPORT Utils::Result<LocaleData> readLocaleData(std::span<const char> payload);

}}

#endif
