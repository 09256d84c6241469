#ifndef QuillmarshEngine_Data_SparseArrayActive_h
#define QuillmarshEngine_Data_SparseArrayActive_h

/** @file
 * @brief Class @ref QuillmarshEngine::Data::SparseArrayActive
 */

#include "QuillmarshEngine/Data/SparseArray.h"
#include "QuillmarshEngine/Utils/IndexRange.h"

namespace QuillmarshEngine { namespace Data {

class SparseArrayGrouped;

/**
 * @brief Sparse array whose live elements are split into an active and an inactive part
 *
 * Adds one u16 to the header tail, the active count, in front of the owner's own tail (followed
 * by two reserved zero bytes), and splits the index space into
 *
 * - [0, @ref activeCount()): active elements,
 * - [@ref activeCount(), @ref size()): live but inactive elements,
 * - [@ref size(), @ref initializedCount()): removed elements whose ids wait for reuse.
 *
 * @ref activate() and @ref deactivate() move an element across the boundary with one swap, so
 * indices change and ids do not: hold ids across activation changes. New elements are added
 * behind the live ones and are therefore inactive.
 */
class QUILLMARSH_EXPORT SparseArrayActive: public SparseArray {
    public:
        /** @brief Bytes this class puts in front of the owner's header tail */
        static constexpr std::uint32_t HeaderTailSize = 4;

        /** @brief Empty array with an owner header tail of @p headerTailSize bytes */
        explicit SparseArrayActive(std::uint32_t headerTailSize);

        ~SparseArrayActive() override;

        /**
         * @brief Activate the element at @p index
         *
         * An active element keeps its index, which is returned, and no hook runs. Otherwise the
         * element swaps with the first inactive one, becomes the last active one, @ref doActivate()
         * runs with its new index and the new index is returned. Expects a live @p index.
         */
        virtual IndexType activate(IndexType index);

        /**
         * @brief Deactivate the element at @p index
         *
         * An inactive element keeps its index and the active count is returned (not the index;
         * the result is meaningful only for an element that was active). Otherwise the element
         * swaps with the last active one, becomes the first inactive one, @ref doDeactivate()
         * runs with its new index and that index is returned. Expects a live @p index.
         */
        virtual IndexType deactivate(IndexType index);

        /**
         * @brief Activate the elements at the indices of @p range
         *
         * Calls @ref activate(IndexType) for each index from begin to end in turn; the elements
         * that end up active are those at these indices at the time of the call.
         */
        virtual void activate(Utils::IndexRange range);

        /**
         * @brief Deactivate the elements at the indices of @p range
         *
         * Calls @ref deactivate(IndexType) for each index from end − 1 down to begin, so that
         * exactly the elements at these indices at the time of the call end up inactive.
         */
        virtual void deactivate(Utils::IndexRange range);

        /** @brief Number of active elements */
        IndexType activeCount() const { return *reinterpret_cast<const IndexType*>(headerTail()); }

        /** @brief Whether the element at @p index is active */
        bool isActive(IndexType index) const { return index < activeCount(); }

    protected:
        /** @brief Called after the element now at @p index became active; empty by default */
        virtual void doActivate(IndexType index);

        /** @brief Called after the element now at @p index became inactive; empty by default */
        virtual void doDeactivate(IndexType index);

        /** @brief Set the active count; the caller keeps the split consistent */
        void setActiveCount(IndexType count) { *reinterpret_cast<IndexType*>(headerTail()) = count; }

        /** @brief Start of the owner's header tail, behind this class's fields */
        char* ownerHeaderTail() { return headerTail() + HeaderTailSize; }
        const char* ownerHeaderTail() const { return headerTail() + HeaderTailSize; }

    private:
        friend SparseArrayGrouped;
};

}}

#endif
