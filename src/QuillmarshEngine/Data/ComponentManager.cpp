#include "QuillmarshEngine/Data/ComponentManager.h"

#include <cstring>
#include <vector>

#include "QuillmarshEngine/Assert.h"
#include "QuillmarshEngine/Data/SceneGraph.h"

namespace QuillmarshEngine { namespace Data {

ComponentManager::ComponentManager(const std::uint32_t headerTailSize): SparseArrayActive{headerTailSize} {}

std::string ComponentManager::checkAdoptedBlock() const {
    if(activeCount() > size())
        return "active count " + std::to_string(activeCount()) + " exceeds the size " + std::to_string(size());
    return {};
}

void ComponentManager::saveExternalState(std::vector<char>&) const {}

std::string ComponentManager::loadExternalState(const std::span<const char> data) {
    if(!data.empty()) return "unexpected " + std::to_string(data.size()) + " bytes of external state";
    return {};
}

ComponentManager::~ComponentManager() {
    if(_sceneGraph) {
        _sceneGraph->deleteComponents(std::uint8_t(_managerIndex));
        _sceneGraph->setComponentManager(_managerIndex, {}, nullptr);
    }
}

void ComponentManager::allocate(const IndexType capacity) {
    SparseArray::allocate(capacity);
}

void ComponentManager::update(const double dt) {
    requireSceneGraph("ComponentManager::update()");
    /* The scene graph drives its managers only while it is active; updating a manager of an
       inactive scene is a host bug, reported like the library's own invariants */
    QUILLMARSH_INTERNAL_ASSERT_AT_LINE(_sceneGraph->activated(), 30);
    _lastTimeStep = dt;
    _accumulatedTime += dt;
    preUpdate();
    doUpdate();
    postUpdate();
}

void ComponentManager::attach(SceneGraph* const sceneGraph, const std::uint8_t index) {
    _sceneGraph = sceneGraph;
    _managerIndex = index;
}

void ComponentManager::requireSceneGraph(const char* const function) const {
    QUILLMARSH_ASSERT(_sceneGraph,
        function << Debug::nospace << ": the manager is not registered with a scene graph", );
}

ComponentManager::IndexType ComponentManager::aliveIndex(const Id component, const char* const function) const {
    QUILLMARSH_ASSERT(isAlive(component),
        function << Debug::nospace << ": component" << component << "is not alive", {});
    return indexOf(component);
}

void ComponentManager::init() {
    SparseArray::init();
    /* The first column of every manager layout is the owner column, the first region after the
       header and both tables */
    const IndexType cap = capacity();
    if(partition().usedRegionCount() > 3) {
        QUILLMARSH_ASSERT(partition().regionAt(3).size == SparseLayer<Id>::blockSize(cap),
            "ComponentManager::init(): the first column of the layout is not the owner column", );
        _owners = partition().region<Id>(3, block()).first(cap);
    } else {
        QUILLMARSH_ASSERT(cap == 0,
            "ComponentManager::init(): the layout has no owner column", );
        _owners = {};
    }
}

std::uint32_t ComponentManager::flags() const { return 0; }

void ComponentManager::preUpdate() {}

void ComponentManager::postUpdate() {}

void ComponentManager::doUpdate() {
    const IndexType active = activeCount();
    for(IndexType i = 0; i != active; ++i) updateComponent(i);
}

void ComponentManager::activateInScene(const Utils::IndexRange range) {
    if(!(flags() & FlagInSceneHooks)) return;
    for(std::uint32_t i = range.begin; i < range.end; ++i) doActivateInScene(IndexType(i));
}

void ComponentManager::deactivateInScene(const Utils::IndexRange range) {
    if(!(flags() & FlagInSceneHooks)) return;
    for(std::uint32_t i = range.begin; i < range.end; ++i) doDeactivateInScene(IndexType(i));
}

void ComponentManager::doActivateInScene(IndexType) {}

void ComponentManager::doDeactivateInScene(IndexType) {}

Id ComponentManager::addComponent(const Id object) {
    requireSceneGraph("ComponentManager::addComponent()");
    const SceneGraph& sceneGraph = *_sceneGraph;
    QUILLMARSH_ASSERT(IndexType(object) < sceneGraph.capacity() && sceneGraph.indexOf(object) < sceneGraph.size() && sceneGraph.idOf(sceneGraph.indexOf(object)) == object,
        "ComponentManager::addComponent(): object" << object << "is not alive", {});
    const Id component = add();
    _owners[indexOf(component)] = object;
    _sceneGraph->addComponent(object, std::uint8_t(_managerIndex), component);
    return component;
}

void ComponentManager::deleteComponent(IndexType index) {
    QUILLMARSH_ASSERT(index < size(),
        "ComponentManager::deleteComponent(): index" << index << "out of range for" << size() << "components", );
    if(index < activeCount()) index = deactivate(index);
    remove(index);
}

void ComponentManager::append(const ComponentManager& other, const IndexType objectIndexOffset) {
    QUILLMARSH_ASSERT(std::strcmp(name(), other.name()) == 0,
        "ComponentManager::append(): Cannot append component from manager of different type", );
    requireSceneGraph("ComponentManager::append()");
    other.requireSceneGraph("ComponentManager::append()");
    QUILLMARSH_ASSERT(&other != this,
        "ComponentManager::append(): cannot append a manager to itself", );

    const IndexType oldSize = size();
    const IndexType count = other.size();
    /* Translate every owner before touching this manager: the other graph's index of the
       owner, shifted to where those objects now lie here */
    std::vector<Id> owners(count);
    const SceneGraph& otherGraph = *other._sceneGraph;
    const SceneGraph& graph = *_sceneGraph;
    for(IndexType k = 0; k != count; ++k) {
        /* The other root is not appended as an object; its components go to this root */
        const IndexType otherIndex = otherGraph.indexOf(other._owners[k]);
        const std::uint32_t index = otherIndex ? std::uint32_t(otherIndex) + objectIndexOffset : 0;
        QUILLMARSH_ASSERT(index < graph.size(),
            "ComponentManager::append(): owner" << other._owners[k] << "maps to index" << index << "beyond the" << graph.size() << "objects of the scene graph", );
        owners[k] = graph.idOf(IndexType(index));
    }

    SparseArray::append(other, false);
    /* The layout appends the owner column verbatim, so the translated owners are written after
       it */
    if(_layout) _layout->doAppend(other);
    setSize(IndexType(oldSize + count));
    std::vector<Id> activated;
    activated.reserve(other.activeCount());
    for(IndexType k = 0; k != count; ++k) {
        const IndexType index = IndexType(oldSize + k);
        _owners[index] = owners[k];
        if(k < other.activeCount()) activated.push_back(idOf(index));
    }
    for(IndexType k = 0; k != count; ++k)
        _sceneGraph->addComponent(owners[k], std::uint8_t(_managerIndex), idOf(IndexType(oldSize + k)));
    for(const Id id: activated) activate(indexOf(id));
}

Id ComponentManager::cloneComponent(const Id component, const Id object) {
    QUILLMARSH_ASSERT(isAlive(component),
        "ComponentManager::cloneComponent(): component" << component << "is not alive", {});
    const Id clone = addComponent(object);
    copy(indexOf(component), indexOf(clone));
    if(isActive(indexOf(component))) activate(indexOf(clone));
    return clone;
}

}}
