#include "QuillmarshEngine/Shaders/ShaderTypes.h"

namespace QuillmarshEngine { namespace Shaders {

Debug& operator<<(Debug& debug, ShaderStage value) {
    switch(value) {
        case ShaderStage::Vertex: return Implementation::printEnumValue(debug, "Shaders::ShaderStage", "Vertex");
        case ShaderStage::Fragment: return Implementation::printEnumValue(debug, "Shaders::ShaderStage", "Fragment");
        case ShaderStage::Compute: return Implementation::printEnumValue(debug, "Shaders::ShaderStage", "Compute");
        case ShaderStage::Geometry: return Implementation::printEnumValue(debug, "Shaders::ShaderStage", "Geometry");
        case ShaderStage::TessellationControl: return Implementation::printEnumValue(debug, "Shaders::ShaderStage", "TessellationControl");
        case ShaderStage::TessellationEvaluation: return Implementation::printEnumValue(debug, "Shaders::ShaderStage", "TessellationEvaluation");
    }
    return Implementation::printUnknownEnum(debug, "Shaders::ShaderStage", std::uint8_t(value));
}

Debug& operator<<(Debug& debug, ShaderType value) {
    switch(value) {
        case ShaderType::Glsl: return Implementation::printEnumValue(debug, "Shaders::ShaderType", "Glsl");
        case ShaderType::GlslEs: return Implementation::printEnumValue(debug, "Shaders::ShaderType", "GlslEs");
        case ShaderType::SpirV: return Implementation::printEnumValue(debug, "Shaders::ShaderType", "SpirV");
    }
    return Implementation::printUnknownEnum(debug, "Shaders::ShaderType", std::uint8_t(value));
}

Debug& operator<<(Debug& debug, ShaderProgramFlag value) {
    const char* name = nullptr;
    switch(value) {
        case ShaderProgramFlag::Skinning: name = "Skinning"; break;
        case ShaderProgramFlag::Morphing: name = "Morphing"; break;
        case ShaderProgramFlag::Instancing: name = "Instancing"; break;
        case ShaderProgramFlag::VertexColors: name = "VertexColors"; break;
        case ShaderProgramFlag::Textured: name = "Textured"; break;
        case ShaderProgramFlag::Lit: name = "Lit"; break;
        case ShaderProgramFlag::Shadows: name = "Shadows"; break;
        case ShaderProgramFlag::AlphaMask: name = "AlphaMask"; break;
        case ShaderProgramFlag::Text: name = "Text"; break;
        case ShaderProgramFlag::Multiview: name = "Multiview"; break;
    }
    if(name) return Implementation::printEnumValue(debug, "Shaders::ShaderProgramFlag", name);
    return Implementation::printUnknownEnum(debug, "Shaders::ShaderProgramFlag", std::uint16_t(value));
}

Debug& operator<<(Debug& debug, ShaderProgramFlags value) {
    return Implementation::enumSetDebugOutput(debug, value, "Shaders::ShaderProgramFlags{}", {
        ShaderProgramFlag::Skinning, ShaderProgramFlag::Morphing, ShaderProgramFlag::Instancing,
        ShaderProgramFlag::VertexColors, ShaderProgramFlag::Textured, ShaderProgramFlag::Lit,
        ShaderProgramFlag::Shadows, ShaderProgramFlag::AlphaMask, ShaderProgramFlag::Text,
        ShaderProgramFlag::Multiview});
}

Debug& operator<<(Debug& debug, AlphaMode value) {
    switch(value) {
        case AlphaMode::Opaque: return Implementation::printEnumValue(debug, "Shaders::AlphaMode", "Opaque");
        case AlphaMode::Mask: return Implementation::printEnumValue(debug, "Shaders::AlphaMode", "Mask");
        case AlphaMode::Blend: return Implementation::printEnumValue(debug, "Shaders::AlphaMode", "Blend");
    }
    return Implementation::printUnknownEnum(debug, "Shaders::AlphaMode", std::uint32_t(value));
}

}}
