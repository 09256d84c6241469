/* Loading scenes from outside: Scene::load() and Scene::loadRecord() must refuse every broken
   file or record with a reason, and whatever they accept must run frames and survive edits with
   the scene graph's invariants intact. An input starting with the header tag is a data file,
   anything else the payload of one scene record. */

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "QuillmarshEngine/Data/ComponentManager.h"
#include "QuillmarshEngine/Data/LightManager.h"
#include "QuillmarshEngine/Data/Scene.h"
#include "QuillmarshEngine/Data/ViewManager.h"
#include "QuillmarshEngine/Debug.h"

using namespace QuillmarshEngine;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Debug silence{nullptr};
    Warning silenceWarnings{nullptr};
    std::vector<char> bytes(size);
    if(size) std::memcpy(bytes.data(), data, size);
    const bool isFile = size >= 4 && std::memcmp(data, "QMEV", 4) == 0;
    auto result = isFile ? Data::Scene::load(std::move(bytes)) : Data::Scene::loadRecord(bytes);
    if(!result) return 0;
    Data::Scene& scene = *result.value();
    Data::SceneGraph& graph = scene.sceneGraph();

    /* Two frames the way a host runs them, shadows included when there is a view */
    if(!graph.activated()) graph.activate();
    for(int frame = 0; frame != 2; ++frame) {
        graph.computeAbsoluteTransformations();
        for(std::uint16_t slot = 0; slot != graph.managerCount(); ++slot)
            if(Data::ComponentManager* const manager = graph.componentManager(slot)) manager->update(0.25);
        Data::LightManager* const lights = scene.manager<Data::LightManager>();
        Data::ViewManager* const views = scene.manager<Data::ViewManager>();
        if(lights && views && views->size())
            lights->setupShadows(graph, *views, views->idOf(0), 4);
    }

    /* Edits: delete a subtree with its components, add an object with a component */
    if(graph.size() > 1) graph.deleteObjects(graph.idOf(Data::SparseArray::IndexType(graph.size() - 1)));
    if(graph.size() < 0xfff0) {
        const Data::Id object = graph.addObject(0);
        for(std::uint16_t slot = 0; slot != graph.managerCount(); ++slot)
            if(Data::ComponentManager* const manager = graph.componentManager(slot)) {
                if(manager->size() < 0xfff0) manager->addComponent(object);
                break;
            }
    }
    graph.computeAbsoluteTransformations();
    if(!graph.checkInvariants().empty()) __builtin_trap();
    return 0;
}
