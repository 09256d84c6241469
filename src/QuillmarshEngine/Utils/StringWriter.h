#ifndef QuillmarshEngine_Utils_StringWriter_h
#define QuillmarshEngine_Utils_StringWriter_h

/** @file
 * @brief Class @ref QuillmarshEngine::Utils::StringWriter
 */

#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "QuillmarshEngine/Assert.h"

namespace QuillmarshEngine { namespace Utils {

/**
 * @brief Growable output buffer for text passes
 *
 * Owns one character block of @ref capacity() bytes of which the first @ref size() are written.
 * The growing @ref append() functions keep at least one byte free after the text; when they must
 * grow, the capacity becomes the larger of 1.5 times the old capacity and the size needed. The
 * unchecked @ref write() functions are for callers that sized the buffer beforehand; writing past
 * the free room there is a bug of the caller and aborts with the failed assertion
 * `available() > bytes`. Not thread-safe.
 */
class QUILLMARSH_EXPORT StringWriter {
    public:
        /** @brief Buffer with room for @p capacity bytes */
        explicit StringWriter(std::size_t capacity = 0);

        StringWriter(StringWriter&& other) noexcept;
        StringWriter& operator=(StringWriter&& other) noexcept;

        /** @brief Bytes written */
        std::size_t size() const { return _size; }
        /** @brief Bytes the buffer holds */
        std::size_t capacity() const { return _capacity; }
        /** @brief Bytes not written yet */
        std::size_t available() const { return _capacity - _size; }
        /** @brief The written text */
        std::string_view view() const { return {_data.get(), _size}; }
        /** @brief Copy of the written text */
        std::string toString() const { return std::string{view()}; }

        /** @brief Forget the text, keeping the capacity */
        void clear() { _size = 0; }

        /**
         * @brief Make sure @p bytes more fit with one byte to spare
         *
         * Grows to the larger of 1.5 times the capacity and `size() + bytes + 1`.
         */
        void reserve(std::size_t bytes) {
            if(available() <= bytes) [[unlikely]] grow(bytes);
        }

        /** @brief Append @p text, growing as needed */
        void append(std::string_view text) {
            reserve(text.size());
            if(!text.empty()) std::memcpy(_data.get() + _size, text.data(), text.size());
            _size += text.size();
        }

        /** @brief Append @p size bytes at @p data, growing as needed */
        void append(const char* data, std::size_t size) { append(std::string_view{data, size}); }

        /** @brief Append one character, growing as needed */
        void append(char c) {
            reserve(1);
            _data[_size++] = c;
        }

        /**
         * @brief Append @p bytes bytes at @p data without growing
         *
         * Expects `available() > bytes`, which keeps one byte free after the text as the growing
         * functions do. Callers compute the size of their output first, reserve it once and then
         * write without further checks of their own.
         *
         */
        void write(const char* data, std::size_t bytes) {
            /* This check is named by its place in diagnostics: keep it on line 85 */
            QUILLMARSH_INTERNAL_ASSERT(available() > bytes);
            /* An empty view may have no data at all, which memcpy() must not see */
            if(bytes) std::memcpy(_data.get() + _size, data, bytes);
            _size += bytes;
        }

        /** @brief Append @p text without growing, see @ref write(const char*, std::size_t) */
        void write(std::string_view text) { write(text.data(), text.size()); }

    private:
        void grow(std::size_t bytes);

        std::unique_ptr<char[]> _data;
        std::size_t _size = 0;
        std::size_t _capacity = 0;
};

}}

#endif
