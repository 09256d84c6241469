#ifndef QuillmarshEngine_tests_Data_RecordTestHelpers_h
#define QuillmarshEngine_tests_Data_RecordTestHelpers_h

/* Shared by the record tests: expected records are assembled byte by byte, independently of the
   builders, and compared as strings so that a mismatch shows where */

#include <cstdint>
#include <cstring>
#include <sstream>
#include <string>
#include <string_view>
#include <memory>
#include <span>
#include <vector>

#include <gtest/gtest.h>

#include "QuillmarshEngine/Debug.h"
#include "QuillmarshEngine/Utils/Result.h"
#include "../OutputCapture.h"

namespace QuillmarshEngine { namespace Data { namespace Test {

/* Little-endian byte assembly */
struct Bytes {
    std::string data;
    Bytes& u8(std::uint8_t v) { data.push_back(char(v)); return *this; }
    Bytes& u16(std::uint16_t v) { return u8(v & 0xff).u8(v >> 8); }
    Bytes& u32(std::uint32_t v) { return u16(v & 0xffff).u16(v >> 16); }
    Bytes& f32(float v) { std::uint32_t b; std::memcpy(&b, &v, 4); return u32(b); }
    Bytes& text(std::string_view v) { data += v; return *this; }
    Bytes& zeros(std::size_t n) { data.append(n, '\0'); return *this; }
    /* A zero-terminated name in a field of `size` bytes */
    Bytes& field(std::string_view v, std::size_t size) { return text(v).zeros(size - v.size()); }
};

inline std::string str(const std::vector<char>& v) { return {v.data(), v.size()}; }

using Testing::print;

/* Each reader gets the record in a buffer of exactly its size, so that a read past the end is
   seen by the sanitizers */
template<class T> Utils::Result<T> readExact(Utils::Result<T>(*reader)(std::span<const char>), std::span<const char> bytes) {
    const std::unique_ptr<char[]> exact{new char[bytes.size() + !bytes.size()]};
    if(!bytes.empty()) std::memcpy(exact.get(), bytes.data(), bytes.size());
    return reader({exact.get(), bytes.size()});
}

/* Every cut of a valid record is an error, never an abort */
template<class T> void expectCutsRefused(Utils::Result<T>(*reader)(std::span<const char>), std::span<const char> record) {
    for(std::size_t size = 0; size != record.size(); ++size)
        EXPECT_FALSE(readExact(reader, record.first(size))) << size;
}

/* The reader's message for the record with the 32-bit word at offset replaced */
template<class T> std::string patchedError(Utils::Result<T>(*reader)(std::span<const char>), std::span<const char> record, std::size_t offset, std::uint32_t value) {
    std::vector<char> out{record.begin(), record.end()};
    std::memcpy(out.data() + offset, &value, 4);
    const Utils::Result<T> read = readExact(reader, out);
    return read ? "" : read.error();
}

}}}

#endif
