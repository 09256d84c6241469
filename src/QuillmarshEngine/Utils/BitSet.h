#ifndef QuillmarshEngine_Utils_BitSet_h
#define QuillmarshEngine_Utils_BitSet_h

/** @file
 * @brief Class @ref QuillmarshEngine::Utils::BitSet, @ref QuillmarshEngine::Utils::BitSetView
 */

#include <cstddef>
#include <cstdint>
#include <vector>

#include "QuillmarshEngine/visibility.h"

namespace QuillmarshEngine { namespace Utils {

/**
 * @brief Non-owning view on packed bits
 *
 * Bit i lives in 32-bit word i / 32 at position i % 32. The view holds a word pointer and a word
 * count and never allocates; it stays valid as long as the words it points to. Reads and writes
 * of a bit beyond the words are the caller's fault and are not checked in the hot accessors.
 */
class QUILLMARSH_EXPORT BitSetView {
    public:
        /** @brief Empty view */
        constexpr BitSetView() noexcept: _words{}, _wordCount{} {}

        /** @brief View on @p wordCount words at @p words */
        constexpr explicit BitSetView(std::uint32_t* words, std::size_t wordCount) noexcept: _words{words}, _wordCount{wordCount} {}

        /** @brief Word storage */
        std::uint32_t* words() const { return _words; }

        /** @brief Number of words */
        std::size_t wordCount() const { return _wordCount; }

        /** @brief Number of bits the words hold, 32 per word */
        std::size_t bitCount() const { return _wordCount*32; }

        /** @brief Value of bit @p index */
        bool operator[](std::size_t index) const {
            return (_words[index >> 5] >> (index & 31)) & 1u;
        }

        /** @brief Set bit @p index */
        void set(std::size_t index) const { _words[index >> 5] |= 1u << (index & 31); }

        /** @brief Clear bit @p index */
        void reset(std::size_t index) const { _words[index >> 5] &= ~(1u << (index & 31)); }

        /** @brief Set bit @p index to @p value */
        void set(std::size_t index, bool value) const {
            if(value) set(index);
            else reset(index);
        }

        /**
         * @brief Set the bits [first, last)
         *
         * Whole words inside the range are written at once, partial words are OR-ed with a mask.
         * Bits beyond the last word are never touched.
         */
        void setRange(std::size_t first, std::size_t last) const;

        /** @brief Clear the bits [first, last), word by word like @ref setRange() */
        void resetRange(std::size_t first, std::size_t last) const;

        /** @brief Clear every word */
        void resetAll() const;

        /** @brief Number of set bits */
        std::size_t count() const;

        /**
         * @brief Complement every word in place
         *
         * Returns the view itself for chaining.
         */
        const BitSetView& operator~() const;

    private:
        std::uint32_t* _words;
        std::size_t _wordCount;
};

/**
 * @brief Owning, growable set of packed bits
 *
 * Same bit order as @ref BitSetView. New words are always zero. @ref setSafe() grows the set to
 * the next power of two words that covers the index, so repeated growth stays amortised.
 */
class QUILLMARSH_EXPORT BitSet {
    public:
        /** @brief Empty set */
        BitSet() = default;

        /** @brief Set of @p bitCount zero bits (rounded up to whole words) */
        explicit BitSet(std::size_t bitCount);

        /** @brief Resize to hold @p bitCount bits, keeping existing words and zeroing new ones */
        void resize(std::size_t bitCount);

        /** @brief Number of bits held, a multiple of 32 */
        std::size_t bitCount() const { return _words.size()*32; }

        /** @brief Number of words */
        std::size_t wordCount() const { return _words.size(); }

        /** @brief Word storage */
        std::uint32_t* words() { return _words.data(); }
        const std::uint32_t* words() const { return _words.data(); }

        /** @brief View on the words; invalidated by growth */
        BitSetView view() { return BitSetView{_words.data(), _words.size()}; }

        /** @brief Value of bit @p index, false beyond the set */
        bool operator[](std::size_t index) const {
            return index < bitCount() && ((_words[index >> 5] >> (index & 31)) & 1u);
        }

        /**
         * @brief Set bit @p index
         *
         * Expects @p index to be inside the set, see @ref setSafe() for the growing variant.
         */
        void set(std::size_t index);

        /** @brief Set bit @p index, growing the set first when it lies beyond */
        void setSafe(std::size_t index);

        /** @brief Clear bit @p index; an index beyond the set is already clear and is ignored */
        void reset(std::size_t index);

        /** @brief Clear every bit, keeping the size */
        void resetAll();

    private:
        std::vector<std::uint32_t> _words;
};

}}

#endif
