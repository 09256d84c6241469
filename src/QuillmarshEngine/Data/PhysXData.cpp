#include "QuillmarshEngine/Data/PhysXData.h"

#include <cstring>

#include "QuillmarshEngine/Data/Implementation/RecordBytes.h"

namespace QuillmarshEngine { namespace Data {

std::vector<char> createPhysXData(PhysXData::Type type, std::uint16_t id, std::span<const char> data) {
    QUILLMARSH_ASSERT(std::uint32_t(type) <= 0xffff, "createPhysXData(): type" << std::uint32_t(type) << "does not fit 16 bits", {});
    std::vector<char> out(4 + data.size());
    Implementation::writeU32(out.data(), std::uint32_t(type) | (std::uint32_t(id) << 16));
    if(!data.empty()) std::memcpy(out.data() + 4, data.data(), data.size());
    return out;
}

std::vector<char> createFontData(std::span<const char> data) {
    return {data.begin(), data.end()};
}

Debug& operator<<(Debug& debug, PhysXData::Type value) {
    using QuillmarshEngine::Implementation::printEnumValue;
    switch(value) {
        case PhysXData::Type::Sphere: return printEnumValue(debug, "PhysXData::Type", "Sphere");
        case PhysXData::Type::Capsule: return printEnumValue(debug, "PhysXData::Type", "Capsule");
        case PhysXData::Type::Box: return printEnumValue(debug, "PhysXData::Type", "Box");
        case PhysXData::Type::Plane: return printEnumValue(debug, "PhysXData::Type", "Plane");
        case PhysXData::Type::ConvexMesh: return printEnumValue(debug, "PhysXData::Type", "ConvexMesh");
        case PhysXData::Type::TriangleMesh: return printEnumValue(debug, "PhysXData::Type", "TriangleMesh");
        case PhysXData::Type::HeightField: return printEnumValue(debug, "PhysXData::Type", "HeightField");
    }
    return QuillmarshEngine::Implementation::printUnknownEnum(debug, "PhysXData::Type", std::uint32_t(value));
}

}}
