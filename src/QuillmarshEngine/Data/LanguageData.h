#ifndef QuillmarshEngine_Data_LanguageData_h
#define QuillmarshEngine_Data_LanguageData_h

/** @file
 * @brief Class @ref QuillmarshEngine::Data::LanguageData, functions @ref QuillmarshEngine::Data::createLanguageData(),
 *      @ref QuillmarshEngine::Data::readLanguageData()
 */

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "QuillmarshEngine/Data/AssetData.h"
#include "QuillmarshEngine/StringArray.h"
#include "QuillmarshEngine/Utils/Result.h"

namespace QuillmarshEngine { namespace Data {

/**
 * @brief View of a language record
 *
 * A 100-byte head (64-byte name, 32-byte code, the term pair count) and a string array of twice
 * that many strings: term 0, translation 0, term 1, translation 1, ... Trusts its input like every
 * record view: check untrusted files with @ref validateAssetData() first, or read a
 * single record with @ref readLanguageData().
 */
class QUILLMARSH_EXPORT LanguageData {
    public:
        static constexpr Magic AssetMagic = Magic::Language;
        static constexpr std::size_t HeaderSize = 100;
        static constexpr std::size_t NameSize = 64;
        static constexpr std::size_t CodeSize = 32;

        /** @brief View @p data; expects the head and as many strings as the pair count says */
        explicit LanguageData(std::span<const char> data);

        [[nodiscard]] std::string_view name() const;
        [[nodiscard]] std::string_view code() const;
        /** @brief Number of term pairs */
        [[nodiscard]] std::uint32_t pairCount() const;
        [[nodiscard]] std::string_view term(std::uint32_t i) const { return _strings[2*std::size_t(i)]; }
        [[nodiscard]] std::string_view translation(std::uint32_t i) const { return _strings[2*std::size_t(i) + 1]; }
        [[nodiscard]] const StringArrayView& strings() const { return _strings; }

    private:
        std::span<const char> _data;
        StringArrayView _strings;
};

/**
 * @brief Build a language record
 *
 * @p value is the term pair count readers use, @p strings the terms and translations in turn.
 * Expects a name of at most 63 and a code of at most 31 characters.
 */
QUILLMARSH_EXPORT std::vector<char> createLanguageData(std::string_view name, std::string_view code, std::uint32_t value, const StringArrayView& strings);

/**
 * @brief Read an untrusted language record
 *
 * The view of @p payload after @ref validateAssetRecord() found its head and all its strings,
 * or the reason it can't be read. Never aborts.
 */
QUILLMARSH_EXPORT Utils::Result<LanguageData> readLanguageData(std::span<const char> payload);

}}

#endif
