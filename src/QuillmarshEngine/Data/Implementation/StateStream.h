#ifndef QuillmarshEngine_Data_Implementation_StateStream_h
#define QuillmarshEngine_Data_Implementation_StateStream_h

/* Little helpers for the external state of managers: a writer appending plain values and
   length-prefixed strings to a byte array, and a reader that refuses to step past the end of
   untrusted bytes instead of reading there. */

#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace QuillmarshEngine { namespace Data { namespace Implementation {

struct StateWriter {
    std::vector<char>& out;

    template<class T> void put(const T& value) {
        static_assert(std::is_trivially_copyable_v<T>);
        const std::size_t at = out.size();
        out.resize(at + sizeof(T));
        std::memcpy(out.data() + at, &value, sizeof(T));
    }

    void putString(std::string_view value) {
        put(std::uint32_t(value.size()));
        out.insert(out.end(), value.begin(), value.end());
    }
};

struct StateReader {
    std::span<const char> data;
    std::size_t position{};
    bool failed{};

    template<class T> T get() {
        static_assert(std::is_trivially_copyable_v<T>);
        T value{};
        if(failed || data.size() - position < sizeof(T)) {
            failed = true;
            return value;
        }
        std::memcpy(&value, data.data() + position, sizeof(T));
        position += sizeof(T);
        return value;
    }

    std::string getString() {
        const std::uint32_t size = get<std::uint32_t>();
        if(failed || data.size() - position < size) {
            failed = true;
            return {};
        }
        std::string value{data.data() + position, size};
        position += size;
        return value;
    }

    /* Whether everything was read and nothing more is left */
    bool finished() const { return !failed && position == data.size(); }
};

/* Reads `count` strings that fill `data` exactly, as the managers that keep one string per
   component store them; false when they don't */
inline bool readStrings(const std::span<const char> data, const std::size_t count, std::vector<std::string>& out) {
    StateReader reader{data};
    out.clear();
    for(std::size_t i = 0; i != count && !reader.failed; ++i) out.push_back(reader.getString());
    return reader.finished();
}

}}}

#endif
