#ifndef QuillmarshEngine_Utils_MemoryPartition_h
#define QuillmarshEngine_Utils_MemoryPartition_h

/** @file
 * @brief Class @ref QuillmarshEngine::Utils::MemoryPartition, functions @ref QuillmarshEngine::Utils::moveRegions(),
 *      @ref QuillmarshEngine::Utils::copyRegions(), @ref QuillmarshEngine::Utils::removeRegions(),
 *      @ref QuillmarshEngine::Utils::moveDataRange(), @ref QuillmarshEngine::Utils::moveBit()
 */

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "QuillmarshEngine/Assert.h"
#include "QuillmarshEngine/Utils/BitSet.h"

namespace QuillmarshEngine { namespace Utils {

/**
 * @brief Division of one byte block into consecutive regions
 *
 * An ordered list of (offset, size) regions laid out one after another in a block the partition
 * does not own. Regions are reserved once (@ref reserveRegions()) and then added in block order;
 * each starts at the running offset, which callers round up with @ref alignOffset() when the next
 * region must start on a 4-byte boundary. When a block is resized, a partition for the new size is
 * built beside the old one and @ref moveRegions() carries the contents across.
 *
 * Misuse (adding more regions than reserved, an unaligned region where alignment was asked for,
 * an index beyond the list) prints the reason and aborts. Copyable.
 */
class QUILLMARSH_EXPORT MemoryPartition {
    public:
        /** @brief One region of a block, in bytes */
        struct Region {
            std::uint64_t offset; /**< Offset from the start of the block */
            std::uint64_t size;   /**< Size */
        };

        /** @brief Empty partition: no regions, running offset 0 */
        MemoryPartition() = default;

        /** @brief Lengthen the region list by @p count zeroed entries */
        void reserveRegions(std::size_t count);

        /**
         * @brief Append a region of @p count elements of @p T at the running offset
         *
         * Expects a reserved entry to be free ("exceeded initialized region count") and, with
         * @p checkAligned, the running offset to be a multiple of 4. Adds no padding. Returns the
         * partition for chaining.
         */
        template<class T> MemoryPartition& addRegion(std::size_t count, bool checkAligned = true) {
            return addRegionBytes(count*sizeof(T), checkAligned);
        }

        /** @brief Append a region of @p size bytes, see @ref addRegion() */
        MemoryPartition& addRegionBytes(std::uint64_t size, bool checkAligned = true);

        /**
         * @brief Append a last region spanning from the running offset to @p dataSize
         *
         * Expects @p dataSize not to be below the running offset.
         */
        MemoryPartition& addFinalRegion(std::uint64_t dataSize);

        /** @brief Round the running offset up to a multiple of 4 */
        MemoryPartition& alignOffset() {
            _offset = (_offset + 3) & ~std::uint64_t{3};
            return *this;
        }

        /** @brief End of the last added region, including any rounding applied since */
        std::uint64_t offset() const { return _offset; }

        /** @brief Number of reserved regions */
        std::size_t regionCount() const { return _regions.size(); }

        /** @brief Number of regions added so far */
        std::size_t usedRegionCount() const { return _usedRegionCount; }

        /** @brief All reserved regions */
        std::span<const Region> regions() const { return _regions; }

        /** @brief Offsets of all reserved regions, a copy */
        std::vector<std::uint64_t> offsets() const;

        /** @brief Sizes of all reserved regions, a copy */
        std::vector<std::uint64_t> sizes() const;

        /** @brief Region @p index; expects @p index to be below @ref regionCount() */
        Region regionAt(std::size_t index) const;

        /**
         * @brief Typed view of region @p index inside @p block
         *
         * The view has size / sizeof(T) elements. With @p checkAligned the region's start must
         * be a multiple of 4 bytes. Expects @p index to be in range and the region to lie inside
         * the block.
         */
        template<class T> std::span<T> region(std::size_t index, std::span<char> block, bool checkAligned = true) const {
            const std::span<char> bytes = regionBytes(index, block, checkAligned);
            return {reinterpret_cast<T*>(bytes.data()), bytes.size()/sizeof(T)};
        }

        /** @brief Bytes of region @p index inside @p block, see @ref region() */
        std::span<char> regionBytes(std::size_t index, std::span<char> block, bool checkAligned = true) const;

        /**
         * @brief Drop @p count regions starting at @p first
         *
         * Only the bookkeeping changes; later regions keep their offsets. Expects the regions to
         * exist among the used ones. See @ref Utils::removeRegions() for cutting block contents.
         */
        void removeRegions(std::size_t first, std::size_t count);

    private:
        std::vector<Region> _regions;
        std::size_t _usedRegionCount{};
        std::uint64_t _offset{};
};

/**
 * @brief Move region contents of a block from one partition's layout to another's
 *
 * Used after a block has grown: regions are moved from the last down to the second (the first,
 * the header, never moves), each by its old size, and the vacated front of every moved region is
 * zeroed. With the grown tail of the block zeroed by the caller, every newly gained byte of every
 * region then reads zero. Expects equal used region counts.
 */
QUILLMARSH_EXPORT void moveRegions(const MemoryPartition& from, const MemoryPartition& to, std::span<char> block);

/**
 * @brief Copy every region of @p source into the matching region of @p target
 *
 * Region i of @p source is copied to the start of region i of @p target plus @p offsets[i] bytes,
 * which appends one block's regions behind content already present in another's. Expects equal
 * used region counts, one offset per region and every source region to be exactly as large as the
 * target region minus its offset.
 */
QUILLMARSH_EXPORT void copyRegions(const MemoryPartition& from, const MemoryPartition& to, std::span<const char> source, std::span<char> target, std::span<const std::uint64_t> offsets);

/**
 * @brief Cut the contents of @p count regions out of a block
 *
 * Everything after the last removed region moves down to the start of region @p first and the
 * freed tail of the block is zeroed. The partition itself is not changed. Nothing happens for
 * @p count 0.
 */
QUILLMARSH_EXPORT void removeRegions(const MemoryPartition& partition, std::span<char> block, std::size_t first, std::size_t count);

/**
 * @brief Move the byte run [from, from + count) so that it is inserted before @p to
 *
 * A forward move (from < to) shifts the bytes in between down and places the run at
 * [to − count, to); a backward move shifts [to, from) up and places the run at [to, to + count).
 * Callers pass element-scaled values. Uses a temporary buffer.
 */
QUILLMARSH_EXPORT void moveDataRange(std::span<char> data, std::size_t from, std::size_t count, std::size_t to);

/**
 * @brief Move one bit so that it is inserted before @p to
 *
 * If from < to, the bits (from, to − 1] move down by one and the bit lands at to − 1; otherwise
 * the bits [to, from) move up by one and the bit lands at @p to. Whole 32-bit words in between
 * are shifted at once.
 */
QUILLMARSH_EXPORT void moveBit(BitSetView bits, std::size_t from, std::size_t to);

/**
 * @brief Move the bit run [from, from + count) so that it is inserted before @p to
 *
 * The bit counterpart of @ref moveDataRange(), with the same placement rules.
 */
QUILLMARSH_EXPORT void moveBitRange(BitSetView bits, std::size_t from, std::size_t count, std::size_t to);

}}

#endif
