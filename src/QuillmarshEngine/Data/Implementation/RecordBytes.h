#ifndef QuillmarshEngine_Data_Implementation_RecordBytes_h
#define QuillmarshEngine_Data_Implementation_RecordBytes_h

/* Byte helpers shared by the record builders and views. Internal. Record fields are
   little-endian; the library runs on little-endian targets only, so reading and writing them is a
   plain copy, done through memcpy so that unaligned views stay defined. */

#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

namespace QuillmarshEngine { namespace Data { namespace Implementation {

inline std::uint32_t readU32(const char* at) {
    std::uint32_t value;
    std::memcpy(&value, at, 4);
    return value;
}

inline void writeU32(char* at, std::uint32_t value) {
    std::memcpy(at, &value, 4);
}

inline std::span<const char> bytesOf(const void* data, std::size_t size) {
    return {static_cast<const char*>(data), size};
}

/* Copies the characters of a name; the record is zero-filled, so the terminator is already there */
inline void writeName(char* at, std::string_view name) {
    if(!name.empty()) std::memcpy(at, name.data(), name.size());
}

/* A zero-terminated name in a field of `size` bytes; a full field without a zero ends at its end */
inline std::string_view readName(const char* at, std::size_t size) {
    return {at, ::strnlen(at, size)};
}

}}}

#endif
