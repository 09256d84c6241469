#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "QuillmarshEngine/Data/JavaScriptManager.h"
#include "QuillmarshEngine/Data/SceneGraph.h"
#include "QuillmarshEngine/Debug.h"
#include "../OutputCapture.h"

namespace QuillmarshEngine { namespace Data { namespace {

using Testing::Quiet;
using Testing::print;

struct Scene {
    Quiet quiet;
    SceneGraph graph{8, 1, 16};
    JavaScriptManager scripts{4};
    Id object;

    Scene() {
        graph.setComponentManager(0, "js", &scripts);
        object = graph.addObject(Id{0});
    }
};

TEST(JavaScriptManagerTest, parameters) {
    Scene scene;
    EXPECT_STREQ(scene.scripts.name(), "js");
    const Id c = scene.scripts.addComponent(scene.object);
    EXPECT_EQ(scene.scripts.script(c), "");
    EXPECT_EQ(scene.scripts.parameterCount(c), 0);
    EXPECT_TRUE(scene.scripts.isChanged(c));

    scene.scripts.setScript(c, "door-opener");
    EXPECT_EQ(scene.scripts.setStringParameter(c, "label", "Open"), 0);
    EXPECT_EQ(scene.scripts.setNumberParameter(c, "speed", 2.5), 1);
    EXPECT_EQ(scene.scripts.setBoolParameter(c, "locked", true), 2);
    EXPECT_EQ(scene.scripts.setObjectParameter(c, "target", Id{7}), 3);
    EXPECT_EQ(scene.scripts.script(c), "door-opener");
    EXPECT_EQ(scene.scripts.parameterCount(c), 4);
    EXPECT_EQ(scene.scripts.parameterName(c, 2), "locked");
    EXPECT_EQ(scene.scripts.parameterType(c, 0), ScriptParameterType::String);
    EXPECT_EQ(scene.scripts.parameterType(c, 3), ScriptParameterType::Object);
    EXPECT_EQ(scene.scripts.stringParameter(c, 0), "Open");
    EXPECT_EQ(scene.scripts.numberParameter(c, 1), 2.5);
    EXPECT_TRUE(scene.scripts.boolParameter(c, 2));
    EXPECT_EQ(scene.scripts.objectParameter(c, 3), Id{7});
    EXPECT_EQ(scene.scripts.findParameter(c, "speed"), 1);
    EXPECT_EQ(scene.scripts.findParameter(c, "spee"), -1);

    /* Setting by name replaces in place, also with another type; an equal value is no change */
    scene.scripts.clearChanged();
    EXPECT_EQ(scene.scripts.setNumberParameter(c, "speed", 2.5), 1);
    EXPECT_FALSE(scene.scripts.isChanged(c));
    EXPECT_EQ(scene.scripts.setStringParameter(c, "speed", "fast"), 1);
    EXPECT_TRUE(scene.scripts.isChanged(c));
    EXPECT_EQ(scene.scripts.parameterType(c, 1), ScriptParameterType::String);
    EXPECT_EQ(scene.scripts.parameterCount(c), 4);
}

TEST(JavaScriptManagerTest, translationReceiver) {
    Scene scene;
    const Id c = scene.scripts.addComponent(scene.object);
    scene.scripts.setNumberParameter(c, "count", 3.0);
    scene.scripts.setStringParameter(c, "title", "");
    scene.scripts.clearChanged();
    {
        const std::string translation = "A translated title, long enough for the heap";
        EXPECT_TRUE(scene.scripts.js_setComponentParamTranslation(c, 1, translation));
    }
    /* The copy outlives the caller's string */
    EXPECT_EQ(scene.scripts.stringParameter(c, 1), "A translated title, long enough for the heap");
    EXPECT_TRUE(scene.scripts.isChanged(c));

    /* A number parameter or an index past the list is left as it is */
    scene.scripts.clearChanged();
    EXPECT_FALSE(scene.scripts.js_setComponentParamTranslation(c, 0, "x"));
    EXPECT_FALSE(scene.scripts.js_setComponentParamTranslation(c, 2, "x"));
    EXPECT_FALSE(scene.scripts.js_setComponentParamTranslation(c, 65535, "x"));
    EXPECT_EQ(scene.scripts.numberParameter(c, 0), 3.0);
    EXPECT_EQ(scene.scripts.parameterCount(c), 2);
    EXPECT_FALSE(scene.scripts.isChanged(c));
}

TEST(JavaScriptManagerTest, parametersFollowComponents) {
    Scene scene;
    const Id a = scene.scripts.addComponent(scene.object);
    const Id b = scene.scripts.addComponent(scene.object);
    scene.scripts.setScript(b, "spinner");
    scene.scripts.setStringParameter(b, "name", "wheel");
    scene.scripts.activate(scene.scripts.indexOf(b));
    EXPECT_EQ(scene.scripts.parameterCount(a), 0);

    scene.scripts.clearChanged();
    const Id clone = scene.scripts.cloneComponent(b, scene.object);
    EXPECT_EQ(scene.scripts.script(clone), "spinner");
    EXPECT_EQ(scene.scripts.stringParameter(clone, 0), "wheel");
    EXPECT_TRUE(scene.scripts.isChanged(clone));
    EXPECT_FALSE(scene.scripts.isChanged(b));

    scene.graph.deleteComponent(scene.object, 0, b);
    const Id reused = scene.scripts.addComponent(scene.object);
    EXPECT_EQ(reused, b);
    EXPECT_EQ(scene.scripts.script(reused), "");
    EXPECT_EQ(scene.scripts.parameterCount(reused), 0);
    EXPECT_EQ(scene.scripts.stringParameter(clone, 0), "wheel");
}

TEST(JavaScriptManagerTest, printType) {
    EXPECT_EQ(print(ScriptParameterType::String), "ScriptParameterType::String\n");
    EXPECT_EQ(print(ScriptParameterType::Number), "ScriptParameterType::Number\n");
    EXPECT_EQ(print(ScriptParameterType::Bool), "ScriptParameterType::Bool\n");
    EXPECT_EQ(print(ScriptParameterType::Object), "ScriptParameterType::Object\n");
    EXPECT_EQ(print(ScriptParameterType(0)), "ScriptParameterType(0x0)\n");
}

TEST(JavaScriptManagerDeathTest, invalid) {
    Scene scene;
    const Id c = scene.scripts.addComponent(scene.object);
    scene.scripts.setNumberParameter(c, "speed", 1.0);
    EXPECT_DEATH(scene.scripts.setScript(Id{3}, "x"), "^JavaScriptManager::setScript\\(\\): component Id\\(3\\) is not alive\n$");
    EXPECT_DEATH(scene.scripts.js_setComponentParamTranslation(Id{3}, 0, "x"), "^JavaScriptManager::js_setComponentParamTranslation\\(\\): component Id\\(3\\) is not alive\n$");
    EXPECT_DEATH((void)scene.scripts.parameterName(c, 1), "^JavaScriptManager::parameterName\\(\\): parameter 1 out of range for 1 parameters of component Id\\(0\\)\n$");
    EXPECT_DEATH((void)scene.scripts.stringParameter(c, 0), "^JavaScriptManager::stringParameter\\(\\): parameter 0 of component Id\\(0\\) is ScriptParameterType::Number and not ScriptParameterType::String\n$");
}

}}}
