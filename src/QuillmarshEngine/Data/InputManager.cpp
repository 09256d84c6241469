#include "QuillmarshEngine/Data/InputManager.h"

#include <algorithm>

#include "QuillmarshEngine/Assert.h"
#include "QuillmarshEngine/Data/SceneGraph.h"

namespace QuillmarshEngine { namespace Data {

Debug& operator<<(Debug& debug, const InputType value) {
    switch(value) {
        case InputType::Head: return QuillmarshEngine::Implementation::printEnumValue(debug, "InputType", "Head");
        case InputType::EyeLeft: return QuillmarshEngine::Implementation::printEnumValue(debug, "InputType", "EyeLeft");
        case InputType::EyeRight: return QuillmarshEngine::Implementation::printEnumValue(debug, "InputType", "EyeRight");
        case InputType::ControllerLeft: return QuillmarshEngine::Implementation::printEnumValue(debug, "InputType", "ControllerLeft");
        case InputType::ControllerRight: return QuillmarshEngine::Implementation::printEnumValue(debug, "InputType", "ControllerRight");
        case InputType::RayLeft: return QuillmarshEngine::Implementation::printEnumValue(debug, "InputType", "RayLeft");
        case InputType::RayRight: return QuillmarshEngine::Implementation::printEnumValue(debug, "InputType", "RayRight");
    }
    return QuillmarshEngine::Implementation::printUnknownEnum(debug, "InputType", std::uint8_t(value));
}

/* The poses sit in the header tail, which starts 4-byte aligned (16-byte header, 4 bytes of the
   base), the alignment of the floats they are made of */
static_assert(sizeof(DualQuaternion) == 32 && alignof(DualQuaternion) <= 4, "poses are stored as 8 floats in the block");

InputManager::InputManager(const IndexType capacity): ComponentManager{PoseCount*sizeof(DualQuaternion)}, _layout{*this} {
    setLayout(&_layout);
    allocate(capacity);
    std::fill_n(mutablePoses(), PoseCount, DualQuaternion{});
}

InputManager::~InputManager() = default;

const char* InputManager::name() const { return "input"; }

DualQuaternion* InputManager::mutablePoses() {
    return reinterpret_cast<DualQuaternion*>(managerHeaderTail());
}

std::span<const DualQuaternion, InputManager::PoseCount> InputManager::poses() const {
    return std::span<const DualQuaternion, PoseCount>{reinterpret_cast<const DualQuaternion*>(managerHeaderTail()), PoseCount};
}

const DualQuaternion& InputManager::pose(const InputType type) const {
    QUILLMARSH_ASSERT(std::uint8_t(type) < PoseCount,
        "InputManager::pose(): invalid type" << type, poses()[0]);
    return poses()[std::uint8_t(type)];
}

void InputManager::setPose(const InputType type, const DualQuaternion& pose) {
    QUILLMARSH_ASSERT(std::uint8_t(type) < PoseCount,
        "InputManager::setPose(): invalid type" << type, );
    mutablePoses()[std::uint8_t(type)] = pose;
}

void InputManager::setPoses(const std::span<const DualQuaternion, PoseCount> poses) {
    std::copy(poses.begin(), poses.end(), mutablePoses());
}

void InputManager::setInputType(const IndexType index, const InputType type) {
    QUILLMARSH_ASSERT(index < size(),
        "InputManager::setInputType(): index" << index << "out of range for" << size() << "components", );
    _layout.get<1>()[index] = type;
}

void InputManager::doUpdate() {
    /* The same work as the base loop, without a virtual call per component */
    const IndexType active = activeCount();
    for(IndexType i = 0; i != active; ++i) InputManager::updateComponent(i);
}

void InputManager::updateComponent(const IndexType index) {
    const std::uint8_t type = std::uint8_t(_layout.get<1>()[index]);
    /* Only seven poses exist; an unknown type reads none of them */
    if(type >= PoseCount) return;
    SceneGraph& graph = *sceneGraph();
    const IndexType object = graph.indexOf(owner(index));
    graph.setLocalTransformation(object, poses()[type]);
    graph.setDirty(object);
}

}}
