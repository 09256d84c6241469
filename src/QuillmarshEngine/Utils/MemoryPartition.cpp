#include "QuillmarshEngine/Utils/MemoryPartition.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

namespace QuillmarshEngine { namespace Utils {

void MemoryPartition::reserveRegions(const std::size_t count) {
    _regions.resize(_regions.size() + count, Region{0, 0});
}

MemoryPartition& MemoryPartition::addRegionBytes(const std::uint64_t size, const bool checkAligned) {
    QUILLMARSH_ASSERT(_usedRegionCount < _regions.size(),
        "MemoryPartition::addRegion(): exceeded initialized region count", *this);
    QUILLMARSH_ASSERT(!checkAligned || _offset % 4 == 0,
        "MemoryPartition::addRegion(): region is not 4 byte aligned.", *this);
    _regions[_usedRegionCount++] = Region{_offset, size};
    _offset += size;
    return *this;
}

MemoryPartition& MemoryPartition::addFinalRegion(const std::uint64_t dataSize) {
    QUILLMARSH_ASSERT(dataSize >= _offset,
        "MemoryPartition::addFinalRegion(): data size smaller than current offset", *this);
    return addRegionBytes(dataSize - _offset, false);
}

std::vector<std::uint64_t> MemoryPartition::offsets() const {
    std::vector<std::uint64_t> out(_regions.size());
    for(std::size_t i = 0; i != _regions.size(); ++i) out[i] = _regions[i].offset;
    return out;
}

std::vector<std::uint64_t> MemoryPartition::sizes() const {
    std::vector<std::uint64_t> out(_regions.size());
    for(std::size_t i = 0; i != _regions.size(); ++i) out[i] = _regions[i].size;
    return out;
}

MemoryPartition::Region MemoryPartition::regionAt(const std::size_t index) const {
    QUILLMARSH_INTERNAL_ASSERT(index < _regions.size());
    return _regions[index];
}

std::span<char> MemoryPartition::regionBytes(const std::size_t index, const std::span<char> block, const bool checkAligned) const {
    QUILLMARSH_INTERNAL_ASSERT(index < _regions.size());
    const Region& r = _regions[index];
    QUILLMARSH_ASSERT(r.offset + r.size <= block.size(),
        "MemoryPartition::region(): region" << index << "of" << r.size << "bytes at" << r.offset << "exceeds a block of" << block.size() << "bytes", {});
    QUILLMARSH_ASSERT(!checkAligned || (r.offset % 4 == 0 && reinterpret_cast<std::uintptr_t>(block.data()) % 4 == 0),
        "MemoryPartition::region(): region is not 4 byte aligned.", {});
    return block.subspan(r.offset, r.size);
}

void MemoryPartition::removeRegions(const std::size_t first, const std::size_t count) {
    QUILLMARSH_ASSERT(first + count <= _usedRegionCount,
        "MemoryPartition::removeRegions(): Can't remove more regions than size", );
    _regions.erase(_regions.begin() + first, _regions.begin() + first + count);
    _usedRegionCount -= count;
}

void moveRegions(const MemoryPartition& from, const MemoryPartition& to, const std::span<char> block) {
    QUILLMARSH_ASSERT(from.usedRegionCount() == to.usedRegionCount(),
        "moveRegions(): Can't move partitions with different region counts", );
    const std::span<const MemoryPartition::Region> a = from.regions();
    const std::span<const MemoryPartition::Region> b = to.regions();
    /* Back to front, so no move overwrites a region that has not moved yet. The region 0 is
       the header and stays. */
    for(std::size_t k = from.usedRegionCount(); k-- > 1; ) {
        const MemoryPartition::Region& o = a[k];
        const MemoryPartition::Region& n = b[k];
        if(o.offset == n.offset) continue;
        QUILLMARSH_INTERNAL_ASSERT(n.offset + o.size <= block.size() && o.offset + o.size <= block.size());
        std::memmove(block.data() + n.offset, block.data() + o.offset, o.size);
        if(n.offset > o.offset)
            std::memset(block.data() + o.offset, 0, std::min(n.offset - o.offset, o.size));
    }
}

void copyRegions(const MemoryPartition& from, const MemoryPartition& to, const std::span<const char> source, const std::span<char> target, const std::span<const std::uint64_t> offsets) {
    QUILLMARSH_ASSERT(from.usedRegionCount() == to.usedRegionCount(),
        "copyRegions(): Can't copy partitions with different region counts", );
    QUILLMARSH_ASSERT(offsets.size() == from.usedRegionCount(),
        "copyRegions(): Offset count did not match region counts", );
    const std::span<const MemoryPartition::Region> a = from.regions();
    const std::span<const MemoryPartition::Region> b = to.regions();
    for(std::size_t i = 0; i != from.usedRegionCount(); ++i) {
        QUILLMARSH_ASSERT(b[i].size >= offsets[i] && a[i].size == b[i].size - offsets[i],
            "copyRegions(): Region size did not match", );
        QUILLMARSH_ASSERT(a[i].offset + a[i].size <= source.size() && b[i].offset + b[i].size <= target.size(),
            "copyRegions(): Region exceeds its block", );
        if(a[i].size) std::memcpy(target.data() + b[i].offset + offsets[i], source.data() + a[i].offset, a[i].size);
    }
}

void removeRegions(const MemoryPartition& partition, const std::span<char> block, const std::size_t first, const std::size_t count) {
    if(!count) return;
    QUILLMARSH_INTERNAL_ASSERT(first + count <= partition.usedRegionCount());
    const std::span<const MemoryPartition::Region> r = partition.regions();
    const std::uint64_t start = r[first].offset;
    const std::uint64_t end = r[first + count - 1].offset + r[first + count - 1].size;
    QUILLMARSH_INTERNAL_ASSERT(end <= block.size());
    const std::uint64_t tail = block.size() - end;
    std::memmove(block.data() + start, block.data() + end, tail);
    std::memset(block.data() + start + tail, 0, end - start);
}

void moveDataRange(const std::span<char> data, const std::size_t from, const std::size_t count, const std::size_t to) {
    if(from == to || count == 0) return;
    QUILLMARSH_ASSERT(from + count <= data.size() && to <= data.size(),
        "Utils::moveDataRange(): range of" << count << "bytes from" << from << "to" << to << "out of bounds for" << data.size() << "bytes", );
    if(from < to) {
        /* Moving forward inside its own run is a no-op */
        if(to <= from + count) return;
    }
    const std::unique_ptr<char[]> temp{new char[count]};
    std::memcpy(temp.get(), data.data() + from, count);
    if(from < to) {
        std::memmove(data.data() + from, data.data() + from + count, to - from - count);
        std::memcpy(data.data() + to - count, temp.get(), count);
    } else {
        std::memmove(data.data() + to + count, data.data() + to, from - to);
        std::memcpy(data.data() + to, temp.get(), count);
    }
}

namespace {

/* Shift the bits [first, last) up by one position (towards higher indices); bit last is
   overwritten, bit first keeps its old value. Whole words in between shift at once. */
void shiftUp(const BitSetView bits, const std::size_t first, const std::size_t last) {
    if(first >= last) return;
    std::uint32_t* const w = bits.words();
    const std::size_t firstWord = first >> 5;
    const std::size_t lastWord = last >> 5;
    if(firstWord == lastWord) {
        /* Bits [first, last] all in one word: shift the masked part left by one */
        const std::uint32_t lo = first & 31, hi = last & 31;
        const std::uint32_t mask = (hi == 31 ? ~0u : (2u << hi) - 1u) & ~((1u << lo) - 1u);
        const std::uint32_t part = w[firstWord] & mask;
        w[firstWord] = (w[firstWord] & ~mask) | ((part << 1) & mask) | (part & (1u << lo));
        return;
    }
    /* Last word: its bits [0, last & 31] take the bits one lower */
    {
        const std::uint32_t hi = last & 31;
        const std::uint32_t mask = hi == 31 ? ~0u : (2u << hi) - 1u;
        const std::uint32_t shifted = (w[lastWord] << 1) | (w[lastWord - 1] >> 31);
        w[lastWord] = (w[lastWord] & ~mask) | (shifted & mask);
    }
    for(std::size_t k = lastWord - 1; k > firstWord; --k)
        w[k] = (w[k] << 1) | (w[k - 1] >> 31);
    /* First word: bits (first & 31, 31] take the bits one lower, bit first stays */
    {
        /* 2u << 31 wraps to 0, which makes the mask empty for lo == 31 as wanted */
        const std::uint32_t lo = first & 31;
        const std::uint32_t above = ~((2u << lo) - 1u);
        w[firstWord] = (w[firstWord] & ~above) | ((w[firstWord] << 1) & above);
    }
}

/* Shift the bits (first, last] down by one position; bit first is overwritten, bit last keeps
   its old value. */
void shiftDown(const BitSetView bits, const std::size_t first, const std::size_t last) {
    if(first >= last) return;
    std::uint32_t* const w = bits.words();
    const std::size_t firstWord = first >> 5;
    const std::size_t lastWord = last >> 5;
    if(firstWord == lastWord) {
        const std::uint32_t lo = first & 31, hi = last & 31;
        const std::uint32_t mask = (hi == 31 ? ~0u : (2u << hi) - 1u) & ~((1u << lo) - 1u);
        const std::uint32_t part = w[firstWord] & mask;
        w[firstWord] = (w[firstWord] & ~mask) | ((part >> 1) & mask) | (part & (1u << hi));
        return;
    }
    {
        const std::uint32_t lo = first & 31;
        const std::uint32_t mask = ~((1u << lo) - 1u);
        const std::uint32_t shifted = (w[firstWord] >> 1) | (w[firstWord + 1] << 31);
        w[firstWord] = (w[firstWord] & ~mask) | (shifted & mask);
    }
    for(std::size_t k = firstWord + 1; k < lastWord; ++k)
        w[k] = (w[k] >> 1) | (w[k + 1] << 31);
    {
        const std::uint32_t hi = last & 31;
        /* Bits [0, hi) take the bits one higher, bit hi and above stay */
        const std::uint32_t mask = (1u << hi) - 1u;
        w[lastWord] = (w[lastWord] & ~mask) | ((w[lastWord] >> 1) & mask);
    }
}

}

void moveBit(const BitSetView bits, const std::size_t from, const std::size_t to) {
    if(from == to) return;
    QUILLMARSH_ASSERT(from < bits.bitCount() && to <= bits.bitCount(),
        "Utils::moveBit(): moving bit" << from << "to" << to << "out of range for" << bits.bitCount() << "bits", );
    const bool value = bits[from];
    if(from < to) {
        if(to == from + 1) return;
        shiftDown(bits, from, to - 1);
        bits.set(to - 1, value);
    } else {
        shiftUp(bits, to, from);
        bits.set(to, value);
    }
}

namespace {

/* Up to 32 bits starting at bit pos; expects pos + count within the words */
inline std::uint32_t readBits(const std::uint32_t* const words, const std::size_t pos, const unsigned count) {
    const std::size_t word = pos >> 5;
    const unsigned offset = pos & 31;
    std::uint64_t value = words[word] >> offset;
    if(offset + count > 32) value |= std::uint64_t{words[word + 1]} << (32 - offset);
    return count == 32 ? std::uint32_t(value) : std::uint32_t(value) & ((1u << count) - 1u);
}

/* Write the low count bits of value at bit pos */
inline void writeBits(std::uint32_t* const words, const std::size_t pos, const unsigned count, const std::uint32_t value) {
    const std::size_t word = pos >> 5;
    const unsigned offset = pos & 31;
    const std::uint64_t mask = (count == 32 ? 0xffffffffull : ((1ull << count) - 1ull)) << offset;
    const std::uint64_t shifted = std::uint64_t{value} << offset;
    words[word] = std::uint32_t((words[word] & ~mask) | (shifted & mask));
    if(offset + count > 32)
        words[word + 1] = std::uint32_t((words[word + 1] & ~(mask >> 32)) | ((shifted & mask) >> 32));
}

/* Copy count bits from bit source of from to bit target of to, 32 at a time */
void copyBits(const std::uint32_t* const from, std::size_t source, std::uint32_t* const to, std::size_t target, std::size_t count) {
    while(count) {
        const unsigned n = unsigned(std::min<std::size_t>(count, 32));
        writeBits(to, target, n, readBits(from, source, n));
        source += n;
        target += n;
        count -= n;
    }
}

}

void moveBitRange(const BitSetView bits, const std::size_t from, const std::size_t count, const std::size_t to) {
    if(from == to || count == 0) return;
    QUILLMARSH_ASSERT(from + count <= bits.bitCount() && to <= bits.bitCount(),
        "Utils::moveBitRange(): range of" << count << "bits from" << from << "to" << to << "out of range for" << bits.bitCount() << "bits", );
    if(from < to && to <= from + count) return;
    if(count == 1) return moveBit(bits, from, to);
    /* The affected span [lo, hi) is copied aside and written back in its new order, 32 bits at
       a time */
    const std::size_t lo = std::min(from, to);
    const std::size_t hi = std::max(from + count, to);
    std::vector<std::uint32_t> temp((hi - lo + 31)/32 + 1);
    copyBits(bits.words(), lo, temp.data(), 0, hi - lo);
    const std::size_t runStart = from - lo;
    if(from < to) {
        /* The bits between move down to lo, the run follows them */
        copyBits(temp.data(), runStart + count, bits.words(), lo, hi - lo - count);
        copyBits(temp.data(), runStart, bits.words(), hi - count, count);
    } else {
        copyBits(temp.data(), runStart, bits.words(), lo, count);
        copyBits(temp.data(), 0, bits.words(), lo + count, from - to);
    }
}

}}
