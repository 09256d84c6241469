#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

#include "QuillmarshEngine/Data/AnimationData.h"
#include "QuillmarshEngine/Data/AnimationManager.h"
#include "QuillmarshEngine/Data/AssetData.h"
#include "QuillmarshEngine/Data/AssetValidation.h"
#include "QuillmarshEngine/Data/CollisionManager.h"
#include "QuillmarshEngine/Data/InputManager.h"
#include "QuillmarshEngine/Data/JavaScriptManager.h"
#include "QuillmarshEngine/Data/LanguageData.h"
#include "QuillmarshEngine/Data/LocaleData.h"
#include "QuillmarshEngine/Data/LightManager.h"
#include "QuillmarshEngine/Data/MeshManager.h"
#include "QuillmarshEngine/Data/NameManager.h"
#include "QuillmarshEngine/Data/Scene.h"
#include "QuillmarshEngine/Data/TextManager.h"
#include "QuillmarshEngine/Data/ViewManager.h"
#include "QuillmarshEngine/Math/DualQuaternion.h"

namespace QuillmarshEngine { namespace Data { namespace {

using Animation::Offline::RawAnimation;

RawAnimation twoTrackAnimation(float offset) {
    RawAnimation raw;
    raw.duration = 2.0f;
    raw.tracks.resize(2);
    raw.tracks[0].translations = {{0.0f, Vector3{offset, 0.0f, 0.0f}}, {2.0f, Vector3{offset + 2.0f, 0.0f, 0.0f}}};
    raw.tracks[1].rotations = {{0.0f, Quaternion::rotation(offset, Vector3::zAxis())}, {2.0f, Quaternion::rotation(offset + 1.0f, Vector3::zAxis())}};
    return raw;
}

/* A scene with one manager of every kind, each with active and inactive components and state
   outside the defaults */
struct FullScene {
    std::ostringstream quiet;
    Debug silenceDebug{&quiet};
    Warning silenceWarning{&quiet};
    SceneGraph graph{32, 10, 64};
    MeshManager meshes{8, 3};
    ViewManager views{4};
    LightManager lights{4};
    CollisionManager colliders{4};
    InputManager inputs{4};
    TextManager texts{4};
    JavaScriptManager scripts{4};
    AnimationManager animations{4};
    NameManager names{8};
    std::vector<std::vector<char>> animationRecords;
    Id objects[6];

    FullScene() {
        graph.setComponentManager(0, "mesh", &meshes);
        graph.setComponentManager(1, "view", &views);
        graph.setComponentManager(2, "light", &lights);
        graph.setComponentManager(3, "collision", &colliders);
        graph.setComponentManager(4, "input", &inputs);
        graph.setComponentManager(5, "text", &texts);
        graph.setComponentManager(6, "js", &scripts);
        graph.setComponentManager(7, "animation", &animations);
        /* Slot 8 stays empty, slot 9 holds the names under a name of its own */
        graph.setComponentManager(9, "labels", &names);

        objects[0] = graph.addObject(Id{0});
        objects[1] = graph.addObject(objects[0]);
        objects[2] = graph.addObject(objects[1]);
        objects[3] = graph.addObject(Id{0});
        objects[4] = graph.addObject(objects[3]);
        objects[5] = graph.addObject(objects[0]);
        for(std::size_t i = 0; i != 6; ++i) {
            const SceneGraph::IndexType index = graph.indexOf(objects[i]);
            graph.setLocalTransformation(index, DualQuaternion::translation(Vector3{float(i), 1.0f, -float(i)})*
                DualQuaternion::rotation(0.3f*float(i), Vector3::yAxis()));
            graph.setLocalScaling(index, Vector3{1.0f + 0.5f*float(i), 2.0f, 1.0f});
            graph.setDirty(index);
        }

        for(std::size_t i = 0; i != 4; ++i) {
            const Id c = meshes.addComponent(objects[i]);
            const SparseArray::IndexType index = meshes.indexOf(c);
            meshes.meshes()[index] = std::uint16_t(10 + i);
            meshes.materials()[index] = std::uint16_t(20 + i);
            meshes.setMorphTargetWeights(index, std::vector<float>(i, 0.25f*float(i)));
        }
        meshes.setGroup(meshes.indexOf(Id{1}), 2, 1);
        meshes.activate(meshes.indexOf(Id{0}));
        meshes.activate(meshes.indexOf(Id{1}));
        meshes.activate(meshes.indexOf(Id{3}));
        meshes.instanceValues()[meshes.indexOf(Id{2})] = 7.5f;
        meshes.instanceFlags().set(meshes.indexOf(Id{3}));

        const Id view = views.addComponent(objects[5]);
        views.projectionParams()[views.indexOf(view)] = Vector4{0.5f, 500.0f, 70.0f, 4.0f};
        views.activate(views.indexOf(view));

        for(std::size_t i = 0; i != 3; ++i) {
            const Id light = lights.addComponent(objects[i + 1]);
            const SparseArray::IndexType index = lights.setLightType(lights.indexOf(light), LightType(i));
            lights.colors()[index] = Color4{0.1f*float(i), 0.5f, 1.0f, 1.0f};
        }
        lights.activate(lights.indexOf(Id{2}));
        lights.activate(lights.indexOf(Id{0}));

        const Id collider = colliders.addComponent(objects[2]);
        colliders.setCollider(colliders.indexOf(collider), ColliderType::Box);
        colliders.setExtents(colliders.indexOf(collider), Vector3{1.0f, 2.0f, 3.0f});
        colliders.setGroups(colliders.indexOf(collider), 0x5);
        colliders.activate(colliders.indexOf(collider));

        const Id input = inputs.addComponent(objects[3]);
        inputs.setInputType(inputs.indexOf(input), InputType::ControllerLeft);
        inputs.setPose(InputType::ControllerLeft, DualQuaternion::translation(Vector3{0.0f, 1.5f, 0.0f}));
        inputs.activate(inputs.indexOf(input));

        const Id first = texts.addComponent(objects[4]);
        const Id second = texts.addComponent(objects[4]);
        texts.setText(first, "Hello, world");
        texts.setText(second, "");
        texts.setAlignment(second, TextAlignment::Right);
        texts.setWrapWidth(first, 3.5f);
        texts.activate(texts.indexOf(second));

        const Id script = scripts.addComponent(objects[0]);
        scripts.setScript(script, "door-opener");
        scripts.setStringParameter(script, "label", "Front door");
        scripts.setNumberParameter(script, "speed", 2.25);
        scripts.setBoolParameter(script, "locked", true);
        scripts.setObjectParameter(script, "target", objects[2]);
        scripts.addComponent(objects[1]);
        scripts.activate(scripts.indexOf(script));

        for(float offset: {0.0f, 0.5f}) {
            animationRecords.push_back(createAnimationData(twoTrackAnimation(offset), {}, StringArrayView{}, false));
            EXPECT_TRUE(animations.addAnimation(AnimationData{animationRecords.back()}));
        }
        const Id targets[]{objects[1], Id{AnimationManager::NoTarget}};
        const Id player = animations.addAnimationComponent(objects[0], 0, targets);
        animations.setSpeed(player, 0.5f);
        animations.setLoopCount(player, 3);
        animations.setPlaybackTime(player, 0.75f);
        animations.crossFade(player, 1, 0.25f);
        animations.setBlendWeight(player, 0.4f);
        animations.play(player);

        names.setObjectName(objects[0], "Body");
        names.setObjectName(objects[2], "Hand");

        graph.activate();
    }

    /* A data file with the animation records and the scene record */
    std::vector<char> file() const {
        std::vector<char> out;
        appendHeaderData(out);
        for(const std::vector<char>& record: animationRecords) {
            const std::span<const char> pieces[]{record};
            AssetChunk::create(Magic::Animation, pieces, out);
        }
        const std::vector<char> scene = createSceneData(graph);
        const std::span<const char> pieces[]{scene};
        AssetChunk::create(Magic::Scene, pieces, out);
        updateHeaderData(out);
        return out;
    }
};

std::vector<char> externalState(const ComponentManager& manager) {
    std::vector<char> out;
    manager.saveExternalState(out);
    return out;
}

std::vector<char> bytes(std::span<const char> data) { return {data.begin(), data.end()}; }

TEST(Scene, RoundTripKeepsEveryManagerIdentical) {
    FullScene saved;
    Utils::Result<std::unique_ptr<Scene>> result = Scene::load(saved.file());
    ASSERT_TRUE(result) << result.error();
    Scene& scene = **result;
    SceneGraph& graph = scene.sceneGraph();

    EXPECT_EQ(bytes(graph.data()), bytes(saved.graph.data()));
    EXPECT_TRUE(graph.activated());
    EXPECT_EQ(graph.componentManager(8), nullptr);
    EXPECT_EQ(graph.componentManagerName(9), "labels");
    for(std::uint16_t slot: {0, 1, 2, 3, 4, 5, 6, 7, 9}) {
        SCOPED_TRACE(slot);
        const ComponentManager* const loaded = graph.componentManager(slot);
        const ComponentManager* const original = saved.graph.componentManager(slot);
        ASSERT_NE(loaded, nullptr);
        EXPECT_STREQ(loaded->name(), original->name());
        EXPECT_EQ(loaded->sceneGraph(), &graph);
        /* Loaded texts have no glyphs yet, so all of them are marked changed; the rest of the
           text block is compared with the bits cleared on both sides */
        if(slot == 5) {
            static_cast<TextManager*>(graph.componentManager(5))->clearChanged();
            saved.texts.clearChanged();
        }
        EXPECT_EQ(bytes(loaded->data()), bytes(original->data()));
        EXPECT_EQ(externalState(*loaded), externalState(*original));
    }

    /* Typed access and a few values read back through the managers' own interfaces */
    ASSERT_NE(scene.manager<JavaScriptManager>(), nullptr);
    JavaScriptManager& scripts = *scene.manager<JavaScriptManager>();
    EXPECT_EQ(scripts.script(Id{0}), "door-opener");
    EXPECT_EQ(scripts.parameterCount(Id{0}), 4);
    EXPECT_EQ(scripts.parameterType(Id{0}, 3), ScriptParameterType::Object);
    EXPECT_EQ(scene.manager<TextManager>()->text(Id{0}), "Hello, world");
    EXPECT_EQ(static_cast<NameManager*>(scene.manager("labels"))->objectName(saved.objects[2]), "Hand");
    EXPECT_EQ(scene.manager<MeshManager>()->instanceValues()[saved.meshes.indexOf(Id{2})], 7.5f);
    AnimationManager& animations = *scene.manager<AnimationManager>();
    EXPECT_EQ(animations.animationCount(), 2);
    ASSERT_EQ(animations.targets(Id{0}).size(), 2);
    EXPECT_EQ(animations.targets(Id{0})[0], saved.objects[1]);
    EXPECT_EQ(animations.blendAnimation(Id{0}), 1);
    EXPECT_EQ(scene.manager("nothing"), nullptr);

    /* Frames run on the loaded scene exactly as on the original */
    for(std::size_t frame = 0; frame != 3; ++frame) {
        for(SceneGraph* g: {&graph, &saved.graph}) {
            for(std::uint16_t slot: {4, 7}) g->componentManager(slot)->update(0.1);
            g->computeAbsoluteTransformations();
            g->componentManager(0)->update(0.1);
        }
    }
    for(SceneGraph::IndexType i = 0; i != graph.size(); ++i) {
        EXPECT_EQ(graph.worldTransformations()[i], saved.graph.worldTransformations()[i]) << i;
        EXPECT_EQ(graph.worldScalings()[i], saved.graph.worldScalings()[i]) << i;
    }
    const MeshManager& meshes = *scene.manager<MeshManager>();
    for(SparseArray::IndexType i = 0; i != meshes.activeCount(); ++i)
        EXPECT_EQ(meshes.transforms()[i], saved.meshes.transforms()[i]) << i;
}

TEST(Scene, TranslationsComeFromTheFilesRecords) {
    FullScene saved;
    std::vector<char> file;
    appendHeaderData(file);
    const StringArray strings{"Hello, world", "Hallo, Welt"};
    const std::vector<char> language = createLanguageData("Deutsch", "de", 1, strings.view());
    const std::pair<std::string_view, std::string_view> pairs[]{{"a", ""}, {"", ""}};
    const std::string_view extras[]{"", "x"};
    const std::string_view terms[]{"Hello, world"};
    const LocaleLinkHeader links[]{{0, TranslationLink::Text, 0}};
    const std::vector<char> locale = createLocaleData(pairs, extras, terms, links);
    const std::vector<char> scene = createSceneData(saved.graph);
    for(const auto& [magic, record]: {std::pair{Magic::Language, &language}, std::pair{Magic::Locale, &locale}, std::pair{Magic::Scene, &scene}}) {
        const std::span<const char> pieces[]{*record};
        AssetChunk::create(magic, pieces, file);
    }
    updateHeaderData(file);
    std::ostringstream quiet;
    Debug silence{&quiet};
    Utils::Result<std::unique_ptr<Scene>> loaded = Scene::load(std::move(file));
    ASSERT_TRUE(loaded) << loaded.error();
    TranslationManager& translations = (*loaded)->translations();
    EXPECT_EQ(translations.languageCode(), "de");
    ASSERT_EQ(translations.links().size(), 1);
    translations.applyTranslations(*(*loaded)->manager<TextManager>(), *(*loaded)->manager<JavaScriptManager>());
    EXPECT_EQ((*loaded)->manager<TextManager>()->text(Id{0}), "Hallo, Welt");
}

TEST(Scene, RecordLayout) {
    FullScene saved;
    const std::vector<char> record = createSceneData(saved.graph);
    Utils::Result<std::vector<SceneSection>> sections = listSceneSections(record);
    ASSERT_TRUE(sections) << sections.error();
    ASSERT_EQ(sections->size(), 10);
    EXPECT_EQ((*sections)[0].type, "scenegraph");
    EXPECT_EQ((*sections)[0].slot, SceneGraphSection);
    EXPECT_EQ(bytes((*sections)[0].block), bytes(saved.graph.data()));
    EXPECT_EQ((*sections)[1].type, "mesh");
    EXPECT_EQ((*sections)[8].type, "animation");
    EXPECT_EQ((*sections)[9].type, "name");
    EXPECT_EQ((*sections)[9].slot, 9);
    /* Every section starts 4-byte aligned */
    for(const SceneSection& section: *sections)
        EXPECT_EQ((section.block.data() - record.data()) % 4, 0);

    /* An inactive scene stays inactive */
    saved.graph.deactivate();
    Utils::Result<std::unique_ptr<Scene>> inactive = Scene::loadRecord(createSceneData(saved.graph));
    ASSERT_TRUE(inactive) << inactive.error();
    EXPECT_FALSE((*inactive)->sceneGraph().activated());
}

std::string loadError(const std::vector<char>& record) {
    std::ostringstream quiet;
    Debug silenceDebug{&quiet};
    Warning silenceWarning{&quiet};
    Utils::Result<std::unique_ptr<Scene>> scene = Scene::loadRecord(record);
    return scene ? std::string{} : scene.error();
}

template<class T> void poke(std::vector<char>& data, std::size_t at, T value) {
    std::memcpy(data.data() + at, &value, sizeof(T));
}

/* Offset of the block of section i */
std::size_t blockOffset(const std::vector<char>& record, std::size_t i) {
    return std::size_t((*listSceneSections(record))[i].block.data() - record.data());
}

TEST(Scene, RefusesBrokenRecords) {
    FullScene saved;
    const std::vector<char> good = createSceneData(saved.graph);
    ASSERT_EQ(loadError(good), "");

    /* Cut anywhere: always an error, never a read past the end */
    for(std::size_t size = 0; size < good.size(); size += 7)
        EXPECT_NE(loadError(std::vector<char>(good.begin(), good.begin() + size)), "") << size;

    std::vector<char> r = good;
    poke(r, 0, std::uint32_t{2});
    EXPECT_EQ(loadError(r), "scene record version 2, expected 1");

    r = good;
    r.resize(r.size() + 4);
    EXPECT_EQ(loadError(r), "4 bytes follow the last scene section");

    /* The mesh section's type renamed to something unknown */
    r = good;
    std::memcpy(r.data() + blockOffset(r, 1) - 24, "teapot\0", 7);
    EXPECT_EQ(loadError(r), "scene section 1 (teapot): unknown manager type");

    /* The view section moved into the mesh section's slot */
    r = good;
    poke(r, blockOffset(r, 2) - 12, std::uint16_t{0});
    EXPECT_EQ(loadError(r), "scene section 2 (view): slot 0 is taken twice");
    poke(r, blockOffset(r, 2) - 12, std::uint16_t{10});
    EXPECT_EQ(loadError(r), "scene section 2 (view): slot 10 of 10");

    /* The view block taken by the light slot: the header tail sizes differ */
    r = good;
    std::memcpy(r.data() + blockOffset(r, 2) - 24, "light\0", 6);
    EXPECT_NE(loadError(r).find("scene section 2 (light): header size"), std::string::npos) << loadError(r);

    /* A mesh block whose active count exceeds its size */
    r = good;
    poke(r, blockOffset(r, 1) + 16, std::uint16_t{9});
    EXPECT_EQ(loadError(r), "scene section 1 (mesh): active count 9 exceeds the size 4");

    /* A component of the mesh manager owned by another object than the one listing it */
    {
        /* Rebuild the same scene with the first mesh component's owner changed */
        FullScene other;
        other.graph.deactivate();
        std::vector<char> record = createSceneData(other.graph);
        const std::size_t ownerColumn = blockOffset(record, 1) + other.meshes.partition().regions()[3].offset;
        const Id wrong = other.objects[5];
        poke(record, ownerColumn + 2*other.meshes.indexOf(Id{0}), wrong);
        EXPECT_EQ(loadError(record), "component 0 of slot 0 listed by object " + std::to_string(other.objects[0].value) + " belongs to object " + std::to_string(wrong.value));
    }

    /* Texts whose lengths run past the external state */
    r = good;
    const SceneSection text = (*listSceneSections(good))[6];
    poke(r, std::size_t(text.external.data() - good.data()), std::uint32_t{1000});
    EXPECT_EQ(loadError(r), "scene section 6 (text): texts do not fill the external state exactly");

    /* A script parameter of an unknown type */
    r = good;
    const SceneSection js = (*listSceneSections(good))[7];
    /* type string "door-opener" (4 + 11), count (2), name "label" (4 + 5), then the type byte */
    poke(r, std::size_t(js.external.data() - good.data()) + 4 + 11 + 2 + 4 + 5, std::uint8_t{9});
    EXPECT_EQ(loadError(r), "scene section 7 (js): parameter 0 of the script at 0 has an unknown type");
}

TEST(Scene, RefusesBrokenGroupsAndWeights) {
    FullScene saved;
    saved.graph.deactivate();
    const std::vector<char> good = createSceneData(saved.graph);
    const std::size_t mesh = blockOffset(good, 1);
    const auto offsetOf = [&](const void* p) { return mesh + std::size_t(static_cast<const char*>(p) - saved.meshes.data().data()); };

    /* Slot boundaries that go back */
    std::vector<char> r = good;
    poke(r, offsetOf(saved.meshes.grouped().groupOffsets().data()) + 2, std::uint16_t{3});
    EXPECT_EQ(loadError(r), "scene section 1 (mesh): group offset 2 lies before the previous one");

    /* A component in a slot that does not exist */
    r = good;
    poke(r, offsetOf(saved.meshes.grouped().slots().data()) + 2*3, std::uint16_t{99});
    EXPECT_EQ(loadError(r), "scene section 1 (mesh): component at 3 has slot 99 of 6");

    /* An active component outside its slot's range */
    r = good;
    const SparseArray::IndexType active = 0;
    poke(r, offsetOf(saved.meshes.grouped().slots().data()) + 2*active, std::uint16_t(saved.meshes.grouped().slot(active) + 1));
    EXPECT_EQ(loadError(r), "scene section 1 (mesh): active component at 0 lies outside the range of its slot " + std::to_string(saved.meshes.grouped().slot(active) + 1));

    /* Weight slices: overlapping (whichever comes first, they share the first weight), and
       past the weights in use */
    SparseArray::IndexType two = 0, three = 0;
    for(SparseArray::IndexType i = 0; i != saved.meshes.size(); ++i) {
        const std::size_t count = saved.meshes.morphTargetWeightsOf(i).size();
        if(count == 2) two = i;
        if(count == 3) three = i;
    }
    r = good;
    const Range1Dus slice = saved.meshes.morphTargetWeights()[three];
    poke(r, offsetOf(&saved.meshes.morphTargetWeights()[two]), Range1Dus{slice.min(), std::uint16_t(slice.min() + 2)});
    EXPECT_EQ(loadError(r), "scene section 1 (mesh): weight slices overlap at weight " + std::to_string(slice.min()));
    r = good;
    poke(r, offsetOf(&saved.meshes.morphTargetWeights()[two]), Range1Dus{std::uint16_t(6), std::uint16_t(9)});
    EXPECT_EQ(loadError(r), "scene section 1 (mesh): weight slice of the component at " + std::to_string(two) + " lies outside the 6 weights in use");
}

TEST(Scene, AnimationStateCheckedAgainstTheFilesAnimations) {
    FullScene saved;
    /* The second animation gets a third track: the saved cross-fade now mixes track counts */
    RawAnimation three = twoTrackAnimation(0.5f);
    three.tracks.resize(3);
    saved.animationRecords[1] = createAnimationData(three, {}, StringArrayView{}, false);
    std::ostringstream quiet;
    Debug silenceDebug{&quiet};
    Utils::Result<std::unique_ptr<Scene>> scene = Scene::load(saved.file());
    ASSERT_FALSE(scene);
    EXPECT_EQ(scene.error(), "scene section 8 (animation): component at 0 cross-fades animations of different track counts");

    /* A file without a scene record */
    std::vector<char> empty;
    appendHeaderData(empty);
    updateHeaderData(empty);
    Utils::Result<std::unique_ptr<Scene>> none = Scene::load(std::move(empty));
    ASSERT_FALSE(none);
    EXPECT_EQ(none.error(), "the data file holds no scene record");
}

TEST(Scene, ValidatorLoadsSceneRecords) {
    FullScene saved;
    std::vector<char> file = saved.file();
    std::ostringstream quiet;
    Debug silenceDebug{&quiet};
    EXPECT_TRUE(validateAssetData(file));
    /* Break the scene record's version: the validator names the chunk's payload offset */
    const std::vector<AssetChunkEntry> chunks = listAssetChunks(file);
    poke(file, chunks.back().offset + 8, std::uint32_t{7});
    Utils::Result<std::vector<AssetChunkEntry>> result = validateAssetData(file);
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error(), "offset " + std::to_string(chunks.back().offset + 8) + ": scene record version 7, expected 1");
}

}}}
