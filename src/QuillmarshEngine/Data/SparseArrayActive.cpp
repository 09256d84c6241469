#include "QuillmarshEngine/Data/SparseArrayActive.h"

#include "QuillmarshEngine/Assert.h"

namespace QuillmarshEngine { namespace Data {

SparseArrayActive::SparseArrayActive(const std::uint32_t headerTailSize): SparseArray{HeaderTailSize + headerTailSize} {}

SparseArrayActive::~SparseArrayActive() = default;

SparseArray::IndexType SparseArrayActive::activate(const IndexType index) {
    const IndexType active = activeCount();
    if(index < active) return index;
    QUILLMARSH_ASSERT(index < size(),
        "SparseArrayActive::activate(): index" << index << "out of range for" << size() << "elements", {});
    setActiveCount(IndexType(active + 1));
    swap(index, active);
    doActivate(active);
    return active;
}

SparseArray::IndexType SparseArrayActive::deactivate(const IndexType index) {
    const IndexType active = activeCount();
    if(index >= active) {
        QUILLMARSH_ASSERT(index < size(),
            "SparseArrayActive::deactivate(): index" << index << "out of range for" << size() << "elements", {});
        return active;
    }
    const IndexType last = IndexType(active - 1);
    setActiveCount(last);
    swap(index, last);
    doDeactivate(last);
    return last;
}

void SparseArrayActive::activate(const Utils::IndexRange range) {
    for(std::uint32_t i = range.begin; i < range.end; ++i) activate(IndexType(i));
}

void SparseArrayActive::deactivate(const Utils::IndexRange range) {
    /* From the last index down: each deactivation swaps with the last active element, which
       in increasing order could be a not-yet-visited element of the range that then moves
       behind the loop and stays active */
    for(std::uint32_t i = range.end; i-- > range.begin; ) deactivate(IndexType(i));
}

void SparseArrayActive::doActivate(IndexType) {}

void SparseArrayActive::doDeactivate(IndexType) {}

}}
