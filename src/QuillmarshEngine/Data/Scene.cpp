#include "QuillmarshEngine/Data/Scene.h"

#include <cstring>
#include <fstream>
#include <string>

#include "QuillmarshEngine/Assert.h"
#include "QuillmarshEngine/Data/AnimationData.h"
#include "QuillmarshEngine/Data/AnimationManager.h"
#include "QuillmarshEngine/Data/CollisionManager.h"
#include "QuillmarshEngine/Data/InputManager.h"
#include "QuillmarshEngine/Data/JavaScriptManager.h"
#include "QuillmarshEngine/Data/LanguageData.h"
#include "QuillmarshEngine/Data/LightManager.h"
#include "QuillmarshEngine/Data/LocaleData.h"
#include "QuillmarshEngine/Data/MeshManager.h"
#include "QuillmarshEngine/Data/NameManager.h"
#include "QuillmarshEngine/Data/TextManager.h"
#include "QuillmarshEngine/Data/ViewManager.h"

namespace QuillmarshEngine { namespace Data {

namespace {

constexpr std::uint16_t FlagActive = 1;

std::size_t padded(const std::size_t size) { return (size + 3) & ~std::size_t{3}; }

template<class T> void put(std::vector<char>& out, const std::size_t at, const T& value) {
    std::memcpy(out.data() + at, &value, sizeof(T));
}

template<class T> T get(const std::span<const char> data, const std::size_t at) {
    T value;
    std::memcpy(&value, data.data() + at, sizeof(T));
    return value;
}

void appendSection(std::vector<char>& out, std::string_view type, std::uint16_t slot, std::span<const char> block, std::span<const char> external) {
    const std::size_t at = out.size();
    out.resize(at + SceneSectionHeaderSize + padded(block.size()) + padded(external.size()), '\0');
    std::memcpy(out.data() + at, type.data(), type.size());
    put(out, at + 12, slot);
    put(out, at + 16, std::uint32_t(block.size()));
    put(out, at + 20, std::uint32_t(external.size()));
    if(!block.empty()) std::memcpy(out.data() + at + SceneSectionHeaderSize, block.data(), block.size());
    if(!external.empty()) std::memcpy(out.data() + at + SceneSectionHeaderSize + padded(block.size()), external.data(), external.size());
}

/* A fresh, empty manager of the type a section names */
std::unique_ptr<ComponentManager> makeManager(const std::string_view type) {
    if(type == "mesh") return std::make_unique<MeshManager>(0, 1);
    if(type == "view") return std::make_unique<ViewManager>();
    if(type == "light") return std::make_unique<LightManager>();
    if(type == "collision") return std::make_unique<CollisionManager>();
    if(type == "input") return std::make_unique<InputManager>();
    if(type == "text") return std::make_unique<TextManager>();
    if(type == "js") return std::make_unique<JavaScriptManager>();
    if(type == "animation") return std::make_unique<AnimationManager>();
    if(type == "name") return std::make_unique<NameManager>();
    return nullptr;
}

}

std::vector<char> createSceneData(const SceneGraph& graph) {
    std::vector<char> out(SceneRecordHeaderSize, '\0');
    std::uint16_t sections = 1;
    appendSection(out, "scenegraph", SceneGraphSection, graph.data(), {});
    std::vector<char> external;
    for(std::uint16_t slot = 0; slot != graph.managerCount(); ++slot) {
        const ComponentManager* const manager = graph.componentManager(slot);
        if(!manager) continue;
        const std::string_view type = manager->name();
        QUILLMARSH_ASSERT(type.size() <= 11,
            "createSceneData(): manager type name" << type << "longer than 11 characters", {});
        external.clear();
        manager->saveExternalState(external);
        appendSection(out, type, slot, manager->data(), external);
        ++sections;
    }
    put(out, 0, SceneRecordVersion);
    put(out, 4, sections);
    put(out, 6, std::uint16_t(graph.activated() ? FlagActive : 0));
    return out;
}

Utils::Result<std::vector<SceneSection>> listSceneSections(const std::span<const char> payload) {
    typedef Utils::Result<std::vector<SceneSection>> R;
    if(payload.size() < SceneRecordHeaderSize)
        return R::fail("scene record of " + std::to_string(payload.size()) + " bytes is too small for its header");
    const std::uint32_t version = get<std::uint32_t>(payload, 0);
    if(version != SceneRecordVersion)
        return R::fail("scene record version " + std::to_string(version) + ", expected " + std::to_string(SceneRecordVersion));
    const std::uint16_t count = get<std::uint16_t>(payload, 4);
    if(count == 0) return R::fail("scene record has no sections");
    if(get<std::uint16_t>(payload, 6) & ~FlagActive) return R::fail("scene record has unknown flags");

    std::vector<SceneSection> sections;
    std::size_t at = SceneRecordHeaderSize;
    for(std::uint32_t i = 0; i != count; ++i) {
        const std::string where = "scene section " + std::to_string(i) + " at offset " + std::to_string(at);
        if(payload.size() - at < SceneSectionHeaderSize)
            return R::fail(where + " is cut short");
        const char* const name = payload.data() + at;
        const std::size_t nameLength = strnlen(name, 12);
        if(nameLength == 12) return R::fail(where + " has an unterminated type name");
        SceneSection section;
        section.type = {name, nameLength};
        section.slot = get<std::uint16_t>(payload, at + 12);
        if(get<std::uint16_t>(payload, at + 14) != 0) return R::fail(where + " has nonzero reserved bytes");
        const std::uint64_t blockSize = get<std::uint32_t>(payload, at + 16);
        const std::uint64_t externalSize = get<std::uint32_t>(payload, at + 20);
        const std::uint64_t total = SceneSectionHeaderSize + padded(blockSize) + padded(externalSize);
        if(total > payload.size() - at)
            return R::fail(where + " with " + std::to_string(blockSize) + " block and " + std::to_string(externalSize) + " external bytes runs past the end of the record");
        section.block = payload.subspan(at + SceneSectionHeaderSize, blockSize);
        section.external = payload.subspan(at + SceneSectionHeaderSize + padded(blockSize), externalSize);
        const bool isGraph = section.type == "scenegraph";
        if(isGraph != (i == 0) || isGraph != (section.slot == SceneGraphSection))
            return R::fail(where + ": the scene graph's section must come first, alone and with slot 65535");
        if(isGraph && !section.external.empty())
            return R::fail(where + ": the scene graph has no external state");
        sections.push_back(section);
        at += total;
    }
    if(at != payload.size())
        return R::fail(std::to_string(payload.size() - at) + " bytes follow the last scene section");
    return R{std::move(sections)};
}

Scene::Scene() = default;

Scene::~Scene() = default;

ComponentManager* Scene::manager(const std::string_view name) const {
    for(std::uint16_t slot = 0; slot != _graph->managerCount(); ++slot)
        if(_graph->componentManagerName(slot) == name) return _graph->componentManager(slot);
    return nullptr;
}

std::vector<std::span<const char>> Scene::records(const Magic magic) const {
    std::vector<std::span<const char>> out;
    for(const AssetChunkEntry& chunk: _chunks)
        if(chunk.magic == magic) out.push_back(std::span<const char>{_data}.subspan(chunk.offset + 8, chunk.size));
    return out;
}

Utils::Result<std::unique_ptr<Scene>> Scene::loadRecord(const std::span<const char> payload) {
    return loadInto(std::unique_ptr<Scene>{new Scene}, payload);
}

Utils::Result<std::unique_ptr<Scene>> Scene::load(std::vector<char>&& data) {
    typedef Utils::Result<std::unique_ptr<Scene>> R;
    Utils::Result<std::vector<AssetChunkEntry>> chunks = validateAssetData(data);
    if(!chunks) return R::fail(chunks.error());
    std::unique_ptr<Scene> scene{new Scene};
    scene->_data = std::move(data);
    scene->_chunks = std::move(*chunks);

    std::span<const char> payload;
    bool found = false;
    for(const AssetChunkEntry& chunk: scene->_chunks) if(chunk.magic == Magic::Scene) {
        payload = std::span<const char>{scene->_data}.subspan(chunk.offset + 8, chunk.size);
        found = true;
        break;
    }
    if(!found) return R::fail("the data file holds no scene record");

    /* The file is valid: the typed readers are safe on its records */
    const std::vector<std::span<const char>> languages = scene->records(Magic::Language);
    if(!languages.empty()) {
        Utils::Result<std::uint32_t> loaded = scene->_translations.loadLanguageData(std::vector<char>(languages[0].begin(), languages[0].end()));
        if(!loaded) return R::fail("language record: " + loaded.error());
    }
    const std::vector<std::span<const char>> locales = scene->records(Magic::Locale);
    if(!locales.empty()) {
        Utils::Result<LocaleData> locale = readLocaleData(locales[0]);
        if(!locale) return R::fail("locale record: " + locale.error());
        scene->_translations.loadTermLinks(*locale);
    }
    return loadInto(std::move(scene), payload);
}

Utils::Result<std::unique_ptr<Scene>> Scene::loadFile(const std::string& path) {
    typedef Utils::Result<std::unique_ptr<Scene>> R;
    std::ifstream file{path, std::ios::binary|std::ios::ate};
    if(!file) return R::fail(path + ": can't be opened");
    const std::streamoff size = file.tellg();
    if(size < 0) return R::fail(path + ": can't be read");
    std::vector<char> data(static_cast<std::size_t>(size));
    file.seekg(0);
    if(!file.read(data.data(), size)) return R::fail(path + ": can't be read");
    Utils::Result<std::unique_ptr<Scene>> scene = load(std::move(data));
    if(!scene) return R::fail(path + ": " + scene.error());
    return scene;
}

Utils::Result<std::unique_ptr<Scene>> Scene::loadInto(std::unique_ptr<Scene> scene, const std::span<const char> payload) {
    typedef Utils::Result<std::unique_ptr<Scene>> R;
    Utils::Result<std::vector<SceneSection>> sections = listSceneSections(payload);
    if(!sections) return R::fail(sections.error());

    Utils::Result<std::unique_ptr<SceneGraph>> graph = SceneGraph::adopt(std::vector<char>((*sections)[0].block.begin(), (*sections)[0].block.end()));
    if(!graph) return R::fail(graph.error());
    scene->_graph = std::move(*graph);
    SceneGraph& g = *scene->_graph;

    for(std::size_t i = 1; i != sections->size(); ++i) {
        const SceneSection& section = (*sections)[i];
        const std::string where = "scene section " + std::to_string(i) + " (" + std::string{section.type} + ")";
        if(section.slot >= g.managerCount())
            return R::fail(where + ": slot " + std::to_string(section.slot) + " of " + std::to_string(g.managerCount()));
        if(g.componentManager(section.slot))
            return R::fail(where + ": slot " + std::to_string(section.slot) + " is taken twice");
        std::unique_ptr<ComponentManager> manager = makeManager(section.type);
        if(!manager) return R::fail(where + ": unknown manager type");
        std::vector<char> block(section.block.begin(), section.block.end());
        std::string reason = manager->adoptBlock(block);
        if(!reason.empty()) return R::fail(where + ": " + reason);
        if(AnimationManager* const animations = dynamic_cast<AnimationManager*>(manager.get())) {
            for(const AssetChunkEntry& chunk: scene->_chunks) if(chunk.magic == Magic::Animation) {
                const AnimationData record{std::span<const char>{scene->_data}.subspan(chunk.offset + 8, chunk.size)};
                if(!animations->addAnimation(record))
                    return R::fail("animation record at offset " + std::to_string(chunk.offset) + " does not build");
            }
        }
        reason = manager->loadExternalState(section.external);
        if(!reason.empty()) return R::fail(where + ": " + reason);
        g.setComponentManager(section.slot, {}, manager.get());
        scene->_managers.push_back(std::move(manager));
    }

    /* Every listed component lives in the manager of its slot and is owned by the listing
       object; every live component is listed exactly once */
    std::vector<std::vector<bool>> listed(g.managerCount());
    for(std::uint16_t slot = 0; slot != g.managerCount(); ++slot)
        if(const ComponentManager* const m = g.componentManager(slot)) listed[slot].resize(m->capacity());
    for(SceneGraph::IndexType index = 0; index != g.size(); ++index) {
        const Id object = g.idOf(index);
        const std::span<const Id> ids = g.componentIds(object);
        const std::span<const std::uint8_t> slots = g.componentManagerIndices(object);
        for(std::size_t k = 0; k != ids.size(); ++k) {
            const ComponentManager* const m = g.componentManager(slots[k]);
            const std::string what = "component " + std::to_string(ids[k].value) + " of slot " + std::to_string(slots[k]) + " listed by object " + std::to_string(object.value);
            if(!m) return R::fail(what + " has no manager");
            if(!m->isAlive(ids[k])) return R::fail(what + " is not alive");
            if(m->owner(m->indexOf(ids[k])) != object) return R::fail(what + " belongs to object " + std::to_string(m->owner(m->indexOf(ids[k])).value));
            if(listed[slots[k]][ids[k]]) return R::fail(what + " is listed twice");
            listed[slots[k]][ids[k]] = true;
        }
    }
    for(std::uint16_t slot = 0; slot != g.managerCount(); ++slot) {
        const ComponentManager* const m = g.componentManager(slot);
        if(!m) continue;
        for(SparseArray::IndexType index = 0; index != m->size(); ++index)
            if(!listed[slot][m->idOf(index)])
                return R::fail("component " + std::to_string(m->idOf(index).value) + " of slot " + std::to_string(slot) + " is not listed by its owner");
    }

    if(get<std::uint16_t>(payload, 6) & FlagActive) g.activate();
    return R{std::move(scene)};
}

}}
