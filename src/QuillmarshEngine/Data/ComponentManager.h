#ifndef QuillmarshEngine_Data_ComponentManager_h
#define QuillmarshEngine_Data_ComponentManager_h

/** @file
 * @brief Class @ref QuillmarshEngine::Data::ComponentManager
 */

#include <span>
#include <string>
#include <vector>

#include "QuillmarshEngine/Assert.h"
#include "QuillmarshEngine/Data/SparseArrayActive.h"

namespace QuillmarshEngine { namespace Data {

class SceneGraph;

/**
 * @brief Common base of the component managers
 *
 * A @ref SparseArrayActive whose elements are the components of one kind in one scene. Every
 * component records the @ref Id of the scene-graph object that owns it in the first column of
 * the subclass's layout, which must be `SparseLayer<Id, SparseLayerFlag::ObjectId>`. A manager
 * is registered with a scene graph under a slot index (@ref SceneGraph::setComponentManager());
 * from then on @ref addComponent() lists every new component in its object's run, and
 * @ref update() runs @ref preUpdate(), @ref doUpdate() (which calls @ref updateComponent() for
 * every active component in index order) and @ref postUpdate() once per frame.
 *
 * Components are added inactive and become active through @ref activate(). Ids are stable,
 * indices change with activation and deletion. Subclasses supply their columns through their
 * own @ref SparseArrayStaticLayout and call @ref allocate() in their constructor.
 *
 * Misuse (no scene graph where one is needed, an update of an inactive scene, an index out of
 * range, appending a manager of another kind) prints the reason and aborts. Not thread-safe.
 */
class QUILLMARSH_EXPORT ComponentManager: public SparseArrayActive {
    public:
        /** @brief Bit of @ref flags(): the manager wants @ref doActivateInScene() and @ref doDeactivateInScene() */
        static constexpr std::uint32_t FlagInSceneHooks = 1u << 0;

        /**
         * @brief Manager with a subclass header tail of @p headerTailSize bytes
         *
         * The block's tail holds 4 bytes of this class (the active count and two reserved
         * bytes) in front of the subclass's. No scene graph until the manager is registered.
         */
        explicit ComponentManager(std::uint32_t headerTailSize);

        /**
         * @brief Destructor
         *
         * A registered manager removes its components from the scene graph's component runs and
         * leaves its slot empty.
         */
        ~ComponentManager() override;

        /** @brief Grow to @p capacity components; forwards to @ref SparseArray::allocate() */
        void allocate(IndexType capacity) override;

        /** @brief Rebuild the partition and bind the owner column */
        void init() override;

        /** @brief Type name of the manager, compared by @ref append() */
        virtual const char* name() const = 0;

        /** @brief Behaviour flags; @ref FlagInSceneHooks enables the in-scene hooks. 0 by default */
        virtual std::uint32_t flags() const;

        /** @brief Run before the per-component updates of a frame; empty by default */
        virtual void preUpdate();

        /** @brief Run after the per-component updates of a frame; empty by default */
        virtual void postUpdate();

        /** @brief Call @ref updateComponent() for every active index in increasing order */
        virtual void doUpdate();

        /** @brief Per-component work of one frame for the component at @p index */
        virtual void updateComponent(IndexType index) = 0;

        /**
         * @brief The scene was activated with these components active
         *
         * Calls @ref doActivateInScene() for each index of @p range in increasing order when
         * @ref flags() has @ref FlagInSceneHooks, else does nothing. The scene graph calls it
         * with [0, @ref activeCount()) on @ref SceneGraph::activate().
         */
        virtual void activateInScene(Utils::IndexRange range);

        /** @brief The scene was deactivated, see @ref activateInScene() */
        virtual void deactivateInScene(Utils::IndexRange range);

        /**
         * @brief Add a component owned by @p object
         *
         * The component is inactive, at index @ref size() − 1, and is listed at the end of the
         * object's run in the scene graph. Returns its id. Expects the manager to be registered
         * and @p object to be a live object of its scene graph.
         */
        Id addComponent(Id object);

        /**
         * @brief Delete the component at @p index from this manager
         *
         * An active component is deactivated first (its hook runs), then removed; the last live
         * component fills its slot. The component stays listed in its object's run: use
         * @ref SceneGraph::deleteComponent() to delete it from both, as
         * @ref SceneGraph::deleteObjects() does. Expects a live @p index.
         */
        void deleteComponent(IndexType index);

        /**
         * @brief Run one frame
         *
         * Stores @p dt as @ref lastTimeStep(), adds it to @ref accumulatedTime(), then calls
         * @ref preUpdate(), @ref doUpdate() and @ref postUpdate(). Expects the manager to be
         * registered with an active scene graph.
         */
        void update(double dt);

        /**
         * @brief Append all live components of @p other behind this manager's components
         *
         * @p other must be of the same kind (@ref name()) and registered with a scene graph whose
         * objects now lie in this manager's scene graph from index @p objectIndexOffset on, in
         * the same order (object at index i there is at i + @p objectIndexOffset here; the other
         * root's components go to this root). Owners are
         * translated accordingly and every appended component is listed in its new owner's run.
         * Components active in @p other are activated here.
         */
        void append(const ComponentManager& other, IndexType objectIndexOffset);

        /**
         * @brief Copy the component @p component onto a new component owned by @p object
         *
         * Adds a component for @p object, copies every column except the owner onto it, and
         * activates it when the original is active. Returns the new id.
         */
        Id cloneComponent(Id component, Id object);

        /**
         * @brief Check an adopted block: the active count lies within the size
         *
         * Owners are checked against the scene graph by whoever registers the manager.
         */
        [[nodiscard]] std::string checkAdoptedBlock() const override;

        /**
         * @brief Append what the manager holds outside its block to @p out
         *
         * Together with the block this is the manager's whole stored state; @ref loadExternalState()
         * reads it back. Appends nothing by default.
         */
        virtual void saveExternalState(std::vector<char>& out) const;

        /**
         * @brief Restore what @ref saveExternalState() wrote, after the block was adopted
         *
         * @p data comes from outside the process: a broken one is refused with the reason as
         * return value (empty on success), never read past its end. The default accepts only
         * empty data.
         */
        [[nodiscard]] virtual std::string loadExternalState(std::span<const char> data);

        /** @brief Scene graph the manager is registered with, or `nullptr` */
        [[nodiscard]] SceneGraph* sceneGraph() const { return _sceneGraph; }

        /** @brief Slot of the manager in its scene graph */
        [[nodiscard]] std::uint16_t managerIndex() const { return _managerIndex; }

        /**
         * @brief Whether @p component names a live component
         *
         * True when the id lies below the capacity and maps to an index below @ref size(). Never
         * aborts, so ids from files can be tested before use.
         */
        [[nodiscard]] bool isAlive(Id component) const {
            return IndexType(component) < capacity() && indexOf(component) < size() && idOf(indexOf(component)) == component;
        }

        /** @brief Object owning the component at @p index; unchecked in release builds */
        [[nodiscard]] Id owner(IndexType index) const {
            QUILLMARSH_DEBUG_ASSERT(index < size(), "ComponentManager::owner(): index" << index << "out of range for" << size() << "components", {});
            return _owners[index];
        }

        /** @brief Owner column, capacity entries; invalidated by growth */
        [[nodiscard]] std::span<const Id> owners() const { return {_owners.data(), capacity()}; }

        /** @brief Time step of the last @ref update(), 0 before the first */
        [[nodiscard]] double lastTimeStep() const { return _lastTimeStep; }

        /** @brief Sum of all time steps since construction */
        [[nodiscard]] double accumulatedTime() const { return _accumulatedTime; }

    protected:
        /** @brief Called by @ref activateInScene() for each index; empty by default */
        virtual void doActivateInScene(IndexType index);

        /** @brief Called by @ref deactivateInScene() for each index; empty by default */
        virtual void doDeactivateInScene(IndexType index);

        /**
         * @brief Index of @p component, which must be alive
         *
         * Otherwise prints "<function>: component Id(<n>) is not alive" and aborts; @p function
         * is the caller's qualified name with its parentheses.
         */
        IndexType aliveIndex(Id component, const char* function) const;

        /** @brief Start of the subclass's header tail */
        char* managerHeaderTail() { return ownerHeaderTail() + _reservedTailSize; }
        const char* managerHeaderTail() const { return ownerHeaderTail() + _reservedTailSize; }

        /** @brief Owner column, mutable; invalidated by growth */
        std::span<Id> mutableOwners() { return _owners; }

        /* Bytes of the tail that an intermediate base (the grouped manager) keeps for itself in
           front of the subclass's tail */
        std::uint32_t _reservedTailSize{};

    private:
        /* Registration is the scene graph's: SceneGraph::setComponentManager() and the scene
           graph's destructor are the only callers of attach(), and nothing else of this class
           is accessed through the friendship */
        friend SceneGraph;

        /* Set the scene graph (null to detach, with index 0) and the slot index */
        void attach(SceneGraph* sceneGraph, std::uint8_t index);

        void requireSceneGraph(const char* function) const;

        SceneGraph* _sceneGraph{};
        std::uint16_t _managerIndex{};
        std::span<Id> _owners;
        double _lastTimeStep{};
        double _accumulatedTime{};
};

}}

#endif
