#ifndef QuillmarshEngine_LineCallbackBuffer_h
#define QuillmarshEngine_LineCallbackBuffer_h

/** @file
 * @brief Class @ref QuillmarshEngine::LineCallbackBuffer
 */

#include <cstddef>
#include <memory>
#include <streambuf>
#include <string_view>

#include "QuillmarshEngine/visibility.h"

namespace QuillmarshEngine {

/**
 * @brief Stream buffer that hands every line to a callback
 *
 * Collects characters written through a `std::ostream` and calls the callback once per line with
 * the line's text, without the newline (the view is null-terminated). A line longer than
 * @ref MaxLineSize characters is handed over in pieces of @ref MaxLineSize characters. Characters
 * still held when the buffer is destroyed (a last line without a newline) are discarded. Owns one
 * block of @ref BufferSize bytes; no allocation per character. Not thread-safe: one buffer serves
 * one thread.
 */
class QUILLMARSH_EXPORT LineCallbackBuffer: public std::streambuf {
    public:
        /** @brief Line callback: the line and the user data given at construction */
        typedef void(*Callback)(std::string_view line, void* userData);

        /** @brief Size of the owned buffer */
        static constexpr std::size_t BufferSize = 0x8000;
        /** @brief Longest piece handed to the callback at once */
        static constexpr std::size_t MaxLineSize = BufferSize - 1;

        /** @brief Constructor; @p callback must not be null */
        explicit LineCallbackBuffer(Callback callback, void* userData = nullptr);

        LineCallbackBuffer(const LineCallbackBuffer&) = delete;
        LineCallbackBuffer& operator=(const LineCallbackBuffer&) = delete;

        /** @brief Discards an unterminated last line */
        ~LineCallbackBuffer() override;

        /** @brief Characters currently held (the unterminated part of the current line) */
        std::size_t size() const { return _size; }

    protected:
        /* No put area is ever set, so every character arrives here */
        int_type overflow(int_type c) override;

    private:
        void emit();

        std::unique_ptr<char[]> _buffer;
        std::size_t _size;
        Callback _callback;
        void* _userData;
};

}

#endif
