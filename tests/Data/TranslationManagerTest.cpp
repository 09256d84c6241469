#include <initializer_list>
#include <memory>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "QuillmarshEngine/Data/JavaScriptManager.h"
#include "QuillmarshEngine/Data/LanguageData.h"
#include "QuillmarshEngine/Data/LocaleData.h"
#include "QuillmarshEngine/Data/SceneGraph.h"
#include "QuillmarshEngine/Data/TextManager.h"
#include "QuillmarshEngine/Data/TranslationManager.h"
#include "QuillmarshEngine/Debug.h"
#include "../OutputCapture.h"

namespace QuillmarshEngine { namespace Data { namespace {

using Testing::Quiet;

/* Terms and translations in turn */
std::vector<char> language(std::string_view name, std::string_view code, std::initializer_list<std::string_view> strings) {
    const StringArray array(strings);
    return createLanguageData(name, code, std::uint32_t(array.size()/2), array.view());
}

/* A locale record with one link per term, on the heap so that freeing it is seen */
std::unique_ptr<std::vector<char>> locale(std::initializer_list<LocaleLinkHeader> links, std::initializer_list<std::string_view> terms) {
    const std::pair<std::string_view, std::string_view> pairs[]{{"a", ""}, {"", ""}};
    const std::string_view extras[]{"", "x"};
    return std::make_unique<std::vector<char>>(createLocaleData(pairs, extras, std::span<const std::string_view>{terms.begin(), terms.size()}, std::span<const LocaleLinkHeader>{links.begin(), links.size()}));
}

void loadLinks(TranslationManager& translations, std::unique_ptr<std::vector<char>> bytes) {
    const Utils::Result<LocaleData> read = readLocaleData(*bytes);
    ASSERT_TRUE(read) << read.error();
    translations.loadTermLinks(*read);
    /* The record is gone before anything uses the links */
    bytes.reset();
}

void load(TranslationManager& translations, std::vector<char> record) {
    const Utils::Result<std::uint32_t> loaded = translations.loadLanguageData(std::move(record));
    ASSERT_TRUE(loaded) << loaded.error();
}

/* Two text components and a script component with a number and a string parameter */
struct Scene {
    Quiet quiet;
    SceneGraph graph{8, 2, 16};
    TextManager text{4};
    JavaScriptManager scripts{4};
    TranslationManager translations;
    Id object, greeting, farewell, script;

    Scene() {
        graph.setComponentManager(0, "text", &text);
        graph.setComponentManager(1, "js", &scripts);
        object = graph.addObject(Id{0});
        greeting = text.addComponent(object);
        farewell = text.addComponent(object);
        script = scripts.addComponent(object);
        scripts.setNumberParameter(script, "count", 3.0);
        scripts.setStringParameter(script, "title", "");
    }

    /* Text 0 shows "greeting", the script's title "title", text 1 "farewell" */
    void linkAll() {
        loadLinks(translations, locale({{greeting, TranslationLink::Text, 0}, {script, TranslationLink::Script, 1}, {farewell, TranslationLink::Text, 0}}, {"greeting", "title", "farewell"}));
    }
};

TEST(TranslationManagerTest, loadLanguage) {
    TranslationManager translations;
    EXPECT_EQ(translations.translate("hello"), "");
    EXPECT_EQ(translations.languageName(), "");
    EXPECT_EQ(translations.translationCount(), 0u);

    /* With duplicate terms the first pair wins */
    const Utils::Result<std::uint32_t> loaded = translations.loadLanguageData(language("Deutsch", "de", {"hello", "hallo", "bye", "tschüss", "hello", "servus"}));
    ASSERT_TRUE(loaded);
    EXPECT_EQ(*loaded, 2u);
    EXPECT_EQ(translations.translate("hello"), "hallo");
    EXPECT_EQ(translations.translate("bye"), "tschüss");
    EXPECT_EQ(translations.languageName(), "Deutsch");
    EXPECT_EQ(translations.languageCode(), "de");

    /* Unknown terms are not inserted by lookups */
    EXPECT_EQ(translations.translate("unknown"), "");
    EXPECT_EQ(translations.translationCount(), 2u);

    /* An empty language empties the table */
    ASSERT_TRUE(translations.loadLanguageData(language("None", "xx", {})));
    EXPECT_EQ(translations.translate("hello"), "");
    EXPECT_EQ(translations.translationCount(), 0u);
}

TEST(TranslationManagerTest, loadLanguageRejectsBrokenRecords) {
    TranslationManager translations;
    load(translations, language("Deutsch", "de", {"hello", "hallo"}));

    /* Three pairs claimed, two there */
    std::vector<char> broken = language("English", "en", {"hello", "hi", "bye", "bye-bye"});
    broken[96] = 3;
    const std::vector<char> original = broken;
    const Utils::Result<std::uint32_t> loaded = translations.loadLanguageData(std::move(broken));
    ASSERT_FALSE(loaded);
    EXPECT_EQ(loaded.error(), "offset 100: language record: expected 6 strings, found 4");
    /* Nothing changed, the caller's bytes included */
    EXPECT_EQ(broken, original);
    EXPECT_EQ(translations.translate("hello"), "hallo");
    EXPECT_EQ(translations.languageName(), "Deutsch");

    const Utils::Result<std::uint32_t> tooShort = translations.loadLanguageData(std::vector<char>(10));
    ASSERT_FALSE(tooShort);
    EXPECT_EQ(tooShort.error(), "offset 0: language record of 10 bytes is smaller than its 100 byte head");
}

TEST(TranslationManagerTest, loadTermLinks) {
    TranslationManager translations;
    /* Type in the upper, component in the lower half of the first word; the 32-bit parameter
       word is cut to 16 bits. The pairs in front hold empty strings, which a scan without the
       link count would take for the end of the list. */
    loadLinks(translations, locale({{5, 2, 0}, {0xfffe, 3, 0x10002}, {1, 7, 4}}, {"greeting", "", "other"}));
    const std::span<const TranslationLink> links = translations.links();
    ASSERT_EQ(links.size(), 3u);
    EXPECT_EQ(links[0].type, 2);
    EXPECT_EQ(links[0].component, 5);
    EXPECT_EQ(links[0].term, "greeting");
    EXPECT_EQ(links[1].type, 3);
    EXPECT_EQ(links[1].component, 0xfffe);
    EXPECT_EQ(links[1].parameter, 2);
    EXPECT_EQ(links[1].term, "");
    EXPECT_EQ(links[2].type, 7);
    EXPECT_EQ(links[2].parameter, 4);
    EXPECT_EQ(links[2].term, "other");

    /* Loading other links replaces them */
    loadLinks(translations, locale({}, {}));
    EXPECT_TRUE(translations.links().empty());
}

TEST(TranslationManagerTest, applyTranslations) {
    Scene scene;
    load(scene.translations, language("English", "en", {"greeting", "Hello", "title", "Welcome"}));
    const Id unlinked = scene.text.addComponent(scene.object);
    const Id deleted = scene.scripts.addComponent(scene.object);
    scene.scripts.setStringParameter(deleted, "title", "kept");
    scene.graph.deleteComponent(scene.object, 1, deleted);
    loadLinks(scene.translations, locale({
        {scene.greeting, TranslationLink::Text, 0},
        {scene.script, TranslationLink::Script, 1},
        {scene.farewell, TranslationLink::Text, 0},
        /* Skipped: beyond the id range, in range but never added, deleted */
        {9, TranslationLink::Text, 0},
        {3, TranslationLink::Text, 0},
        {deleted, TranslationLink::Script, 0},
        /* Ignored: another type; the script's number parameter is refused by the receiver */
        {scene.greeting, 5, 0},
        {scene.script, TranslationLink::Script, 0}},
        {"greeting", "title", "farewell", "greeting", "greeting", "title", "title", "title"}));
    scene.text.clearChanged();

    scene.translations.applyTranslations(scene.text, scene.scripts);
    EXPECT_EQ(scene.text.text(scene.greeting), "Hello");
    EXPECT_EQ(scene.scripts.stringParameter(scene.script, 1), "Welcome");
    EXPECT_EQ(scene.scripts.numberParameter(scene.script, 0), 3.0);
    EXPECT_EQ(scene.text.text(unlinked), "");
    EXPECT_FALSE(scene.text.isChanged(unlinked));
    EXPECT_FALSE(scene.scripts.isAlive(deleted));
    /* The unknown term shows as itself and is now known */
    EXPECT_EQ(scene.text.text(scene.farewell), "farewell");
    EXPECT_EQ(scene.translations.translate("farewell"), "farewell");
    EXPECT_EQ(scene.translations.translationCount(), 3u);
}

TEST(TranslationManagerTest, switchLanguagesTwice) {
    Scene scene;
    scene.linkAll();
    load(scene.translations, language("English", "en", {"greeting", "Hello", "title", "Welcome", "farewell", "Goodbye"}));
    scene.translations.applyTranslations(scene.text, scene.scripts);
    EXPECT_EQ(scene.text.text(scene.greeting), "Hello");
    EXPECT_EQ(scene.text.text(scene.farewell), "Goodbye");
    EXPECT_EQ(scene.scripts.stringParameter(scene.script, 1), "Welcome");

    /* The receivers keep copies: replacing the record that supplied them leaves them intact */
    load(scene.translations, language("Deutsch", "de", {"greeting", "Hallo"}));
    EXPECT_EQ(scene.text.text(scene.greeting), "Hello");
    EXPECT_EQ(scene.scripts.stringParameter(scene.script, 1), "Welcome");
    EXPECT_EQ(scene.translations.translate("farewell"), "");

    /* Terms the second language lacks show as themselves */
    scene.translations.applyTranslations(scene.text, scene.scripts);
    EXPECT_EQ(scene.text.text(scene.greeting), "Hallo");
    EXPECT_EQ(scene.text.text(scene.farewell), "farewell");
    EXPECT_EQ(scene.scripts.stringParameter(scene.script, 1), "title");
    EXPECT_EQ(scene.translations.translate("title"), "title");

    /* And back: the self-translations went with the table */
    load(scene.translations, language("English", "en", {"greeting", "Hello", "title", "Welcome", "farewell", "Goodbye"}));
    EXPECT_EQ(scene.translations.translationCount(), 3u);
    scene.translations.applyTranslations(scene.text, scene.scripts);
    EXPECT_EQ(scene.text.text(scene.greeting), "Hello");
    EXPECT_EQ(scene.text.text(scene.farewell), "Goodbye");
    EXPECT_EQ(scene.scripts.stringParameter(scene.script, 1), "Welcome");
}

TEST(TranslationManagerTest, nothingPointsIntoFreedRecords) {
    Scene scene;
    load(scene.translations, language("English", "en", {"greeting", "Hello"}));
    loadLinks(scene.translations, locale({{scene.greeting, TranslationLink::Text, 0}, {scene.farewell, TranslationLink::Text, 0}}, {"greeting", "zzz"}));
    scene.translations.applyTranslations(scene.text, scene.scripts);
    EXPECT_EQ(scene.text.text(scene.farewell), "zzz");

    /* The self-translation of "zzz" outlives the links that named it */
    loadLinks(scene.translations, locale({{scene.greeting, TranslationLink::Text, 0}}, {"other"}));
    EXPECT_EQ(scene.translations.translate("zzz"), "zzz");
    scene.translations.applyTranslations(scene.text, scene.scripts);
    EXPECT_EQ(scene.translations.translate("zzz"), "zzz");
    EXPECT_EQ(scene.translations.translate("other"), "other");

    /* Links outlive the language that was current when they were loaded */
    scene.linkAll();
    load(scene.translations, language("Deutsch", "de", {"farewell", "Tschüss"}));
    load(scene.translations, language("Français", "fr", {"farewell", "Au revoir", "title", "Bienvenue"}));
    scene.translations.applyTranslations(scene.text, scene.scripts);
    EXPECT_EQ(scene.text.text(scene.farewell), "Au revoir");
    EXPECT_EQ(scene.text.text(scene.greeting), "greeting");
    EXPECT_EQ(scene.scripts.stringParameter(scene.script, 1), "Bienvenue");
    EXPECT_EQ(scene.translations.links()[0].term, "greeting");
}

}}}
