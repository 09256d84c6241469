#include "QuillmarshEngine/Data/SceneGraph.h"

#include <algorithm>
#include <cstring>
#include <sstream>

#include "QuillmarshEngine/Assert.h"
#include "QuillmarshEngine/Data/ComponentManager.h"
#include "QuillmarshEngine/Data/Implementation/TransformSweep.h"
#include "QuillmarshEngine/Debug.h"

namespace QuillmarshEngine { namespace Data {

namespace {

/* Regions of the owner pseudo-column, after the header, both tables and the three block
   columns */
constexpr std::size_t ManagerNamesRegion = 6;

}

SceneGraph::SceneGraph(const IndexType objectCapacity, const std::uint16_t managerCount, const std::uint16_t componentCapacity): SparseArray{sizeof(Tail)}, _layout{*this} {
    QUILLMARSH_ASSERT(objectCapacity >= 1,
        "SceneGraph::SceneGraph(): object capacity has to be at least 1 for the root", );
    QUILLMARSH_ASSERT(managerCount <= 256,
        "SceneGraph::SceneGraph(): at most 256 component managers are supported, got" << managerCount, );
    /* New slots start with identity transformations and unit scalings */
    _layout.get<4>().setDefaultValue(Vector3{1.0f, 1.0f, 1.0f});
    _layout.get<6>().setDefaultValue(Vector3{1.0f, 1.0f, 1.0f});
    setLayout(&_layout);
    _managers.assign(managerCount, nullptr);
    tail() = Tail{managerCount, 0, componentCapacity, 0};
    allocate(objectCapacity);
    setSize(1);
    setInitializedCount(1);
}

SceneGraph::SceneGraph(std::vector<char>&& block): SparseArray{sizeof(Tail)}, _layout{*this} {
    QUILLMARSH_ASSERT(reinterpret_cast<std::uintptr_t>(block.data()) % 4 == 0,
        "SceneGraph::init(): scenegraph data is not 4 byte aligned.", );
    QUILLMARSH_ASSERT(block.size() >= sizeof(SparseArrayHeader) + sizeof(Tail),
        "SceneGraph::header(): Header not initialized.", );
    _layout.get<4>().setDefaultValue(Vector3{1.0f, 1.0f, 1.0f});
    _layout.get<6>().setDefaultValue(Vector3{1.0f, 1.0f, 1.0f});
    setLayout(&_layout);
    /* The data size of the layout depends on the tail, so take it over before the block */
    std::memcpy(headerTail(), block.data() + sizeof(SparseArrayHeader), sizeof(Tail));
    _managers.assign(tail().managerCount, nullptr);
    create(std::move(block));
    QUILLMARSH_ASSERT(size() >= 1 && idOf(0) == Id{0},
        "SceneGraph::addObjectUnsafe(): There should always be a scene root", );
    /* World transformations live outside the block; recompute them all on the next sweep */
    setFlagRange(_dirty, 1, size());
}

Utils::Result<std::unique_ptr<SceneGraph>> SceneGraph::adopt(std::vector<char>&& block) {
    typedef Utils::Result<std::unique_ptr<SceneGraph>> R;
    if(reinterpret_cast<std::uintptr_t>(block.data()) % 4 != 0)
        return R::fail("SceneGraph::adopt(): scenegraph data is not 4 byte aligned.");
    if(block.size() < sizeof(SparseArrayHeader) + sizeof(Tail))
        return R::fail("SceneGraph::adopt(): block of " + std::to_string(block.size()) + " bytes is too small for a header");
    SparseArrayHeader h;
    Tail t;
    std::memcpy(&h, block.data(), sizeof h);
    std::memcpy(&t, block.data() + sizeof h, sizeof t);
    if(h.headerSize != sizeof(SparseArrayHeader) + sizeof(Tail))
        return R::fail("SceneGraph::adopt(): header size " + std::to_string(h.headerSize) + " is not 24");
    if(h.size == 0 || h.size > h.initializedCount || h.initializedCount > h.capacity)
        return R::fail("SceneGraph::adopt(): inconsistent counts: size " + std::to_string(h.size) + ", initialized " + std::to_string(h.initializedCount) + ", capacity " + std::to_string(h.capacity));
    if(t.managerCount > 256)
        return R::fail("SceneGraph::adopt(): " + std::to_string(t.managerCount) + " manager slots, at most 256 are supported");
    /* Header, tables, the three block columns and the pseudo-column */
    const std::size_t cap = h.capacity;
    const std::size_t expected = 24 + 4*cap + 8*cap + 32*cap + 12*cap +
        ((2*cap + 5) & ~std::size_t{3}) + 12*std::size_t{t.managerCount} + 3*std::size_t{t.componentCapacity};
    if(h.totalSize != block.size() || expected != block.size())
        return R::fail("SceneGraph::adopt(): block of " + std::to_string(block.size()) + " bytes, its header says " + std::to_string(h.totalSize) + " and its counts need " + std::to_string(expected));
    Id root;
    std::memcpy(&root, block.data() + 24 + 2*cap, sizeof root);
    if(root != Id{0})
        return R::fail("SceneGraph::adopt(): the root is not at index 0");
    std::unique_ptr<SceneGraph> graph{new SceneGraph{std::move(block)}};
    std::string reason = graph->checkInvariants();
    if(!reason.empty()) return R::fail("SceneGraph::adopt(): " + reason);
    return R{std::move(graph)};
}

SceneGraph::~SceneGraph() {
    /* Managers outlive their scene graph without a dangling pointer to it */
    for(ComponentManager* const manager: _managers)
        if(manager) manager->attach(nullptr, 0);
}

SceneGraph::Tail& SceneGraph::tail() {
    QUILLMARSH_ASSERT(_data.size() >= sizeof(SparseArrayHeader) + sizeof(Tail),
        "SceneGraph::header(): Header not initialized.", *reinterpret_cast<Tail*>(headerTail()));
    return *reinterpret_cast<Tail*>(headerTail());
}

const SceneGraph::Tail& SceneGraph::tail() const {
    QUILLMARSH_ASSERT(_data.size() >= sizeof(SparseArrayHeader) + sizeof(Tail),
        "SceneGraph::header(): Header not initialized.", *reinterpret_cast<const Tail*>(headerTail()));
    return *reinterpret_cast<const Tail*>(headerTail());
}

std::uint16_t SceneGraph::managerCount() const { return tail().managerCount; }
std::uint16_t SceneGraph::componentCount() const { return tail().componentsInUse; }
std::uint16_t SceneGraph::componentCapacity() const { return tail().componentCapacity; }

std::size_t SceneGraph::layerSize(const IndexType capacity) const {
    const Tail& t = tail();
    return ((std::size_t{capacity}*2 + 5) & ~std::size_t{3}) + std::size_t{t.managerCount}*12 + std::size_t{t.componentCapacity}*3;
}

void SceneGraph::layerInit() {
    const Tail t = tail();
    const IndexType cap = capacity();
    Utils::MemoryPartition& partition = mutablePartition();
    const std::size_t first = partition.usedRegionCount();
    QUILLMARSH_INTERNAL_ASSERT(first == ManagerNamesRegion);
    partition.reserveRegions(4);
    partition
        .addRegion<char[12]>(t.managerCount, false)
        .addRegionBytes((std::uint64_t{cap}*2 + 5) & ~std::uint64_t{3})
        .addRegion<Id>(t.componentCapacity)
        .addRegion<std::uint8_t>(t.componentCapacity, false);
    _managerNames = partition.region<char[12]>(first, block(), false);
    _componentsOffsets = partition.region<std::uint16_t>(first + 1, block()).first(std::size_t{cap} + 1);
    _componentIds = partition.region<Id>(first + 2, block());
    _componentManagers = partition.region<std::uint8_t>(first + 3, block(), false);

    /* Views on the columns, which the layout has just bound */
    _objects = _layout.get<0>().view();
    _dirty = _layout.get<1>().view();
    _changed = _layout.get<2>().view();
    _local = _layout.get<3>().view();
    _localScaling = _layout.get<4>().view();
    _world = _layout.get<5>().view();
    _worldScaling = _layout.get<6>().view();

    Debug{} << "Create scenegraph with" << size() << "/" << capacity() << "objects," << std::uint32_t(_data.size()) << "bytes";
}

void SceneGraph::allocate(const IndexType newCapacity) {
    const IndexType oldCapacity = capacity();
    SparseArray::allocate(newCapacity);
    /* Growth zero-fills the new run starts, but the old last entry holds the end of the list:
       new ids have to start with empty runs at that end, or their first component would land
       inside another object's run */
    const std::uint16_t end = tail().componentsInUse;
    for(std::uint32_t i = std::uint32_t{oldCapacity} + 1; i <= newCapacity; ++i)
        _componentsOffsets[i] = end;
}

void SceneGraph::requireAlive(const Id id, const char* const function) const {
    QUILLMARSH_ASSERT(isAlive(id),
        "SceneGraph::" << Debug::nospace << function << Debug::nospace << "(): object" << id << "is not alive", );
}

/* Objects */

Id SceneGraph::addObjectUnsafe(const IndexType parentIndex) {
    QUILLMARSH_ASSERT(size() != 0,
        "SceneGraph::addObjectUnsafe(): There should always be a scene root", {});
    QUILLMARSH_ASSERT(size() < capacity(),
        "SceneGraph::addObjectUnsafe(): capacity exhausted", {});
    QUILLMARSH_ASSERT(parentIndex < size(),
        "SceneGraph::addObjectUnsafe(): parent index" << parentIndex << "out of range for" << size() << "objects", {});
    const Id id = SparseArray::add();
    const IndexType index = indexOf(id);
    if(parentIndex == 0) setFlagRange(_changed, index, std::uint32_t{index} + 1);
    else setDirty(index);
    _componentsOffsets[id] = _componentsOffsets[std::size_t{id} + 1];
    _objects[index] = ObjectData{parentIndex, 0, 0, 0};
    ++_objects[parentIndex].children;
    for(IndexType a = parentIndex; ; a = _objects[a].parent) {
        ++_objects[a].descendants;
        if(a == 0) break;
    }
    _deletedObjects.reset(id);
    return id;
}

Id SceneGraph::addObject(const Id parent) {
    if(size() == capacity()) {
        /* Checked once here, so that a full graph fails before growing rather than after a
           warning; near the limit the growth is what is left up to 65535 */
        QUILLMARSH_ASSERT(capacity() < MaxCapacity,
            "SceneGraph::addObject(): capacity exhausted, a scene graph holds at most" << MaxCapacity << "objects", {});
        QUILLMARSH_WARNING("SceneGraph::addObject(): on the fly allocation was required");
        reallocateCapacity(std::min<std::uint32_t>(64, MaxCapacity - capacity()), std::uint32_t{componentCapacity()} - componentCount());
    }
    QUILLMARSH_ASSERT(parent < capacity() && indexOf(parent) < size() && idOf(indexOf(parent)) == parent,
        "SceneGraph::addObject(): parent was not valid", {});
    const IndexType p = indexOf(parent);
    const Id id = addObjectUnsafe(p);
    const IndexType k = IndexType(size() - 1);
    const IndexType target = IndexType(p + _objects[p].descendants);
    /* Bring the new object down to the end of its parent's subtree. Equivalent to swapping
       it down one position at a time, with one move per column instead of a swap per
       position. */
    if(k > target) {
        moveObjectIndexRange(k, 1, target);
        for(std::uint32_t i = std::uint32_t{target} + 1; i < size(); ++i)
            if(_objects[i].parent >= target) ++_objects[i].parent;
    }
    return id;
}

SparseArray::IndexType SceneGraph::reparent(const Id object, const Id newParent) {
    requireAlive(object, "reparent");
    requireAlive(newParent, "reparent");
    QUILLMARSH_ASSERT(object != Id{0},
        "SceneGraph::reparent(): Cannot reparent root", {});
    const IndexType i = indexOf(object);
    const std::uint32_t n = std::uint32_t{_objects[i].descendants} + 1;
    const IndexType p = indexOf(newParent);
    QUILLMARSH_ASSERT(p < i || p >= i + n,
        "SceneGraph::reparent(): cannot move object" << object << "under its own subtree", {});
    const IndexType old = _objects[i].parent;
    const std::uint32_t pEnd = std::uint32_t{p} + _objects[p].descendants;

    --_objects[old].children;
    if(old != p) {
        const auto contains = [&](IndexType a, std::uint32_t b) {
            return a < b && b <= std::uint32_t{a} + _objects[a].descendants;
        };
        for(IndexType a = old; ; a = _objects[a].parent) {
            if(a == p || contains(a, p)) break;
            _objects[a].descendants = std::uint16_t(_objects[a].descendants - n);
            if(a == 0) break;
        }
        ++_objects[p].children;
        for(IndexType a = p; ; a = _objects[a].parent) {
            if(a == old || contains(a, old)) break;
            _objects[a].descendants = std::uint16_t(_objects[a].descendants + n);
            if(a == 0) break;
        }
    } else ++_objects[p].children;

    moveObjectIndexRange(i, IndexType(n), IndexType(pEnd + 1));
    recomputeParents(std::min<std::uint32_t>(pEnd + 1, i));
    const IndexType newIndex = indexOf(object);
    _objects[newIndex].parent = indexOf(newParent);
    return newIndex;
}

void SceneGraph::recomputeParents(const std::uint32_t first) {
    const std::uint32_t end = size();
    for(std::uint32_t k = first; k < end; ++k) {
        const std::uint32_t last = k + _objects[k].descendants;
        for(std::uint32_t c = k + 1; c <= last && c < end; c += std::uint32_t{_objects[c].descendants} + 1)
            _objects[c].parent = IndexType(k);
    }
}

void SceneGraph::moveObjectIndexRange(const IndexType from, const IndexType count, const IndexType to) {
    QUILLMARSH_ASSERT(from != 0 && to != 0,
        "SceneGraph::moveObjectIndexRange(): Cannot move root", );
    QUILLMARSH_ASSERT(std::uint32_t{from} + count <= capacity() && to <= capacity(),
        "SceneGraph::moveObjectIndexRange(): range of" << count << "objects from" << from << "to" << to << "out of range for a capacity of" << capacity(), );
    if(from == to || !count) return;
    _layout.moveRange(from, count, to);
    Utils::moveDataRange({reinterpret_cast<char*>(_indirectionReverse.data()), _indirectionReverse.size()*sizeof(Id)},
        std::size_t{from}*sizeof(Id), std::size_t{count}*sizeof(Id), std::size_t{to}*sizeof(Id));
    const std::uint32_t lo = std::min<std::uint32_t>(from, to);
    const std::uint32_t hi = std::min<std::uint32_t>(std::max<std::uint32_t>(std::uint32_t{from} + count, to), initializedCount());
    for(std::uint32_t i = lo; i < hi; ++i) _indirection[_indirectionReverse[i]] = IndexType(i);
}

void SceneGraph::swap(const IndexType a, const IndexType b) {
    QUILLMARSH_ASSERT(a != 0 && b != 0,
        "SceneGraph::swap(): Root should never be swapped", );
    SparseArray::swap(a, b);
}

void SceneGraph::deleteObjects(const Id object) {
    QUILLMARSH_ASSERT(object != Id{0}, "Deleting root is forbidden", );
    QUILLMARSH_ASSERT(object < capacity(),
        "SceneGraph::deleteObjects(): object" << object << "out of range for a capacity of" << capacity(), );
    /* Already set: the object is being deleted further up the call stack, or was deleted and
       its id not handed out again */
    if(_deletedObjects[object]) return;
    QUILLMARSH_ASSERT(!isDeleted(object), "Deleting already deleted object", );
    QUILLMARSH_ASSERT(indexOf(object) < size() && idOf(indexOf(object)) == object,
        "SceneGraph::deleteObjects(): object" << object << "is not alive", );

    const Id parentId = idOf(_objects[indexOf(object)].parent);
    /* Callbacks may delete or add objects and so move indices around: work on ids, and look
       at the subtree again until a pass finds no component left to delete */
    std::vector<Id> ids;
    for(bool found = true; found; ) {
        found = false;
        const IndexType first = indexOf(object);
        ids.assign(_indirectionReverse.begin() + first, _indirectionReverse.begin() + first + _objects[first].descendants + 1);
        for(const Id id: ids) _deletedObjects.setSafe(id);

        for(const Id id: ids) {
            while(_componentsOffsets[id] != _componentsOffsets[std::size_t{id} + 1]) {
                found = true;
                const std::uint16_t last = std::uint16_t(_componentsOffsets[std::size_t{id} + 1] - 1);
                const std::uint8_t manager = _componentManagers[last];
                const Id component = _componentIds[last];
                /* Unlisted before the manager hears of it, so that a deletion the manager
                   triggers from there does not see the component a second time */
                removeComponent(id, manager, component);
                if(manager < _managers.size() && _managers[manager])
                    _managers[manager]->deleteComponent(_managers[manager]->indexOf(component));
                if(_componentDeleted) _componentDeleted(manager, component);
                if(parentId != Id{0} && _deletedObjects[parentId]) return;
            }
        }
    }

    if(_objectsDeleted) {
        const IndexType first = indexOf(object);
        _objectsDeleted(std::span<const Id>{_indirectionReverse.data() + first, std::size_t{_objects[first].descendants} + 1});
    }
    const IndexType i = indexOf(object);
    const IndexType n = IndexType(_objects[i].descendants + 1);

    const IndexType parent = _objects[i].parent;
    --_objects[parent].children;
    for(IndexType a = parent; ; a = _objects[a].parent) {
        _objects[a].descendants = std::uint16_t(_objects[a].descendants - n);
        if(a == 0) break;
    }
    moveObjectIndexRange(i, n, size());
    setSize(IndexType(size() - n));
    recomputeParents(i);
}

Id SceneGraph::cloneObject(const Id object, const Id parent) {
    requireAlive(object, "cloneObject");
    requireAlive(parent, "cloneObject");
    const IndexType i = indexOf(object);
    const std::uint32_t n = std::uint32_t{_objects[i].descendants} + 1;
    QUILLMARSH_ASSERT(size() + n <= 0xffffu,
        "SceneGraph::cloneObject(): cloning" << n << "objects exceeds 65535 objects", {});
    /* Snapshot the subtree as ids with parents relative to it, since adding objects moves
       indices (the copy may even land inside the original) */
    std::vector<Id> source(n);
    std::vector<std::uint32_t> relativeParent(n);
    for(std::uint32_t k = 0; k != n; ++k) {
        source[k] = idOf(IndexType(i + k));
        relativeParent[k] = k ? _objects[i + k].parent - i : 0;
    }
    ensureAdditionalCapacityOf(std::uint16_t(n), 0, 0);
    std::vector<Id> copies(n);
    for(std::uint32_t k = 0; k != n; ++k) {
        copies[k] = addObject(k ? copies[relativeParent[k]] : parent);
        copyObjectTransform(source[k], copies[k]);
    }
    /* Components of each original, snapshot first since listing the copies' ones shifts the
       component list */
    std::vector<std::pair<std::uint8_t, Id>> components;
    for(std::uint32_t k = 0; k != n; ++k) {
        components.clear();
        for(std::uint16_t at = _componentsOffsets[source[k]]; at != _componentsOffsets[std::size_t{source[k]} + 1]; ++at)
            components.emplace_back(_componentManagers[at], _componentIds[at]);
        for(const auto& [manager, component]: components)
            if(manager < _managers.size() && _managers[manager])
                _managers[manager]->cloneComponent(component, copies[k]);
    }
    setDirty(indexOf(copies[0]));
    return copies[0];
}

void SceneGraph::append(const SceneGraph& other, Function<void(Id, Id)> callback) {
    QUILLMARSH_ASSERT(&other != this,
        "SceneGraph::append(): cannot append a scene graph to itself", );
    const std::uint32_t count = other.size() - 1u;
    QUILLMARSH_ASSERT(size() + count <= 0xffffu,
        "SceneGraph::append(): appending" << count << "objects exceeds 65535 objects", );
    ensureAdditionalCapacityOf(std::uint16_t(count), 0, 0);
    /* The other graph is in pre-order; appended behind the last object with its root mapped to
       this root it stays in pre-order */
    const std::uint32_t base = size() - 1u;
    for(std::uint32_t k = 1; k != other.size(); ++k) {
        const IndexType otherParent = other._objects[k].parent;
        const Id id = addObjectUnsafe(otherParent ? IndexType(base + otherParent) : IndexType(0));
        const IndexType index = indexOf(id);
        _local[index] = other._local[k];
        _localScaling[index] = other._localScaling[k];
        if(callback) callback(other.idOf(IndexType(k)), id);
    }
    setFlagRange(_dirty, base + 1, size());
    setFlagRange(_changed, base + 1, size());

    /* The other graph's object at index k now lies at base + k */
    for(std::uint16_t slot = 0; slot < other.managerCount(); ++slot) {
        ComponentManager* const from = other._managers[slot];
        if(!from) continue;
        ComponentManager* const to = slot < managerCount() ? _managers[slot] : nullptr;
        if(!to) {
            QUILLMARSH_WARNING("SceneGraph::append(): components of manager slot" << slot << "dropped, this scene graph has no manager there");
            continue;
        }
        to->append(*from, IndexType(base));
    }
}

bool SceneGraph::isParent(const Id parent, const Id child) const {
    return isParent(indexOf(parent), indexOf(child));
}

bool SceneGraph::isParent(const IndexType parent, const IndexType child) const {
    QUILLMARSH_DEBUG_ASSERT(child < size(), "SceneGraph::isParent(): index" << child << "out of range for" << size() << "objects", {});
    return _objects[child].parent == parent;
}

bool SceneGraph::isAncestor(const Id ancestor, const Id object) const {
    return isAncestor(indexOf(ancestor), indexOf(object));
}

bool SceneGraph::isAncestor(const IndexType a, const IndexType b) const {
    QUILLMARSH_DEBUG_ASSERT(a < size(), "SceneGraph::isAncestor(): index" << a << "out of range for" << size() << "objects", {});
    return a < b && b <= std::uint32_t{a} + _objects[a].descendants;
}

/* Flags */

void SceneGraph::setFlagRange(const Utils::BitSetView bits, const std::uint32_t first, const std::uint32_t last) {
    bits.setRange(first, last);
}

void SceneGraph::setDirty(const IndexType index) {
    QUILLMARSH_DEBUG_ASSERT(index < size(), "SceneGraph::setDirty(): index" << index << "out of range for" << size() << "objects", );
    const std::uint32_t last = std::uint32_t{index} + _objects[index].descendants;
    if(last > 0xffffu) return;
    setFlagRange(_dirty, index, last + 1);
    setFlagRange(_changed, index, last + 1);
}

void SceneGraph::setChildrenDirty(const IndexType index) {
    QUILLMARSH_DEBUG_ASSERT(index < size(), "SceneGraph::setChildrenDirty(): index" << index << "out of range for" << size() << "objects", );
    const std::uint32_t last = std::uint32_t{index} + _objects[index].descendants;
    if(last > 0xffffu) return;
    setFlagRange(_dirty, std::uint32_t{index} + 1, last + 1);
    setFlagRange(_changed, std::uint32_t{index} + 1, last + 1);
}

void SceneGraph::setChanged(const IndexType index) {
    QUILLMARSH_DEBUG_ASSERT(index < size(), "SceneGraph::setChanged(): index" << index << "out of range for" << size() << "objects", );
    const std::uint32_t last = std::uint32_t{index} + _objects[index].descendants;
    if(last > 0xffffu) return;
    setFlagRange(_changed, index, last + 1);
}

void SceneGraph::resetChanged() {
    _changed.resetAll();
}

/* Transformations */

void SceneGraph::computeAbsoluteTransformations() {
    Implementation::sweepTransforms(_dirty.words(), size(), _objects.data(), _local.data(), _localScaling.data(), _world.data(), _worldScaling.data());
}

void SceneGraph::computeAbsoluteTransformation(const IndexType index) {
    QUILLMARSH_DEBUG_ASSERT(index < size(), "SceneGraph::computeAbsoluteTransformation(): index" << index << "out of range for" << size() << "objects", );
    if(!_dirty[index]) return;
    /* The top of the dirty chain: the highest ancestor reached through dirty objects only,
       stopping below a clean one or the root */
    std::uint32_t top = index;
    for(IndexType p = _objects[index].parent; p != 0 && _dirty[p]; p = _objects[p].parent)
        top = p;
    /* Then down again without remembering the chain: the next object on the way is the child
       of the current one whose subtree holds the index, found by stepping over the subtrees of
       its elder siblings. Every object passed is an ancestor of the index and dirty. */
    for(std::uint32_t i = top; ; ) {
        const IndexType parent = _objects[i].parent;
        if(parent == 0) {
            _world[i] = _local[i];
            _worldScaling[i] = _localScaling[i];
        } else Implementation::concatenateScaled(_world[parent], _worldScaling[parent], _local[i], _localScaling[i], _world[i], _worldScaling[i]);
        _dirty.reset(i);
        if(i == index) break;
        std::uint32_t child = i + 1;
        while(child + _objects[child].descendants < index)
            child += std::uint32_t{_objects[child].descendants} + 1;
        i = child;
    }
}

void SceneGraph::concatenate(const DualQuaternion& parent, const Vector3& parentScaling, const DualQuaternion& child, const Vector3& childScaling, DualQuaternion& out, Vector3& outScaling) {
    Implementation::concatenate(parent, parentScaling, child, childScaling, out, outScaling);
}

void SceneGraph::copyObjectTransform(const Id from, const Id to) {
    requireAlive(from, "copyObjectTransform");
    requireAlive(to, "copyObjectTransform");
    _local[indexOf(to)] = _local[indexOf(from)];
    _localScaling[indexOf(to)] = _localScaling[indexOf(from)];
}

/* Components */

void SceneGraph::setComponentManager(const std::uint16_t index, const std::string_view name, ComponentManager* const manager) {
    QUILLMARSH_ASSERT(index < managerCount(),
        "SceneGraph::setComponentManager(): index larger than allocated component manager count", );
    if(!name.empty()) {
        QUILLMARSH_ASSERT(name.size() <= 11,
            "SceneGraph::setComponentManager(): name" << name << "longer than limit of 11 characters", );
        std::memset(_managerNames[index], 0, 12);
        std::memcpy(_managerNames[index], name.data(), name.size());
    }
    ComponentManager* const previous = _managers[index];
    if(previous && previous != manager)
        previous->attach(nullptr, 0);
    _managers[index] = manager;
    if(manager)
        manager->attach(this, std::uint8_t(index));
}

ComponentManager* SceneGraph::componentManager(const std::uint16_t index) const {
    QUILLMARSH_ASSERT(index < managerCount(),
        "SceneGraph::componentManager(): index" << index << "out of range for" << managerCount() << "managers", nullptr);
    return _managers[index];
}

std::string_view SceneGraph::componentManagerName(const std::uint16_t index) const {
    QUILLMARSH_ASSERT(index < managerCount(),
        "SceneGraph::componentManagerName(): index" << index << "out of range for" << managerCount() << "managers", {});
    return std::string_view{_managerNames[index], strnlen(_managerNames[index], 12)};
}

void SceneGraph::addComponent(const Id object, const std::uint8_t managerIndex, const Id component) {
    requireAlive(object, "addComponent");
    QUILLMARSH_ASSERT(managerIndex < managerCount(),
        "SceneGraph::addComponent(): manager index" << managerIndex << "out of range for" << managerCount() << "managers", );
    if(componentCount() == componentCapacity()) {
        QUILLMARSH_ASSERT(componentCapacity() < MaxCapacity,
            "SceneGraph::addComponent(): capacity exhausted, a scene graph lists at most" << MaxCapacity << "components", );
        QUILLMARSH_WARNING("SceneGraph::addComponent(): on the fly allocation was required");
        ensureAdditionalCapacityOf(0, 1, 64);
    }
    const std::uint16_t inUse = componentCount();
    const std::uint16_t at = _componentsOffsets[std::size_t{object} + 1];
    std::memmove(_componentIds.data() + at + 1, _componentIds.data() + at, (inUse - at)*sizeof(Id));
    std::memmove(_componentManagers.data() + at + 1, _componentManagers.data() + at, inUse - at);
    for(std::size_t o = std::size_t{object} + 1; o < _componentsOffsets.size(); ++o) ++_componentsOffsets[o];
    _componentIds[at] = component;
    _componentManagers[at] = managerIndex;
    tail().componentsInUse = std::uint16_t(inUse + 1);
}

bool SceneGraph::removeComponent(const Id object, const std::uint8_t managerIndex, const Id component) {
    QUILLMARSH_ASSERT(object < capacity(),
        "SceneGraph::removeComponent(): object" << object << "out of range for a capacity of" << capacity(), false);
    const std::uint16_t begin = _componentsOffsets[object];
    const std::uint16_t end = _componentsOffsets[std::size_t{object} + 1];
    for(std::uint16_t at = end; at-- > begin; ) {
        if(_componentIds[at] != component || _componentManagers[at] != managerIndex) continue;
        const std::uint16_t inUse = componentCount();
        std::memmove(_componentIds.data() + at, _componentIds.data() + at + 1, (inUse - at - 1)*sizeof(Id));
        std::memmove(_componentManagers.data() + at, _componentManagers.data() + at + 1, inUse - at - 1);
        for(std::size_t o = std::size_t{object} + 1; o < _componentsOffsets.size(); ++o) --_componentsOffsets[o];
        tail().componentsInUse = std::uint16_t(inUse - 1);
        return true;
    }
    return false;
}

void SceneGraph::deleteComponent(const Id object, const std::uint8_t managerIndex, const Id component) {
    QUILLMARSH_ASSERT(managerIndex < managerCount(),
        "SceneGraph::deleteComponent(): manager index" << managerIndex << "out of range for" << managerCount() << "managers", );
    if(_managers[managerIndex])
        _managers[managerIndex]->deleteComponent(_managers[managerIndex]->indexOf(component));
    removeComponent(object, managerIndex, component);
}

void SceneGraph::deleteComponents(const std::uint8_t managerIndex) {
    std::uint16_t write = 0;
    std::uint16_t read = 0;
    for(std::size_t o = 0; o + 1 < _componentsOffsets.size(); ++o) {
        const std::uint16_t end = _componentsOffsets[o + 1];
        _componentsOffsets[o] = write;
        for(; read < end; ++read) {
            if(_componentManagers[read] == managerIndex) continue;
            _componentIds[write] = _componentIds[read];
            _componentManagers[write] = _componentManagers[read];
            ++write;
        }
    }
    _componentsOffsets[_componentsOffsets.size() - 1] = write;
    tail().componentsInUse = write;
}

std::span<const Id> SceneGraph::componentIds(const Id object) const {
    QUILLMARSH_ASSERT(object < capacity(),
        "SceneGraph::componentIds(): object" << object << "out of range for a capacity of" << capacity(), {});
    return std::span<const Id>{_componentIds}.subspan(_componentsOffsets[object], _componentsOffsets[std::size_t{object} + 1] - _componentsOffsets[object]);
}

std::span<const std::uint8_t> SceneGraph::componentManagerIndices(const Id object) const {
    QUILLMARSH_ASSERT(object < capacity(),
        "SceneGraph::componentManagerIndices(): object" << object << "out of range for a capacity of" << capacity(), {});
    return std::span<const std::uint8_t>{_componentManagers}.subspan(_componentsOffsets[object], _componentsOffsets[std::size_t{object} + 1] - _componentsOffsets[object]);
}

void SceneGraph::ensureAdditionalCapacityOf(const std::uint16_t objects, const std::uint16_t components, const std::uint16_t minimumGrowth) {
    const std::int32_t spareObjects = std::int32_t{capacity()} - size();
    const std::int32_t needObjects = std::max(std::int32_t{objects} - spareObjects, 0);
    const std::int32_t spareComponents = std::int32_t{componentCapacity()} - componentCount();
    const std::int32_t needComponents = std::max(std::int32_t{components} - spareComponents, 0);
    if(!needObjects && !needComponents) return;
    /* The minimum growth is a wish, the needs are not: near the 16-bit limit the wish shrinks
       to what is left, so growing the one list never fails for the other's sake */
    const auto grown = [&](std::int32_t inUse, std::int32_t spare, std::int32_t need) {
        const std::int32_t wanted = std::max<std::int32_t>(spare + need, minimumGrowth);
        return std::uint32_t(std::max(std::min<std::int32_t>(wanted, std::int32_t{MaxCapacity} - inUse), spare + need));
    };
    reallocateCapacity(grown(size(), spareObjects, needObjects), grown(componentCount(), spareComponents, needComponents));
}

void SceneGraph::reallocateCapacity(const std::uint32_t spareObjects, const std::uint32_t spareComponents) {
    QUILLMARSH_ASSERT(spareObjects >= std::uint32_t(capacity() - size()),
        "SceneGraph::reallocateCapacity(): shrinking memory is not implemented", );
    QUILLMARSH_ASSERT(spareComponents >= std::uint32_t(componentCapacity() - componentCount()),
        "SceneGraph::reallocateCapacity(): shrinking memory for components is not implemented", );
    const std::uint32_t newCapacity = size() + spareObjects;
    const std::uint32_t newComponentCapacity = componentCount() + spareComponents;
    QUILLMARSH_ASSERT(newCapacity <= MaxCapacity && newComponentCapacity <= MaxCapacity,
        "SceneGraph::reallocateCapacity(): capacity of" << newCapacity << "objects and" << newComponentCapacity << "components exceeds 65535", );
    tail().componentCapacity = std::uint16_t(newComponentCapacity);
    allocate(IndexType(newCapacity));
}

/* Activation */

void SceneGraph::activate() {
    QUILLMARSH_ASSERT(!_active, "scene graph is already active", );
    _active = true;
    for(ComponentManager* const manager: _managers)
        if(manager) manager->activateInScene({0, manager->activeCount()});
}

void SceneGraph::deactivate() {
    QUILLMARSH_ASSERT(_active, "scene graph is already inactive", );
    for(ComponentManager* const manager: _managers)
        if(manager) manager->deactivateInScene({0, manager->activeCount()});
    _active = false;
}

/* Consistency */

std::string SceneGraph::checkInvariants() const {
    std::ostringstream out;
    const std::uint32_t n = size();
    const std::uint32_t initialized = initializedCount();
    const std::uint32_t cap = capacity();
    if(n == 0 || n > initialized || initialized > cap) {
        out << "counts: size " << n << ", initialized " << initialized << ", capacity " << cap;
        return out.str();
    }
    if(idOf(0) != Id{0} || indexOf(0) != 0) return "the root is not id 0 at index 0";
    for(std::uint32_t i = 0; i != initialized; ++i) {
        const Id id = idOf(IndexType(i));
        if(id >= cap || indexOf(id) != i) {
            out << "indirection: index " << i << " maps to id " << id.value << ", which maps to index " << (id < cap ? indexOf(id) : 0xffffu);
            return out.str();
        }
    }
    for(std::uint32_t i = initialized; i != cap; ++i) {
        if(idOf(IndexType(i)) != Id{0} || indexOf(IndexType(i)) != 0) {
            out << "indirection: uninitialized slot " << i << " has non-zero entries";
            return out.str();
        }
    }

    /* Hierarchy: walk the children of every object by the pre-order rule */
    if(std::uint32_t{_objects[0].descendants} + 1 != n) {
        out << "root has " << _objects[0].descendants << " descendants for " << n << " objects";
        return out.str();
    }
    for(std::uint32_t i = 0; i != n; ++i) {
        const ObjectData& o = _objects[i];
        const std::uint32_t last = i + o.descendants;
        if(last >= n) {
            out << "object at " << i << " has " << o.descendants << " descendants past the size " << n;
            return out.str();
        }
        if(i != 0 && (o.parent >= i || !(std::uint32_t{o.parent} + _objects[o.parent].descendants >= i))) {
            out << "object at " << i << " has parent " << o.parent << " whose subtree does not contain it";
            return out.str();
        }
        if(i == 0 && o.parent != 0) return "the root has a parent";
        std::uint32_t children = 0, descendants = 0;
        for(std::uint32_t c = i + 1; c <= last; c += std::uint32_t{_objects[c].descendants} + 1) {
            ++children;
            descendants += std::uint32_t{_objects[c].descendants} + 1;
            if(_objects[c].parent != i) {
                out << "object at " << c << " is a child of " << i << " but has parent " << _objects[c].parent;
                return out.str();
            }
        }
        if(descendants != o.descendants) {
            out << "object at " << i << " has " << o.descendants << " descendants, its children cover " << descendants;
            return out.str();
        }
        if(children != o.children) {
            out << "object at " << i << " counts " << o.children << " children, has " << children;
            return out.str();
        }
    }

    /* Component runs: non-decreasing, ending at the list's use, empty for dead ids, manager
       slots in range */
    const Tail& t = tail();
    if(_componentsOffsets.size() != cap + 1) return "component offsets do not have capacity + 1 entries";
    if(_componentsOffsets[0] != 0) return "component offsets do not start at 0";
    for(std::uint32_t o = 0; o != cap; ++o) {
        if(_componentsOffsets[o] > _componentsOffsets[o + 1]) {
            out << "component run of id " << o << " ends before it starts";
            return out.str();
        }
        if(_componentsOffsets[o] != _componentsOffsets[o + 1] && !(indexOf(IndexType(o)) < n && idOf(indexOf(IndexType(o))) == o)) {
            out << "id " << o << " is not alive but lists components";
            return out.str();
        }
    }
    if(_componentsOffsets[cap] != t.componentsInUse) {
        out << "component runs end at " << _componentsOffsets[cap] << ", " << t.componentsInUse << " entries in use";
        return out.str();
    }
    if(t.componentsInUse > t.componentCapacity) return "more components in use than the capacity";
    for(std::uint32_t c = 0; c != t.componentsInUse; ++c) {
        if(_componentManagers[c] >= t.managerCount) {
            out << "component entry " << c << " names manager slot " << unsigned(_componentManagers[c]) << " of " << t.managerCount;
            return out.str();
        }
    }
    return {};
}

}}
