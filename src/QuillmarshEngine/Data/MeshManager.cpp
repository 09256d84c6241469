#include "QuillmarshEngine/Data/MeshManager.h"

#include "QuillmarshEngine/Data/Implementation/StateStream.h"

#include <algorithm>
#include <cstring>

#include "QuillmarshEngine/Assert.h"
#include "QuillmarshEngine/Data/SceneGraph.h"

namespace QuillmarshEngine { namespace Data {

namespace {
    /* Ranges are 16-bit, so a slice can neither start nor end past this */
    constexpr std::uint32_t MaxWeights = 0xffffu;
}

MeshManager::MeshManager(const IndexType capacity, const std::uint16_t groupCapacity): GroupedComponentManager{HeaderTailSize, groupCapacity, 2}, _layout{*this} {
    setLayout(&_layout);
    allocate(capacity);
}

MeshManager::MeshManager(std::vector<char>&& data): GroupedComponentManager{HeaderTailSize, 1, 2}, _layout{*this} {
    setLayout(&_layout);
    create(std::move(data));
}

MeshManager::~MeshManager() = default;

const char* MeshManager::name() const { return "mesh"; }

std::uint32_t MeshManager::morphTargetWeightsInUse() const {
    std::uint32_t value;
    std::memcpy(&value, managerHeaderTail(), 4);
    return value;
}

std::uint32_t MeshManager::morphTargetWeightsCapacity() const {
    std::uint32_t value;
    std::memcpy(&value, managerHeaderTail() + 4, 4);
    return value;
}

void MeshManager::setCounter(const std::size_t which, const std::uint32_t value) {
    std::memcpy(managerHeaderTail() + 4*which, &value, 4);
}

std::size_t MeshManager::layerSize(IndexType) const {
    return std::size_t{morphTargetWeightsCapacity()}*sizeof(float);
}

void MeshManager::layerInit() {
    Utils::MemoryPartition& partition = mutablePartition();
    const std::size_t index = partition.usedRegionCount();
    partition.reserveRegions(1);
    partition.addRegion<float>(morphTargetWeightsCapacity(), true);
    _weights = partition.region<float>(index, block(), true);
    /* Rebuilt with every growth of the block: bits nobody has cleared yet are kept, and the set
       never shrinks below meshes already marked */
    _dirtyMeshes.resize(std::max<std::size_t>(_dirtyMeshes.bitCount(), capacity()));
}

void MeshManager::updateComponent(IndexType) {}

void MeshManager::doUpdate() {
    const SceneGraph* const graph = sceneGraph();
    QUILLMARSH_ASSERT(graph, "MeshManager::doUpdate(): the manager is not registered with a scene graph", );
    const std::span<const std::uint16_t> objectIndex = graph->indirection();
    const std::span<const DualQuaternion> world = graph->worldTransformations();
    const std::span<const Vector3> worldScaling = graph->worldScalings();
    const std::span<const Id> owner = owners();
    const std::span<const std::uint16_t> material = materials();
    const std::span<const std::uint16_t> skin = skins();
    const std::span<DualQuaternion> transform = _layout.get<7>().view();
    const std::span<ScalingPadded> scaling = _layout.get<8>().view();
    const std::span<const std::uint16_t> offsets = _grouped.groupOffsets();
    const std::uint32_t slots = _grouped.slotCount();
    const std::uint16_t subgroups = _grouped.subGroupsCount();

    /* The slots tile the active part [0, active count) exactly, so the value lane is written in
       the same pass: every active component is visited once, after its copy */
    for(std::uint32_t slot = 0; slot != slots; ++slot) {
        const IndexType begin = offsets[slot];
        const IndexType end = offsets[slot + 1];
        if(slot % subgroups == 1) {
            for(IndexType i = begin; i < end; ++i) {
                if(skin[i]) {
                    /* A skinned instance is placed by its joints alone */
                    transform[i] = DualQuaternion{};
                    scaling[i].scaling = Vector3{1.0f, 1.0f, 1.0f};
                } else {
                    const IndexType o = objectIndex[owner[i]];
                    transform[i] = world[o];
                    scaling[i].scaling = worldScaling[o];
                }
                scaling[i].value = float(material[i]);
            }
        } else {
            for(IndexType i = begin; i < end; ++i) {
                const IndexType o = objectIndex[owner[i]];
                transform[i] = world[o];
                scaling[i].scaling = worldScaling[o];
                scaling[i].value = float(material[i]);
            }
        }
    }
}

void MeshManager::setMorphTargetWeightsCount(const IndexType index, const std::size_t count) {
    QUILLMARSH_ASSERT(index < size(),
        "MeshManager::setMorphTargetWeightsCount(): index" << index << "out of range for" << size() << "components", );
    resizeWeights(index, count);
}

void MeshManager::resizeWeights(const IndexType index, const std::size_t count) {
    const Range1Dus range = morphTargetWeights()[index];
    const std::uint32_t begin = range.min();
    const std::uint32_t end = range.max();
    const std::int64_t delta = std::int64_t(std::min<std::size_t>(count, MaxWeights + 1)) - std::int64_t(end - begin);
    if(!delta) return;

    const std::uint32_t oldUsed = morphTargetWeightsInUse();
    const std::int64_t used = std::int64_t(oldUsed) + delta;
    /* A slice past 65535 would wrap its 16-bit range onto other slices */
    QUILLMARSH_ASSERT(used <= std::int64_t{MaxWeights},
        "MeshManager::setMorphTargetWeightsCount():" << std::uint64_t(oldUsed - (end - begin)) + count << "weights in use exceed the" << MaxWeights << "a pool can address", );
    setCounter(0, std::uint32_t(used));

    if(delta > 0) {
        if(std::uint32_t(used) > morphTargetWeightsCapacity()) {
            /* Exactly what is needed: weight counts change when meshes are assigned, and every
               growth reallocates the whole block anyway */
            setCounter(1, std::uint32_t(used));
            allocate(capacity());
        }
        if(begin == end) {
            _layout.get<6>()[index] = Range1Dus{std::uint16_t(oldUsed), std::uint16_t(oldUsed + count)};
            return;
        }
        float* const pool = _weights.data();
        std::memmove(pool + end + delta, pool + end, (oldUsed - end)*sizeof(float));
        std::fill(pool + end, pool + end + delta, 0.0f);
    } else {
        float* const pool = _weights.data();
        std::memmove(pool + end + delta, pool + end, (oldUsed - end)*sizeof(float));
    }

    /* Every slot that holds no live component has the empty range (0, 0), which never lies
       behind a slice, so all slots can be walked without looking at liveness */
    const std::span<Range1Dus> ranges = _layout.get<6>().view();
    for(Range1Dus& r: ranges) {
        if(r.min() <= begin) continue;
        r.min() = std::uint16_t(r.min() + delta);
        r.max() = std::uint16_t(r.max() + delta);
    }
    ranges[index] = count ? Range1Dus{std::uint16_t(begin), std::uint16_t(end + delta)} : Range1Dus{};
}

void MeshManager::setMorphTargetWeights(const IndexType index, const std::span<const float> weights) {
    setMorphTargetWeightsCount(index, weights.size());
    if(!weights.empty())
        std::memcpy(_weights.data() + morphTargetWeights()[index].min(), weights.data(), weights.size_bytes());
}

void MeshManager::markMeshDirty(const std::uint16_t mesh) {
    if(mesh >= _dirtyMeshes.bitCount()) _dirtyMeshes.resize(std::size_t{mesh} + 1);
    _dirtyMeshes.set(mesh);
    _grouped.markAllGroupsChanged();
}

Matrix4 MeshManager::absoluteTransformationAsMatrix(const IndexType index) const {
    QUILLMARSH_ASSERT(index < size(),
        "MeshManager::absoluteTransformationAsMatrix(): index" << index << "out of range for" << size() << "components", {});
    const DualQuaternion& transform = transforms()[index];
    const Vector3& scaling = scalings()[index].scaling;
    const Matrix3x3 rotation = transform.real().toMatrix();
    return {{rotation[0]*scaling.x(), 0.0f}, {rotation[1]*scaling.y(), 0.0f}, {rotation[2]*scaling.z(), 0.0f},
            {transform.translation(), 1.0f}};
}

void MeshManager::layerCopy(const IndexType from, const IndexType to) {
    const Range1Dus source = morphTargetWeights()[from];
    const std::size_t count = source.max() - source.min();
    resizeWeights(to, count);
    /* Resizing the target moves every slice behind it, the source's too: read it again */
    if(count) std::memmove(_weights.data() + morphTargetWeights()[to].min(),
        _weights.data() + morphTargetWeights()[from].min(), count*sizeof(float));
}

void MeshManager::layerDestroy(const IndexType index) {
    resizeWeights(index, 0);
}

void MeshManager::layerAppend(const MeshManager& other) {
    /* The appended components lie behind size() with empty ranges; each gets a fresh slice at
       the end of this pool rather than the other pool's offsets */
    const IndexType base = size();
    for(IndexType k = 0; k != other.size(); ++k) {
        const std::span<const float> weights = other.morphTargetWeightsOf(k);
        const IndexType index = IndexType(base + k);
        resizeWeights(index, weights.size());
        if(!weights.empty())
            std::memcpy(_weights.data() + morphTargetWeights()[index].min(), weights.data(), weights.size_bytes());
    }
}


std::string MeshManager::checkAdoptedBlock() const {
    std::string reason = GroupedComponentManager::checkAdoptedBlock();
    if(!reason.empty()) return reason;
    if(_grouped.subGroupsCount() != 2)
        return std::to_string(_grouped.subGroupsCount()) + " subgroups, a mesh manager has 2";
    const std::uint32_t inUse = morphTargetWeightsInUse();
    if(inUse > morphTargetWeightsCapacity() || inUse > 65535)
        return std::to_string(inUse) + " weights in use in a pool of " + std::to_string(morphTargetWeightsCapacity());
    /* The slices must tile [0, inUse) without overlapping: mark every weight once */
    std::vector<bool> taken(inUse);
    std::uint32_t covered = 0;
    for(IndexType i = 0; i != size(); ++i) {
        const Range1Dus r = morphTargetWeights()[i];
        if(r.min() > r.max() || r.max() > inUse)
            return "weight slice of the component at " + std::to_string(i) + " lies outside the " + std::to_string(inUse) + " weights in use";
        for(std::uint32_t w = r.min(); w != r.max(); ++w) {
            if(taken[w]) return "weight slices overlap at weight " + std::to_string(w);
            taken[w] = true;
        }
        covered += r.max() - r.min();
    }
    if(covered != inUse)
        return "weight slices cover " + std::to_string(covered) + " of the " + std::to_string(inUse) + " weights in use";
    return {};
}

void MeshManager::saveExternalState(std::vector<char>& out) const {
    Implementation::StateWriter writer{out};
    const Utils::BitSetView flags = const_cast<MeshManager&>(*this)._layout.get<10>().view();
    for(IndexType i = 0; i != size(); ++i) {
        writer.put(instanceValues()[i]);
        writer.put(std::uint8_t(flags[i]));
    }
}

std::string MeshManager::loadExternalState(const std::span<const char> data) {
    Implementation::StateReader reader{data};
    for(IndexType i = 0; i != size(); ++i) {
        const float value = reader.get<float>();
        const std::uint8_t flag = reader.get<std::uint8_t>();
        if(reader.failed) break;
        instanceValues()[i] = value;
        instanceFlags().set(i, flag != 0);
    }
    if(!reader.finished())
        return "instance values are not " + std::to_string(5*std::size_t{size()}) + " bytes";
    return {};
}

}}
