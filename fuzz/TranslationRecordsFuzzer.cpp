/* Language and locale records from outside: the readers must refuse every broken record with a
   reason, and whatever they accept must go through a translation manager into a small scene
   without a read out of bounds, also after the locale bytes are freed.

   Input: two bytes giving the size of the language record (cut to what is there), the language
   record, then the locale record. Each record gets a heap buffer of exactly its size. */

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "QuillmarshEngine/Data/JavaScriptManager.h"
#include "QuillmarshEngine/Data/LanguageData.h"
#include "QuillmarshEngine/Data/LocaleData.h"
#include "QuillmarshEngine/Data/SceneGraph.h"
#include "QuillmarshEngine/Data/TextManager.h"
#include "QuillmarshEngine/Data/TranslationManager.h"
#include "QuillmarshEngine/Debug.h"

using namespace QuillmarshEngine;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if(size < 2) return 0;
    Debug silence{nullptr};
    Warning silenceWarnings{nullptr};
    const char* const bytes = reinterpret_cast<const char*>(data) + 2;
    const std::size_t languageSize = std::min<std::size_t>(data[0] | std::size_t{data[1]} << 8, size - 2);
    std::vector<char> language(bytes, bytes + languageSize);
    auto locale = std::make_unique<std::vector<char>>(bytes + languageSize, bytes + (size - 2));

    /* Components 0 to 2 of both managers exist, ids 3 and up do not; script parameter 1 is the
       only string one */
    Data::SceneGraph graph{4, 2, 8};
    Data::TextManager text{4};
    Data::JavaScriptManager scripts{4};
    graph.setComponentManager(0, "text", &text);
    graph.setComponentManager(1, "js", &scripts);
    const Data::Id object = graph.addObject(0);
    for(int i = 0; i != 3; ++i) {
        text.addComponent(object);
        const Data::Id script = scripts.addComponent(object);
        scripts.setNumberParameter(script, "number", 1.0);
        scripts.setStringParameter(script, "title", "");
    }

    Data::TranslationManager translations;
    {
        const Utils::Result<Data::LocaleData> links = Data::readLocaleData(*locale);
        if(links) translations.loadTermLinks(*links);
    }
    locale.reset();

    const Utils::Result<Data::LanguageData> read = Data::readLanguageData(language);
    const std::vector<char> copy = language;
    const Utils::Result<std::uint32_t> loaded = translations.loadLanguageData(std::move(language));
    /* The manager takes exactly what the reader accepts */
    if(bool(read) != bool(loaded)) __builtin_trap();

    translations.applyTranslations(text, scripts);
    volatile std::size_t sum = 0;
    for(const Data::TranslationLink& link: translations.links())
        sum = sum + translations.translate(link.term).size();
    if(read) for(std::uint32_t i = 0; i != read->pairCount(); ++i) {
        const std::string_view translation = translations.translate(read->term(i));
        /* Every term of an accepted record is known afterwards */
        if(translation.data() == nullptr) __builtin_trap();
        sum = sum + translation.size();
    }
    /* A second language over the same links, then everything read back */
    if(loaded) (void)translations.loadLanguageData(std::vector<char>{copy});
    translations.applyTranslations(text, scripts);
    for(Data::SparseArray::IndexType i = 0; i != text.size(); ++i) sum = sum + text.textAt(i).size();
    for(Data::SparseArray::IndexType i = 0; i != scripts.size(); ++i)
        sum = sum + scripts.stringParameter(scripts.idOf(i), 1).size();
    return 0;
}
