#include "QuillmarshEngine/Animation/Interpolation.h"

namespace QuillmarshEngine { namespace Animation {

Debug& operator<<(Debug& debug, const Interpolation value) {
    switch(value) {
        case Interpolation::Constant: return Implementation::printEnumValue(debug, "Animation::Interpolation", "Constant");
        case Interpolation::Linear: return Implementation::printEnumValue(debug, "Animation::Interpolation", "Linear");
        case Interpolation::Spline: return Implementation::printEnumValue(debug, "Animation::Interpolation", "Spline");
        case Interpolation::Custom: return Implementation::printEnumValue(debug, "Animation::Interpolation", "Custom");
    }
    return Implementation::printUnknownEnum(debug, "Animation::Interpolation", std::uint8_t(value));
}

}}
