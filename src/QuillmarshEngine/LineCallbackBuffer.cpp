#include "QuillmarshEngine/LineCallbackBuffer.h"

#include "QuillmarshEngine/Assert.h"

namespace QuillmarshEngine {

LineCallbackBuffer::LineCallbackBuffer(Callback callback, void* userData): _buffer{new char[BufferSize]{}}, _size{0}, _callback{callback}, _userData{userData} {
    QUILLMARSH_ASSERT(callback, "LineCallbackBuffer::LineCallbackBuffer(): the callback is null", );
}

/* The held characters are dropped on purpose: a line is only complete with its newline */
LineCallbackBuffer::~LineCallbackBuffer() = default;

void LineCallbackBuffer::emit() {
    _buffer[_size] = '\0';
    const std::size_t size = _size;
    _size = 0;
    _callback({_buffer.get(), size}, _userData);
}

LineCallbackBuffer::int_type LineCallbackBuffer::overflow(int_type c) {
    if(traits_type::eq_int_type(c, traits_type::eof()))
        return traits_type::not_eof(c);

    const char ch = traits_type::to_char_type(c);
    if(ch == '\n') {
        emit();
        return c;
    }

    _buffer[_size++] = ch;
    if(_size == MaxLineSize) emit();
    return c;
}

}
