#include "QuillmarshEngine/Data/NameManager.h"

#include "QuillmarshEngine/Data/Implementation/StateStream.h"

#include "QuillmarshEngine/Assert.h"
#include "QuillmarshEngine/Data/SceneGraph.h"

namespace QuillmarshEngine { namespace Data {

NameManager::NameManager(const IndexType capacity): ComponentManager{0}, _layout{*this} {
    setLayout(&_layout);
    allocate(capacity);
}

NameManager::~NameManager() = default;

const char* NameManager::name() const { return "name"; }

void NameManager::doUpdate() {}

void NameManager::updateComponent(IndexType) {}

void NameManager::layerInit() {
    /* Names are kept per id; growth only adds empty ones */
    if(_names.size() < capacity()) _names.resize(capacity());
}

void NameManager::layerCopy(const IndexType from, const IndexType to) {
    _names[idOf(to)] = _names[idOf(from)];
}

void NameManager::layerAppend(const NameManager& other) {
    const IndexType at = size();
    for(IndexType k = 0; k != other.size(); ++k)
        _names[idOf(IndexType(at + k))] = other._names[other.idOf(k)];
}

void NameManager::layerDestroy(const IndexType index) {
    std::string{}.swap(_names[idOf(index)]);
}

std::optional<Id> NameManager::nameComponent(const Id object) const {
    const SceneGraph* const graph = sceneGraph();
    if(!graph || IndexType(object) >= graph->capacity()) return {};
    const std::span<const Id> ids = graph->componentIds(object);
    const std::span<const std::uint8_t> managers = graph->componentManagerIndices(object);
    for(std::size_t i = 0; i != ids.size(); ++i)
        if(managers[i] == managerIndex()) return ids[i];
    return {};
}

Id NameManager::setObjectName(const Id object, const std::string_view name) {
    std::optional<Id> component = nameComponent(object);
    if(!component) {
        component = addComponent(object);
        activate(indexOf(*component));
    }
    _names[*component] = name;
    return *component;
}

std::string_view NameManager::objectName(const Id object) const {
    const std::optional<Id> component = nameComponent(object);
    return component ? std::string_view{_names[*component]} : std::string_view{};
}

bool NameManager::removeObjectName(const Id object) {
    const std::optional<Id> component = nameComponent(object);
    if(!component) return false;
    sceneGraph()->deleteComponent(object, std::uint8_t(managerIndex()), *component);
    return true;
}

std::optional<Id> NameManager::findObject(const std::string_view name) const {
    for(IndexType i = 0; i != size(); ++i)
        if(_names[idOf(i)] == name) return owner(i);
    return {};
}


void NameManager::saveExternalState(std::vector<char>& out) const {
    Implementation::StateWriter writer{out};
    for(IndexType i = 0; i != size(); ++i) writer.putString(_names[idOf(i)]);
}

std::string NameManager::loadExternalState(const std::span<const char> data) {
    std::vector<std::string> names;
    if(!Implementation::readStrings(data, size(), names)) return "names do not fill the external state exactly";
    for(IndexType i = 0; i != size(); ++i) {
        _names[idOf(i)] = std::move(names[i]);
    }
    return {};
}

}}
