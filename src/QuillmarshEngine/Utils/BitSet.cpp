#include "QuillmarshEngine/Utils/BitSet.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "QuillmarshEngine/Assert.h"

namespace QuillmarshEngine { namespace Utils {

namespace {

/* Mask of the bits [first, last) of one word, 0 <= first < last <= 32 */
inline std::uint32_t wordMask(std::size_t first, std::size_t last) {
    const std::uint32_t upper = last == 32 ? ~0u : (1u << last) - 1u;
    return upper & ~((1u << first) - 1u);
}

}

void BitSetView::setRange(std::size_t first, std::size_t last) const {
    last = std::min(last, bitCount());
    if(first >= last) return;
    std::size_t firstWord = first >> 5;
    const std::size_t lastWord = (last - 1) >> 5;
    if(firstWord == lastWord) {
        _words[firstWord] |= wordMask(first & 31, ((last - 1) & 31) + 1);
        return;
    }
    _words[firstWord] |= wordMask(first & 31, 32);
    for(std::size_t w = firstWord + 1; w < lastWord; ++w) _words[w] = ~0u;
    _words[lastWord] |= wordMask(0, ((last - 1) & 31) + 1);
}

void BitSetView::resetRange(std::size_t first, std::size_t last) const {
    last = std::min(last, bitCount());
    if(first >= last) return;
    std::size_t firstWord = first >> 5;
    const std::size_t lastWord = (last - 1) >> 5;
    if(firstWord == lastWord) {
        _words[firstWord] &= ~wordMask(first & 31, ((last - 1) & 31) + 1);
        return;
    }
    _words[firstWord] &= ~wordMask(first & 31, 32);
    for(std::size_t w = firstWord + 1; w < lastWord; ++w) _words[w] = 0;
    _words[lastWord] &= ~wordMask(0, ((last - 1) & 31) + 1);
}

void BitSetView::resetAll() const {
    if(_wordCount) std::memset(_words, 0, _wordCount*4);
}

std::size_t BitSetView::count() const {
    std::size_t out = 0;
    for(std::size_t i = 0; i != _wordCount; ++i) out += std::popcount(_words[i]);
    return out;
}

const BitSetView& BitSetView::operator~() const {
    for(std::size_t i = 0; i != _wordCount; ++i) _words[i] = ~_words[i];
    return *this;
}

BitSet::BitSet(std::size_t bitCount): _words((bitCount + 31)/32, 0u) {}

void BitSet::resize(std::size_t bitCount) {
    _words.resize((bitCount + 31)/32, 0u);
}

void BitSet::set(std::size_t index) {
    QUILLMARSH_ASSERT(index < bitCount(),
        "BitSet::set(): index" << index << "out of range for" << bitCount() << "bits", );
    _words[index >> 5] |= 1u << (index & 31);
}

void BitSet::setSafe(std::size_t index) {
    if(index >= bitCount())
        _words.resize(std::bit_ceil((index >> 5) + 1), 0u);
    _words[index >> 5] |= 1u << (index & 31);
}

void BitSet::reset(std::size_t index) {
    if(index < bitCount()) _words[index >> 5] &= ~(1u << (index & 31));
}

void BitSet::resetAll() {
    std::fill(_words.begin(), _words.end(), 0u);
}

}}
