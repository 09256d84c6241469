/* Adopting scene-graph blocks from outside: SceneGraph::adopt() must refuse every broken block
   with a reason, and whatever it accepts must survive the ordinary operations with every
   invariant intact. */

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "QuillmarshEngine/Data/SceneGraph.h"
#include "QuillmarshEngine/Debug.h"

using namespace QuillmarshEngine;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Debug silence{nullptr};
    Warning silenceWarnings{nullptr};
    std::vector<char> block(size);
    if(size) std::memcpy(block.data(), data, size);
    auto result = Data::SceneGraph::adopt(std::move(block));
    if(!result) return 0;
    Data::SceneGraph& graph = *result.value();
    graph.computeAbsoluteTransformations();
    if(graph.size() > 1) {
        const Data::Id last = graph.idOf(Data::SparseArray::IndexType(graph.size() - 1));
        graph.reparent(last, 0);
        graph.deleteObjects(graph.idOf(1));
    }
    if(graph.size() < 0xffff) graph.addObject(0);
    graph.computeAbsoluteTransformations();
    if(!graph.checkInvariants().empty()) __builtin_trap();
    return 0;
}
