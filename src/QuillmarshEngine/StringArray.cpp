#include "QuillmarshEngine/StringArray.h"

#include <cstring>

#include "QuillmarshEngine/Assert.h"

namespace QuillmarshEngine {

namespace {

std::string_view checkedGet(const char* data, std::span<const std::uint64_t> offsets, std::size_t i) {
    const std::size_t size = offsets.size() - 1;
    QUILLMARSH_ASSERT(i < size, "StringArrayView::get(): invalid index" << i << "for size" << size, {});
    return {data + offsets[i], std::size_t(offsets[i + 1] - offsets[i] - 1)};
}

}

StringArrayView::StringArrayView(): _data{}, _dataSize{}, _offsets{0} {}

StringArrayView::StringArrayView(std::span<const char> data, std::size_t count): _data{data.data()}, _dataSize{data.size()} {
    QUILLMARSH_ASSERT(data.size() >= count, "StringArrayView(): data too small to hold existing element count", );
    _offsets.reserve(count + 1);
    _offsets.push_back(0);
    std::size_t at = 0;
    for(std::size_t i = 0; i != count; ++i) {
        const void* end = at < data.size() ? std::memchr(data.data() + at, '\0', data.size() - at) : nullptr;
        QUILLMARSH_ASSERT(end, "StringArrayView(): data did not contain" << count << "existing elements values", );
        at = std::size_t(static_cast<const char*>(end) - data.data()) + 1;
        _offsets.push_back(at);
    }
}

StringArrayView::StringArrayView(std::span<const char> data): _data{data.data()}, _dataSize{data.size()}, _offsets{0} {
    std::size_t at = 0;
    while(at < data.size()) {
        const void* end = std::memchr(data.data() + at, '\0', data.size() - at);
        /* An unterminated tail is not a string, an empty string ends the list */
        if(!end || end == data.data() + at) break;
        at = std::size_t(static_cast<const char*>(end) - data.data()) + 1;
        _offsets.push_back(at);
    }
}

std::string_view StringArrayView::get(std::size_t i) const {
    return checkedGet(_data, _offsets, i);
}

std::ptrdiff_t StringArrayView::find(std::string_view string) const {
    for(std::size_t i = 0; i != size(); ++i)
        if(get(i) == string) return std::ptrdiff_t(i);
    return -1;
}

MutableStringArrayView::MutableStringArrayView(std::span<char> data, std::size_t count): StringArrayView{std::span<const char>{data.data(), data.size()}, count} {}

std::size_t MutableStringArrayView::add(std::string_view string) {
    QUILLMARSH_ASSERT(string.size() + 1 <= unusedCapacity(), "MutableStringArrayView::add(): Capacity exhausted", {});
    /* The block was given as writable at construction */
    char* out = const_cast<char*>(_data) + _offsets.back();
    std::memcpy(out, string.data(), string.size());
    out[string.size()] = '\0';
    _offsets.push_back(_offsets.back() + string.size() + 1);
    return size() - 1;
}

StringArray::StringArray(): _offsets{0} {}

StringArray::StringArray(std::initializer_list<std::string_view> strings): StringArray{} {
    for(std::string_view s: strings) add(s);
}

StringArray::StringArray(const StringArrayView& view): StringArray{} {
    for(std::string_view s: view) add(s);
}

std::string_view StringArray::get(std::size_t i) const {
    return checkedGet(_data.data(), _offsets, i);
}

std::size_t StringArray::add(std::string_view string) {
    _data.insert(_data.end(), string.begin(), string.end());
    _data.push_back('\0');
    _offsets.push_back(_data.size());
    return size() - 1;
}

StringArrayView StringArray::view() const {
    return StringArrayView{std::span<const char>{_data}, size()};
}

}
