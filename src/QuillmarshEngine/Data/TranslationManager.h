#ifndef QuillmarshEngine_Data_TranslationManager_h
#define QuillmarshEngine_Data_TranslationManager_h

/** @file
 * @brief Class @ref QuillmarshEngine::Data::TranslationManager, struct @ref QuillmarshEngine::Data::TranslationLink
 */

#include <cstdint>
#include <deque>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "QuillmarshEngine/StringArray.h"
#include "QuillmarshEngine/Utils/Result.h"
#include "QuillmarshEngine/visibility.h"

namespace QuillmarshEngine { namespace Data {

class JavaScriptManager;
class LocaleData;
class TextManager;

/**
 * @brief A place in the scene that shows a translatable term
 *
 * Loaded from a locale record, whose link words are 32 bits: the component id is the lower half
 * of the first word and the parameter index is truncated to its lower 16 bits.
 */
struct TranslationLink {
    /** @brief @ref type of a link to a text component */
    static constexpr std::uint16_t Text = 2;
    /** @brief @ref type of a link to a parameter of a script component */
    static constexpr std::uint16_t Script = 3;

    std::uint16_t type;         /**< @ref Text, @ref Script, or another value, which is ignored */
    std::uint16_t component;    /**< Component id in the text or script manager */
    std::uint16_t parameter;    /**< Parameter index of a script component */
    std::string_view term;      /**< Term to show, null-terminated, owned by the manager */
};

/**
 * @brief Term table of the active language and the places in the scene that show terms
 *
 * Owns the bytes of the current language record and maps each term to its translation, both
 * as views into those bytes; with duplicate terms the first pair wins. Holds a list of
 * @ref TranslationLink loaded from a locale record, and pushes the current translation of each
 * link's term into its text component or script parameter with @ref applyTranslations().
 *
 * Nothing it hands out or keeps points into memory it does not own: link terms are copied on
 * @ref loadTermLinks() (the locale record can be freed right after), and a term that
 * @ref applyTranslations() finds unknown is inserted as its own translation from a copy that
 * lives until the next @ref loadLanguageData(). Translations returned by @ref translate() stay
 * valid until the next @ref loadLanguageData().
 *
 * Records come from files, so @ref loadLanguageData() validates before it takes anything and
 * reports a broken record as an error result; locale records are read through
 * @ref readLocaleData(). Lookups are hash map finds; no allocation except when loading and when
 * inserting an unknown term. Not thread-safe.
 */
class QUILLMARSH_EXPORT TranslationManager {
    public:
        /** @brief Manager with no language and no links */
        explicit TranslationManager();

        ~TranslationManager();

        /* The table and the links hold views into the manager's own storage */
        TranslationManager(const TranslationManager&) = delete;
        TranslationManager(TranslationManager&&) = delete;
        TranslationManager& operator=(const TranslationManager&) = delete;
        TranslationManager& operator=(TranslationManager&&) = delete;

        /**
         * @brief Take a language record as the current language
         *
         * Validates @p data with @ref readLanguageData(). On success takes ownership of it,
         * empties the term table (and the terms inserted by @ref applyTranslations()), inserts
         * every (term, translation) pair in order, the first of equal terms winning, and returns
         * the number of terms now known. On failure returns the reader's message and changes
         * nothing, @p data included. Links are kept.
         */
        [[nodiscard]] Utils::Result<std::uint32_t> loadLanguageData(std::vector<char>&& data);

        /**
         * @brief Replace the links with those of @p locale
         *
         * Link i takes the type from the upper and the component id from the lower 16 bits of the
         * record's word 2 + 2i, the parameter from the lower 16 bits of word 3 + 2i, and a copy of
         * the term at string 3 × pairs + i. @p locale can be freed afterwards.
         */
        void loadTermLinks(const LocaleData& locale);

        /**
         * @brief Push the translation of each linked term into its target
         *
         * In link order: text links whose component is not alive in @p text and script links
         * whose component is not alive in @p scripts are skipped, links of other types ignored.
         * An unknown term is inserted with itself as translation, so that it shows untranslated
         * and later lookups find it. Then @ref TextManager::setText() or
         * @ref JavaScriptManager::js_setComponentParamTranslation() receives the translation.
         */
        void applyTranslations(TextManager& text, JavaScriptManager& scripts);

        /** @brief Translation of @p term, or an empty view when it is unknown; never inserts */
        [[nodiscard]] std::string_view translate(std::string_view term) const;

        /** @brief Number of known terms */
        [[nodiscard]] std::size_t translationCount() const { return _translations.size(); }

        /** @brief The links, in record order */
        [[nodiscard]] std::span<const TranslationLink> links() const { return _links; }

        /** @brief Bytes of the current language record, empty before the first load */
        [[nodiscard]] std::span<const char> languageData() const { return _languageData; }

        /** @brief Name of the current language, empty before the first load */
        [[nodiscard]] std::string_view languageName() const;

        /** @brief Code of the current language, empty before the first load */
        [[nodiscard]] std::string_view languageCode() const;

    private:
        std::vector<char> _languageData;
        std::unordered_map<std::string_view, std::string_view> _translations;
        /* Copies of terms applyTranslations() inserted, emptied with the term table. A deque
           never moves its elements, so views of earlier strings survive later insertions. */
        std::deque<std::string> _insertedTerms;
        std::vector<TranslationLink> _links;
        /* Copies of the link terms, replaced with the links */
        StringArray _linkTerms;
};

}}

#endif
