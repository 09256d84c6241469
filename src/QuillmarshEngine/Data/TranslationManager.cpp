#include "QuillmarshEngine/Data/TranslationManager.h"

#include <cstring>

#include "QuillmarshEngine/Data/JavaScriptManager.h"
#include "QuillmarshEngine/Data/LanguageData.h"
#include "QuillmarshEngine/Data/LocaleData.h"
#include "QuillmarshEngine/Data/TextManager.h"

namespace QuillmarshEngine { namespace Data {

TranslationManager::TranslationManager() = default;

TranslationManager::~TranslationManager() = default;

Utils::Result<std::uint32_t> TranslationManager::loadLanguageData(std::vector<char>&& data) {
    /* Validate before touching anything, so that a broken record leaves the current language */
    const Utils::Result<LanguageData> read = readLanguageData(data);
    if(!read) return Utils::Result<std::uint32_t>::fail(read.error());
    const std::uint32_t pairs = read->pairCount();

    _languageData = std::move(data);
    const LanguageData language{_languageData};
    _translations.clear();
    _insertedTerms.clear();
    _translations.reserve(pairs);
    for(std::uint32_t i = 0; i != pairs; ++i)
        /* emplace() keeps an existing entry: the first of equal terms wins */
        _translations.emplace(language.term(i), language.translation(i));
    return std::uint32_t(_translations.size());
}

void TranslationManager::loadTermLinks(const LocaleData& locale) {
    const std::uint32_t count = locale.linkCount();
    StringArray terms;
    for(std::uint32_t i = 0; i != count; ++i) terms.add(locale.linkTerm(i));
    /* Views are taken once the array is complete: adding may move its block */
    _linkTerms = std::move(terms);
    _links.clear();
    _links.reserve(count);
    for(std::uint32_t i = 0; i != count; ++i) {
        const LocaleLinkHeader link = locale.link(i);
        /* The parameter word is 32 bits in the record; links address 16-bit parameter indices */
        _links.push_back({link.type, link.component, std::uint16_t(link.parameter), _linkTerms.get(i)});
    }
}

void TranslationManager::applyTranslations(TextManager& text, JavaScriptManager& scripts) {
    for(const TranslationLink& link: _links) {
        if(link.type == TranslationLink::Text) {
            if(!text.isAlive(link.component)) continue;
        } else if(link.type == TranslationLink::Script) {
            if(!scripts.isAlive(link.component)) continue;
        } else continue;

        std::string_view translation;
        const auto found = _translations.find(link.term);
        if(found != _translations.end()) translation = found->second;
        else {
            /* Shown untranslated and found by later lookups; the copy outlives the links, which
               may be replaced before the next language is loaded */
            translation = _insertedTerms.emplace_back(link.term);
            _translations.emplace(translation, translation);
        }

        if(link.type == TranslationLink::Text) text.setText(link.component, translation);
        else scripts.js_setComponentParamTranslation(link.component, link.parameter, translation);
    }
}

std::string_view TranslationManager::translate(const std::string_view term) const {
    const auto found = _translations.find(term);
    return found == _translations.end() ? std::string_view{} : found->second;
}

std::string_view TranslationManager::languageName() const {
    if(_languageData.empty()) return {};
    return {_languageData.data(), strnlen(_languageData.data(), LanguageData::NameSize)};
}

std::string_view TranslationManager::languageCode() const {
    if(_languageData.empty()) return {};
    const char* const code = _languageData.data() + LanguageData::NameSize;
    return {code, strnlen(code, LanguageData::CodeSize)};
}

}}
