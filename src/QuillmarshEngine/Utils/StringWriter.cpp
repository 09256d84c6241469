#include "QuillmarshEngine/Utils/StringWriter.h"

#include <algorithm>

namespace QuillmarshEngine { namespace Utils {

StringWriter::StringWriter(const std::size_t capacity): _data{capacity ? new char[capacity] : nullptr}, _capacity{capacity} {}

StringWriter::StringWriter(StringWriter&& other) noexcept: _data{std::move(other._data)}, _size{other._size}, _capacity{other._capacity} {
    other._size = other._capacity = 0;
}

StringWriter& StringWriter::operator=(StringWriter&& other) noexcept {
    std::swap(_data, other._data);
    std::swap(_size, other._size);
    std::swap(_capacity, other._capacity);
    return *this;
}

void StringWriter::grow(const std::size_t bytes) {
    const std::size_t needed = _size + bytes + 1;
    const std::size_t capacity = std::max(_capacity + _capacity/2, needed);
    std::unique_ptr<char[]> data{new char[capacity]};
    if(_size) std::memcpy(data.get(), _data.get(), _size);
    _data = std::move(data);
    _capacity = capacity;
}

}}
