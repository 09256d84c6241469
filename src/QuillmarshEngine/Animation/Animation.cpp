#include "QuillmarshEngine/Animation/Animation.h"

namespace QuillmarshEngine { namespace Animation {

namespace {

template<class V> std::size_t keyBytes(const AnimationKeys<V>& keys) {
    return keys.size()*(sizeof(float) + sizeof(std::uint16_t) + sizeof(V));
}

}

Animation::Animation() = default;
Animation::Animation(Animation&&) noexcept = default;
Animation& Animation::operator=(Animation&&) noexcept = default;
Animation::~Animation() = default;

std::size_t Animation::size() const {
    return sizeof(Animation) + _name.size() + keyBytes(_translations) + keyBytes(_rotations) + keyBytes(_scales);
}

}}
