#include <memory>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "QuillmarshEngine/Data/SceneGraph.h"
#include "QuillmarshEngine/Data/TextManager.h"
#include "QuillmarshEngine/Debug.h"
#include "../OutputCapture.h"

namespace QuillmarshEngine { namespace Data { namespace {

using Testing::Quiet;
using Testing::print;

struct Scene {
    Quiet quiet;
    SceneGraph graph{8, 1, 16};
    TextManager text{4};
    Id object;

    Scene() {
        graph.setComponentManager(0, "text", &text);
        object = graph.addObject(Id{0});
    }
};

TEST(TextManagerTest, defaults) {
    Scene scene;
    EXPECT_STREQ(scene.text.name(), "text");
    const Id c = scene.text.addComponent(scene.object);
    EXPECT_EQ(scene.text.text(c), "");
    EXPECT_EQ(scene.text.font(c), 0);
    EXPECT_EQ(scene.text.alignment(c), TextAlignment::Center);
    EXPECT_EQ(scene.text.justification(c), TextJustification::Middle);
    EXPECT_EQ(scene.text.characterSpacing(c), 0.0f);
    EXPECT_EQ(scene.text.lineSpacing(c), 1.2f);
    EXPECT_EQ(scene.text.effect(c), TextEffect::None);
    EXPECT_EQ(scene.text.wrapMode(c), TextWrapMode::None);
    EXPECT_EQ(scene.text.wrapWidth(c), 0.0f);
    /* Nothing is built for a new component yet */
    EXPECT_TRUE(scene.text.isChanged(c));
    /* Defaults also hold for slots made by growth */
    scene.text.allocate(64);
    EXPECT_EQ(scene.text.alignments()[40], TextAlignment::Center);
    EXPECT_EQ(scene.text.wrapModes()[63], TextWrapMode::None);
}

TEST(TextManagerTest, settersMarkChangesOnly) {
    Scene scene;
    const Id a = scene.text.addComponent(scene.object);
    const Id b = scene.text.addComponent(scene.object);
    scene.text.clearChanged();
    EXPECT_FALSE(scene.text.isChanged(a));

    scene.text.setText(a, "hello");
    scene.text.setFont(b, 3);
    EXPECT_TRUE(scene.text.isChanged(a));
    EXPECT_TRUE(scene.text.isChanged(b));
    EXPECT_TRUE(scene.text.changedBits()[scene.text.indexOf(a)]);
    scene.text.clearChanged(a);
    EXPECT_FALSE(scene.text.isChanged(a));
    EXPECT_TRUE(scene.text.isChanged(b));

    /* Setting what is already there leaves the bit alone */
    scene.text.clearChanged();
    scene.text.setText(a, "hello");
    scene.text.setFont(b, 3);
    scene.text.setAlignment(a, TextAlignment::Center);
    EXPECT_FALSE(scene.text.isChanged(a));
    EXPECT_FALSE(scene.text.isChanged(b));

    /* Every parameter counts as a change and lands in its column */
    const auto changes = [&](auto set) {
        scene.text.clearChanged();
        set();
        return scene.text.isChanged(b) && !scene.text.isChanged(a);
    };
    const std::uint16_t index = scene.text.indexOf(b);
    EXPECT_TRUE(changes([&]{ scene.text.setAlignment(b, TextAlignment::Right); }));
    EXPECT_TRUE(changes([&]{ scene.text.setJustification(b, TextJustification::Bottom); }));
    EXPECT_TRUE(changes([&]{ scene.text.setCharacterSpacing(b, 0.25f); }));
    EXPECT_TRUE(changes([&]{ scene.text.setLineSpacing(b, 2.0f); }));
    EXPECT_TRUE(changes([&]{ scene.text.setEffect(b, TextEffect::Outline); }));
    EXPECT_TRUE(changes([&]{ scene.text.setWrapMode(b, TextWrapMode::Soft); }));
    EXPECT_TRUE(changes([&]{ scene.text.setWrapWidth(b, 3.5f); }));
    EXPECT_EQ(scene.text.fonts()[index], 3);
    EXPECT_EQ(scene.text.alignments()[index], TextAlignment::Right);
    EXPECT_EQ(scene.text.justifications()[index], TextJustification::Bottom);
    EXPECT_EQ(scene.text.characterSpacings()[index], 0.25f);
    EXPECT_EQ(scene.text.lineSpacings()[index], 2.0f);
    EXPECT_EQ(scene.text.effects()[index], TextEffect::Outline);
    EXPECT_EQ(scene.text.wrapModes()[index], TextWrapMode::Soft);
    EXPECT_EQ(scene.text.wrapWidths()[index], 3.5f);
    EXPECT_EQ(scene.text.alignment(a), TextAlignment::Center);
}

TEST(TextManagerTest, keepsItsOwnCopy) {
    Scene scene;
    const Id c = scene.text.addComponent(scene.object);
    {
        /* Longer than any short-string buffer, freed right after */
        auto source = std::make_unique<std::string>("a text long enough to live on the heap, then freed");
        scene.text.setText(c, *source);
    }
    EXPECT_EQ(scene.text.text(c), "a text long enough to live on the heap, then freed");
    EXPECT_EQ(scene.text.text(c).data()[scene.text.text(c).size()], '\0');
}

TEST(TextManagerTest, textsFollowComponents) {
    Scene scene;
    const Id a = scene.text.addComponent(scene.object);
    const Id b = scene.text.addComponent(scene.object);
    scene.text.setText(a, "alpha");
    scene.text.setText(b, "beta");
    scene.text.setWrapWidth(b, 2.0f);
    scene.text.activate(scene.text.indexOf(b));
    EXPECT_EQ(scene.text.textAt(0), "beta");
    EXPECT_EQ(scene.text.text(a), "alpha");

    /* A clone copies text and parameters and needs building */
    scene.text.clearChanged();
    const Id clone = scene.text.cloneComponent(b, scene.object);
    EXPECT_EQ(scene.text.text(clone), "beta");
    EXPECT_EQ(scene.text.wrapWidth(clone), 2.0f);
    EXPECT_TRUE(scene.text.isChanged(clone));
    EXPECT_FALSE(scene.text.isChanged(b));

    /* Deleting releases the text; the reused id starts empty */
    scene.graph.deleteComponent(scene.object, 0, b);
    EXPECT_FALSE(scene.text.isAlive(b));
    EXPECT_EQ(scene.text.text(clone), "beta");
    const Id reused = scene.text.addComponent(scene.object);
    EXPECT_EQ(reused, b);
    EXPECT_EQ(scene.text.text(reused), "");
    EXPECT_EQ(scene.text.wrapWidth(reused), 0.0f);
}

TEST(TextManagerTest, printEnums) {
    EXPECT_EQ(print(TextAlignment::Left), "TextAlignment::Left\n");
    EXPECT_EQ(print(TextAlignment(0)), "TextAlignment(0x0)\n");
    EXPECT_EQ(print(TextJustification::Line), "TextJustification::Line\n");
    EXPECT_EQ(print(TextJustification::Top), "TextJustification::Top\n");
    EXPECT_EQ(print(TextEffect::Shadow), "TextEffect::Shadow\n");
    EXPECT_EQ(print(TextWrapMode::Clip), "TextWrapMode::Clip\n");
    EXPECT_EQ(print(TextWrapMode(9)), "TextWrapMode(0x9)\n");
}

TEST(TextManagerDeathTest, deadComponent) {
    Scene scene;
    const Id c = scene.text.addComponent(scene.object);
    EXPECT_DEATH(scene.text.setText(Id{1}, "x"), "^TextManager::setText\\(\\): component Id\\(1\\) is not alive\n$");
    EXPECT_DEATH(scene.text.setFont(Id{9}, 1), "^TextManager::setFont\\(\\): component Id\\(9\\) is not alive\n$");
    EXPECT_DEATH((void)scene.text.text(Id{2}), "^TextManager::text\\(\\): component Id\\(2\\) is not alive\n$");
    scene.text.deleteComponent(scene.text.indexOf(c));
    EXPECT_DEATH((void)scene.text.wrapWidth(c), "^TextManager::wrapWidth\\(\\): component Id\\(0\\) is not alive\n$");
}

}}}
