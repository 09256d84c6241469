#ifndef QuillmarshEngine_StringArray_h
#define QuillmarshEngine_StringArray_h

/** @file
 * @brief Classes @ref QuillmarshEngine::StringArrayView, @ref QuillmarshEngine::MutableStringArrayView, @ref QuillmarshEngine::StringArray
 */

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string_view>
#include <vector>

#include "QuillmarshEngine/visibility.h"

namespace QuillmarshEngine {

/**
 * @brief View of strings stored back to back in one character block
 *
 * Each string is followed by one NUL byte. The view keeps a table of `size() + 1` 64-bit offsets;
 * string `i` starts at `offsets()[i]` and has length `offsets()[i + 1] - offsets()[i] - 1`, and is
 * returned as a view whose character at `size()` is the terminating NUL. The view does not own the
 * block; the offset table is its own.
 *
 * Built from a block and a count, the view scans exactly @p count strings (empty ones included)
 * and aborts with `StringArrayView(): data too small to hold existing element count` when the block
 * is shorter than @p count bytes, or `StringArrayView(): data did not contain <count> existing
 * elements values` when fewer terminated strings are found. Built from a block alone, it scans until
 * the end of the block or until the first empty string, which deliberately ends the list; an
 * unterminated tail is not a string. Reading index `i >= size()` aborts with
 * `StringArrayView::get(): invalid index <i> for size <size>`.
 */
class QUILLMARSH_EXPORT StringArrayView {
    public:
        /** @brief Empty view */
        StringArrayView();

        /** @brief View exactly @p count strings at the start of @p data */
        explicit StringArrayView(std::span<const char> data, std::size_t count);

        /** @brief View the strings of @p data up to its end or its first empty string */
        explicit StringArrayView(std::span<const char> data);

        /** @brief Number of strings */
        std::size_t size() const { return _offsets.size() - 1; }
        /** @brief Whether there is no string */
        bool isEmpty() const { return _offsets.size() == 1; }

        /**
         * @brief String @p i, null-terminated
         *
         * Expects that @p i is less than @ref size().
         */
        std::string_view get(std::size_t i) const;
        std::string_view operator[](std::size_t i) const { return get(i); }

        /**
         * @brief Index of the first string equal to @p string, or -1
         */
        std::ptrdiff_t find(std::string_view string) const;

        /** @brief The viewed block */
        std::span<const char> data() const { return {_data, _dataSize}; }
        /** @brief The offset table, `size() + 1` entries */
        std::span<const std::uint64_t> offsets() const { return _offsets; }
        /** @brief Bytes used by the strings and their terminators */
        std::uint64_t usedSize() const { return _offsets.back(); }

        /** @brief Iterator over the strings */
        class Iterator {
            public:
                Iterator(const StringArrayView& view, std::size_t i): _view{&view}, _i{i} {}
                std::string_view operator*() const { return _view->get(_i); }
                Iterator& operator++() { ++_i; return *this; }
                bool operator==(const Iterator& other) const { return _i == other._i; }
                bool operator!=(const Iterator& other) const { return _i != other._i; }
            private:
                const StringArrayView* _view;
                std::size_t _i;
        };
        Iterator begin() const { return {*this, 0}; }
        Iterator end() const { return {*this, size()}; }

    protected:
        const char* _data;
        std::size_t _dataSize;
        std::vector<std::uint64_t> _offsets;
};

/**
 * @brief String array view over a writable block, able to append
 *
 * Unused capacity is the block size minus the end offset of the last string. Adding a string needs
 * its length + 1 bytes of it, else aborts with `MutableStringArrayView::add(): Capacity exhausted`.
 */
class QUILLMARSH_EXPORT MutableStringArrayView: public StringArrayView {
    public:
        /** @brief Empty view of no block */
        MutableStringArrayView() = default;

        /** @brief View @p count existing strings at the start of @p data, see @ref StringArrayView */
        explicit MutableStringArrayView(std::span<char> data, std::size_t count = 0);

        /** @brief Bytes left for new strings */
        std::size_t unusedCapacity() const { return _dataSize - std::size_t(_offsets.back()); }

        /**
         * @brief Append a copy of @p string and its terminator
         *
         * Expects `string.size() + 1` bytes of unused capacity. Returns the index of the new string.
         */
        std::size_t add(std::string_view string);
};

/**
 * @brief Owning string array
 *
 * Same layout as @ref StringArrayView, with a block that grows as strings are added.
 */
class QUILLMARSH_EXPORT StringArray {
    public:
        /** @brief Empty array */
        StringArray();
        /** @brief Array holding copies of @p strings */
        /*implicit*/ StringArray(std::initializer_list<std::string_view> strings);
        /** @brief Array holding copies of the strings of @p view */
        explicit StringArray(const StringArrayView& view);

        /** @brief Number of strings */
        std::size_t size() const { return _offsets.size() - 1; }
        /** @brief Whether there is no string */
        bool isEmpty() const { return _offsets.size() == 1; }
        /** @brief String @p i, see @ref StringArrayView::get() */
        std::string_view get(std::size_t i) const;
        std::string_view operator[](std::size_t i) const { return get(i); }
        /** @brief Append a copy of @p string; returns its index */
        std::size_t add(std::string_view string);
        /** @brief The block: every string followed by its NUL */
        std::span<const char> data() const { return _data; }
        /** @brief The offset table, `size() + 1` entries */
        std::span<const std::uint64_t> offsets() const { return _offsets; }
        /** @brief View of the strings, valid until the next @ref add() */
        StringArrayView view() const;

    private:
        std::vector<char> _data;
        std::vector<std::uint64_t> _offsets;
};

}

#endif
