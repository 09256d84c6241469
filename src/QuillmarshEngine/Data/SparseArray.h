#ifndef QuillmarshEngine_Data_SparseArray_h
#define QuillmarshEngine_Data_SparseArray_h

/** @file
 * @brief Class @ref QuillmarshEngine::Data::SparseArray, enum @ref QuillmarshEngine::Data::SparseLayerFlag
 */

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "QuillmarshEngine/Assert.h"
#include "QuillmarshEngine/Data/Id.h"
#include "QuillmarshEngine/Utils/MemoryPartition.h"
#include "QuillmarshEngine/visibility.h"

namespace QuillmarshEngine { namespace Data {

/**
 * @brief Role of a column in a sparse array layout
 *
 * Stored as the numeric value in layout declarations; the values are fixed.
 */
enum class SparseLayerFlag: std::uint8_t {
    /** Ordinary column */
    Plain = 0,

    /**
     * Column whose element count comes from the owner (its `layerFlaggedCount(capacity)`)
     * rather than from the capacity alone. Skipped by the layout's copy and append, which leave
     * it to the owner's `layerCopy()` and `layerAppend()`.
     */
    OwnerSized = 1,

    /**
     * Id of the scene-graph object that owns a component. Takes part in construct, swap, move
     * and append but never in copy: copying a component does not change who owns the target.
     */
    ObjectId = 3
};

/** @brief Prints `SparseLayerFlag::Plain` etc. */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, SparseLayerFlag value);

/**
 * @brief Header at the start of every sparse array block
 *
 * 16 bytes, followed by the owner's fixed-size header tail.
 */
struct SparseArrayHeader {
    std::uint32_t headerSize;       /**< 16 + header tail size */
    std::uint32_t totalSize;        /**< Bytes of the whole block */
    std::uint16_t capacity;         /**< Number of slots */
    std::uint16_t size;             /**< Number of live elements */
    std::uint16_t initializedCount; /**< Slots whose id mapping has been set up */
    std::uint16_t padding;          /**< Always zero */
};

static_assert(sizeof(SparseArrayHeader) == 16, "the sparse array header is part of the block format");

/**
 * @brief Id-addressed set of elements whose columns live in one block
 *
 * Elements are addressed from outside by a stable 16-bit @ref Id and stored densely by a 16-bit
 * index: live elements occupy the indices [0, size) with no holes. One malloc-backed byte block
 * holds a 16-byte @ref SparseArrayHeader, the owner's header tail, the id→index table, the
 * index→id table and one 4-byte-aligned column per block layer of the @ref Layout, so a whole
 * array can be shipped as bytes and adopted with @ref create().
 *
 * Removal swaps the element with the last live one (O(1), order not stable); the removed id
 * waits at the old last index and is the first one handed out again. @ref add() on a full array
 * grows it by 32 slots with a warning; owners normally reserve capacity up front. Every pointer
 * or view into the block is invalidated by @ref allocate().
 *
 * Misuse (an index or id out of range, a broken block) prints the reason and aborts. Not
 * thread-safe.
 */
class QUILLMARSH_EXPORT SparseArray {
    public:
        /** @brief Index of an element */
        typedef std::uint16_t IndexType;

        class Layer;
        class Layout;

        /**
         * @brief Empty array with a header tail of @p headerTailSize bytes
         *
         * Capacity, size and initialized count are 0; no columns exist until @ref allocate().
         */
        explicit SparseArray(std::uint32_t headerTailSize);

        SparseArray(const SparseArray&) = delete;
        SparseArray(SparseArray&&) = delete;
        SparseArray& operator=(const SparseArray&) = delete;
        SparseArray& operator=(SparseArray&&) = delete;

        /** @brief Bytes of both indirection tables for @p capacity: 4 × capacity */
        virtual std::size_t indexDataSize(IndexType capacity) const;

        virtual ~SparseArray();

        /**
         * @brief Exchange the elements at indices @p a and @p b
         *
         * Ids stay attached to their data. Does nothing when @p a equals @p b.
         */
        virtual void swap(IndexType a, IndexType b);

        /**
         * @brief Copy the column values of index @p from onto index @p to
         *
         * The indirection tables are not touched. Does nothing when the indices are equal.
         */
        virtual void copy(IndexType from, IndexType to);

        /**
         * @brief Move the column values of index @p from to before index @p to
         *
         * Shifts the values in between by one. The indirection tables are not touched. Does
         * nothing when the indices are equal.
         */
        virtual void move(IndexType from, IndexType to);

        /**
         * @brief Resize the block for @p capacity slots
         *
         * Keeps every element's id, index and values; every new slot of every column and both
         * tables reads zero and is then put into its default state. Shrinking is not supported.
         */
        virtual void allocate(IndexType capacity);

        /** @brief Rebuild the partition from the header and bind all views */
        virtual void init();

        /**
         * @brief Adopt a complete block built elsewhere
         *
         * Takes @p block by exchange (the previous block ends up in @p block). The block must
         * already be in this array's layout; a block shorter than its header claims, or whose
         * sizes disagree with the layout, aborts.
         */
        void create(std::vector<char>&& block);

        /**
         * @brief Adopt a block from outside the process, refusing a broken one
         *
         * The validating twin of @ref create(): checks the alignment, the header size against
         * this array's, the total size against the layout, the counts, that the id tables are
         * inverse permutations over the initialized slots and zero past them, and then the
         * owner's own rules (@ref checkAdoptedBlock()). Returns an empty string and holds the
         * block on success (the previous block ends up in @p block); otherwise returns the reason
         * and keeps its previous block, @p block untouched. Never reads outside @p block and never
         * aborts.
         */
        [[nodiscard]] std::string adoptBlock(std::vector<char>& block);

        /**
         * @brief Reason why the adopted block breaks an owner's rule, empty when it does not
         *
         * Called by @ref adoptBlock() once the sizes and id tables are known to be sound and the
         * views are bound. Nothing by default.
         */
        [[nodiscard]] virtual std::string checkAdoptedBlock() const;

        /**
         * @brief Add an element at index @ref size()
         *
         * Reuses the most recently removed id first and resets its columns to their defaults;
         * otherwise takes a fresh slot whose id equals its index. A full array grows by 32 with
         * the warning "SparseArray::add(): On the fly allocation was required".
         */
        Id add();

        /** @brief Remove the element at @p index (an index, not an id); expects a live index */
        void remove(IndexType index);

        /** @brief Put the columns of the slots [first, last) into their default state */
        void construct(IndexType first, IndexType last);

        /**
         * @brief Append the elements of another array of the same layout
         *
         * Grows to exactly the needed capacity, maps the new indices to ids (free ids first, in
         * free-list order). With @p appendData the column values are appended and the size grows;
         * without it only the id mapping is prepared and the size stays, for callers that fill
         * the data themselves.
         */
        void append(const SparseArray& other, bool appendData);

        /**
         * @brief Whether @p id was handed out and its element has since been removed
         *
         * A never-used id is not deleted. Expects @p id to be below the capacity.
         */
        [[nodiscard]] bool isDeleted(Id id) const;

        /** @brief Number of slots */
        [[nodiscard]] IndexType capacity() const { return header().capacity; }

        /** @brief Number of live elements */
        [[nodiscard]] IndexType size() const { return header().size; }

        /** @brief Number of slots whose id mapping has been set up */
        [[nodiscard]] IndexType initializedCount() const { return header().initializedCount; }

        /** @brief Header size in bytes, tail included */
        [[nodiscard]] std::uint32_t headerSize() const { return header().headerSize; }

        /** @brief Index of @p id; unchecked in release builds, expects @p id below the capacity */
        [[nodiscard]] IndexType indexOf(Id id) const {
            QUILLMARSH_DEBUG_ASSERT(id < capacity(), "SparseArray::indexOf(): id" << id.value << "out of range for a capacity of" << capacity(), {});
            return _indirection[id];
        }

        /** @brief Id at @p index; unchecked in release builds, expects @p index below the capacity */
        [[nodiscard]] Id idOf(IndexType index) const {
            QUILLMARSH_DEBUG_ASSERT(index < capacity(), "SparseArray::idOf(): index" << index << "out of range for a capacity of" << capacity(), {});
            return _indirectionReverse[index];
        }

        /** @brief Id→index table, capacity entries */
        [[nodiscard]] std::span<const std::uint16_t> indirection() const { return _indirection; }

        /** @brief Index→id table, capacity entries */
        [[nodiscard]] std::span<const Id> indirectionReverse() const { return _indirectionReverse; }

        /** @brief The whole block */
        std::span<const char> data() const { return _data; }

        /** @brief Partition of the block into header, tables and columns */
        const Utils::MemoryPartition& partition() const { return _partition; }

        /** @brief Layout of the columns, or `nullptr` before the owner set one */
        const Layout* layout() const { return _layout; }

    protected:
        /** @brief Set the layout; called by subclass constructors before the first @ref allocate() */
        void setLayout(Layout* layout) { _layout = layout; }

        /** @brief Header of the block */
        SparseArrayHeader& header() { return *reinterpret_cast<SparseArrayHeader*>(_data.data()); }
        const SparseArrayHeader& header() const { return *reinterpret_cast<const SparseArrayHeader*>(_data.data()); }

        /** @brief Owner's header tail, right after the 16-byte header */
        char* headerTail() { return _data.data() + sizeof(SparseArrayHeader); }
        const char* headerTail() const { return _data.data() + sizeof(SparseArrayHeader); }

        /** @brief Block as mutable bytes; views into it die with the next @ref allocate() */
        std::span<char> block() { return _data; }

        /** @brief Mutable partition, for layouts and owners adding their regions in `doInit()` */
        Utils::MemoryPartition& mutablePartition() { return _partition; }

        /** @brief Set the number of live elements; the caller keeps the tables consistent */
        void setSize(IndexType size) { header().size = size; }

        /** @brief Set the initialized count; the caller keeps the tables consistent */
        void setInitializedCount(IndexType count) { header().initializedCount = count; }

        std::vector<char> _data;
        Utils::MemoryPartition _partition;
        std::span<std::uint16_t> _indirection;
        std::span<Id> _indirectionReverse;
        std::span<char> _columnData;
        Layout* _layout{};
};

/**
 * @brief Common base of column types
 *
 * Column types are described by @ref SparseLayer and @ref SparseLayerAlloc; the base only marks
 * them.
 */
class QUILLMARSH_EXPORT SparseArray::Layer {};

/**
 * @brief List of the columns of one sparse array type
 *
 * Applies each column step to every column of the list. Owned by the subclass of
 * @ref SparseArray that uses it; @ref SparseArrayStaticLayout implements it for a fixed column
 * list.
 */
class QUILLMARSH_EXPORT SparseArray::Layout {
    public:
        virtual ~Layout();

        /** @brief Bytes the block columns (and owner regions) need for @p capacity */
        virtual std::size_t dataSize(IndexType capacity) const = 0;

        /** @brief Place every block column in the block and bind its view */
        virtual void doInit() = 0;

        /** @brief Put every column of the slots [first, last) into its default state */
        virtual void doConstruct(IndexType first, IndexType last) = 0;

        /** @brief Exchange the column values of indices @p a and @p b */
        virtual void doSwap(IndexType a, IndexType b) = 0;

        /** @brief Copy the column values of @p from onto @p to */
        virtual void doCopy(IndexType from, IndexType to) = 0;

        /** @brief Move the value at @p from before @p to, shifting the values between by one */
        virtual void doMove(IndexType from, IndexType to) = 0;

        /** @brief Release what the element at @p index holds outside the block */
        virtual void doDelete(IndexType index) = 0;

        /** @brief Append the column values of all live elements of @p other behind the live elements */
        virtual void doAppend(const SparseArray& other) = 0;

    protected:
        /* Access for layouts to the block of the array they describe */
        static Utils::MemoryPartition& partitionOf(SparseArray& array) { return array._partition; }
        static std::span<char> blockOf(SparseArray& array) { return array._data; }
};

}}

#endif
