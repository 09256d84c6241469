#include "QuillmarshEngine/Data/SkinData.h"

#include <cstring>

#include "QuillmarshEngine/Assert.h"
#include "QuillmarshEngine/Data/Implementation/RecordBytes.h"
#include "QuillmarshEngine/Math/DualQuaternion.h"

namespace QuillmarshEngine { namespace Data {

using namespace Implementation;

std::vector<char> createSkinData(std::span<const DualQuaternion> transforms, std::span<const Vector3> scalings, std::span<const Id> joints) {
    QUILLMARSH_ASSERT(transforms.size() == joints.size() && scalings.size() == joints.size(),
        "createSkinData(): expected lists of the same length, got" << transforms.size() << "transforms," << scalings.size() << "scalings and" << joints.size() << "joints", {});
    const std::size_t n = joints.size();
    std::vector<char> out(4 + 46*n, '\0');
    writeU32(out.data(), std::uint32_t(n));
    if(n) {
        /* Real part x, y, z, w, then dual part x, y, z, w: the math types' own layout */
        static_assert(sizeof(DualQuaternion) == 32 && sizeof(Vector3) == 12, "skin records copy the math types as they are");
        std::memcpy(out.data() + 4, transforms.data(), 32*n);
        std::memcpy(out.data() + 4 + 32*n, scalings.data(), 12*n);
        std::memcpy(out.data() + 4 + 44*n, joints.data(), 2*n);
    }
    return out;
}

}}
