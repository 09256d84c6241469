#ifndef QuillmarshEngine_Data_NameManager_h
#define QuillmarshEngine_Data_NameManager_h

/** @file
 * @brief Class @ref QuillmarshEngine::Data::NameManager
 */

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "QuillmarshEngine/Data/ComponentManager.h"
#include "QuillmarshEngine/Data/SparseLayer.h"

namespace QuillmarshEngine { namespace Data {

/**
 * @brief Names of scene-graph objects
 *
 * One name component per named object. The block holds only the owner column; the strings live
 * outside it, per component id, so they survive swaps and growth untouched and are released when
 * their component is deleted (also through @ref SceneGraph::deleteObjects()). Copying a component
 * copies its name; appending a manager appends the names.
 *
 * Names are set and read by object. @ref findObject() is a linear scan over the live names,
 * meant for tools and scripts rather than per-frame work. The type name is "name"; the
 * manager does nothing per frame.
 */
class QUILLMARSH_EXPORT NameManager: public ComponentManager {
    public:
        /** @brief Manager with room for @p capacity names */
        explicit NameManager(IndexType capacity = 0);

        ~NameManager() override;

        /** @brief Append the name of every live component, in index order */
        void saveExternalState(std::vector<char>& out) const override;

        /** @brief Restore what @ref saveExternalState() wrote; see @ref ComponentManager::loadExternalState() */
        [[nodiscard]] std::string loadExternalState(std::span<const char> data) override;

        /** @brief `"name"` */
        const char* name() const override;

        /** @brief Nothing to do per frame: the update loop is skipped entirely */
        void doUpdate() override;

        /** @brief Nothing to do per frame */
        void updateComponent(IndexType index) override;

        /**
         * @brief Set the name of @p object
         *
         * Adds the object's name component when it has none (active, since a name is either
         * there or not), else replaces the name. Returns the component id. Expects the manager
         * to be registered and @p object to be alive.
         */
        Id setObjectName(Id object, std::string_view name);

        /** @brief Name of @p object, empty when it has none */
        std::string_view objectName(Id object) const;

        /** @brief Name component of @p object, if it has one */
        std::optional<Id> nameComponent(Id object) const;

        /**
         * @brief Delete the name of @p object
         *
         * Deletes the component here and from the object's run. Returns false when the object
         * had no name.
         */
        bool removeObjectName(Id object);

        /** @brief First object (in component index order) named @p name, if any */
        std::optional<Id> findObject(std::string_view name) const;

        /** @brief Name held by the component at @p index; not checked */
        std::string_view componentName(IndexType index) const { return _names[idOf(index)]; }

        /* Hooks of the owner pseudo-column, called by the layout */
        void layerInit();
        void layerCopy(IndexType from, IndexType to);
        void layerAppend(const NameManager& other);
        void layerDestroy(IndexType index);

    private:
        SparseArrayStaticLayout<SparseLayer<Id, SparseLayerFlag::ObjectId>, SparseLayerOwner<NameManager>> _layout;
        /* Per component id */
        std::vector<std::string> _names;
};

}}

#endif
