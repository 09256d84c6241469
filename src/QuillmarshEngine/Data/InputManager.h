#ifndef QuillmarshEngine_Data_InputManager_h
#define QuillmarshEngine_Data_InputManager_h

/** @file
 * @brief Class @ref QuillmarshEngine::Data::InputManager, enum @ref QuillmarshEngine::Data::InputType
 */

#include <span>

#include "QuillmarshEngine/Data/ComponentManager.h"
#include "QuillmarshEngine/Data/SparseLayer.h"
#include "QuillmarshEngine/Math/DualQuaternion.h"

namespace QuillmarshEngine { namespace Data {

/**
 * @brief Tracked pose an input component follows
 *
 * Stored as one byte per component; the values are fixed.
 */
enum class InputType: std::uint8_t {
    Head = 0,               /**< Head of the viewer */
    EyeLeft = 1,            /**< Left eye */
    EyeRight = 2,           /**< Right eye */
    ControllerLeft = 3,     /**< Grip of the left controller */
    ControllerRight = 4,    /**< Grip of the right controller */
    RayLeft = 5,            /**< Pointing ray of the left controller */
    RayRight = 6            /**< Pointing ray of the right controller */
};

/** @brief Prints `InputType::Head` etc., other values as `InputType(0x7)` */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, InputType value);

/**
 * @brief Components that tie scene objects to tracked device poses
 *
 * Holds one pose per @ref InputType, written by the host (an XR runtime layer) each frame through
 * @ref setPose(), and one @ref InputType per component. @ref update() copies each active
 * component's pose into its object's local transformation (scaling untouched) and marks the
 * object dirty, so the next @ref SceneGraph::computeAbsoluteTransformations() carries the pose
 * to the object's subtree. A component whose type is not a known @ref InputType (7 or above, as
 * a block built by a newer writer may hold) is left alone: no copy, no dirty mark.
 *
 * Everything lives in the block: the owner and type columns, and the seven poses in the header
 * tail (7 × 32 bytes, identity at construction), so storing the block stores the last poses.
 * The type name is "input". O(active components) per update, no allocation. Not thread-safe.
 */
class QUILLMARSH_EXPORT InputManager: public ComponentManager {
    public:
        /** @brief Number of poses, one per @ref InputType */
        static constexpr std::uint32_t PoseCount = 7;

        /** @brief Manager with room for @p capacity components */
        explicit InputManager(IndexType capacity = 0);

        ~InputManager() override;

        /** @brief `"input"` */
        const char* name() const override;

        /** @brief Copy the poses of all active components, see @ref updateComponent() */
        void doUpdate() override;

        /**
         * @brief Copy the pose of the component at @p index into its object
         *
         * Sets the owner's local transformation to the pose of the component's type and marks the
         * owner dirty (@ref SceneGraph::setDirty()). Does nothing for a type of 7 or above.
         * Expects a registered manager and a live @p index; unchecked in release builds.
         */
        void updateComponent(IndexType index) override;

        /** @brief Current pose of @p type; expects a known type */
        const DualQuaternion& pose(InputType type) const;

        /**
         * @brief Set the pose of @p type
         *
         * Called by the host each frame before @ref update(). Expects a known type.
         */
        void setPose(InputType type, const DualQuaternion& pose);

        /** @brief Set all seven poses at once, in @ref InputType order */
        void setPoses(std::span<const DualQuaternion, PoseCount> poses);

        /** @brief The seven poses, in @ref InputType order; invalidated by growth */
        std::span<const DualQuaternion, PoseCount> poses() const;

        /** @brief Type of the component at @p index; not checked */
        InputType inputType(IndexType index) const { return _layout.get<1>()[index]; }

        /**
         * @brief Set the type of the component at @p index
         *
         * Any byte is kept, so that a block from a newer writer survives a round trip; types of 7
         * and above are skipped by @ref updateComponent(). Expects a live @p index.
         */
        void setInputType(IndexType index, InputType type);

        /** @brief Type column, capacity entries; invalidated by growth */
        std::span<const InputType> inputTypes() const { return _layout.get<1>().view(); }

    private:
        DualQuaternion* mutablePoses();

        /* A new component follows the head until told otherwise */
        SparseArrayStaticLayout<SparseLayer<Id, SparseLayerFlag::ObjectId>, SparseLayer<InputType>> _layout;
};

}}

#endif
