#include "QuillmarshEngine/Tools/Cryptography.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include <tomcrypt.h>

namespace QuillmarshEngine { namespace Tools {

static_assert(sizeof(sha256_state) <= Implementation::Sha256StateSize && alignof(sha256_state) <= 8,
    "libtomcrypt's SHA-256 state does not fit the storage reserved for it");

namespace {

constexpr char HexDigits[] = "0123456789abcdef";

int hexValue(const char c) {
    if(c >= '0' && c <= '9') return c - '0';
    if(c >= 'a' && c <= 'f') return c - 'a' + 10;
    if(c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

/* The hasher's storage holds only the SHA-256 member of libtomcrypt's hash state union, which is
   all that its SHA-256 functions touch */
hash_state* state(unsigned char* storage) {
    return reinterpret_cast<hash_state*>(storage);
}

}

std::string hexString(const std::span<const std::uint8_t> bytes) {
    std::string out(bytes.size()*2, '\0');
    for(std::size_t i = 0; i != bytes.size(); ++i) {
        out[2*i] = HexDigits[bytes[i] >> 4];
        out[2*i + 1] = HexDigits[bytes[i] & 0xf];
    }
    return out;
}

std::string Sha256Digest::hex() const {
    return hexString(bytes);
}

Utils::Result<Sha256Digest> Sha256Digest::fromHex(const std::string_view text) {
    if(text.size() != 2*Size)
        return Utils::Result<Sha256Digest>::fail("expected 64 hexadecimal digits, got " + std::to_string(text.size()) + " characters");
    Sha256Digest digest;
    for(std::size_t i = 0; i != text.size(); ++i) {
        const int value = hexValue(text[i]);
        if(value < 0)
            return Utils::Result<Sha256Digest>::fail("not a hexadecimal digit at position " + std::to_string(i));
        digest.bytes[i/2] = std::uint8_t(digest.bytes[i/2] << 4 | value);
    }
    return digest;
}

Debug& operator<<(Debug& debug, const Sha256Digest& value) {
    return debug << value.hex();
}

Sha256::Sha256() { reset(); }

void Sha256::reset() {
    sha256_init(state(_state));
    _size = 0;
}

Sha256& Sha256::update(const std::span<const char> data) {
    return update(std::span<const std::uint8_t>{reinterpret_cast<const std::uint8_t*>(data.data()), data.size()});
}

Sha256& Sha256::update(const std::span<const std::uint8_t> data) {
    /* libtomcrypt aborts on a null pointer even for zero bytes, and an empty span may have one */
    if(data.empty()) return *this;
    sha256_process(state(_state), data.data(), static_cast<unsigned long>(data.size()));
    _size += data.size();
    return *this;
}

Sha256Digest Sha256::finish() {
    Sha256Digest digest;
    sha256_done(state(_state), digest.bytes.data());
    reset();
    return digest;
}

Sha256Digest sha256(const std::span<const char> data) {
    return Sha256{}.update(data).finish();
}

Sha256Digest sha256(const std::span<const std::uint8_t> data) {
    return Sha256{}.update(data).finish();
}

Utils::Result<Sha256Digest> sha256File(const std::string& path) {
    std::FILE* const file = std::fopen(path.c_str(), "rb");
    if(!file)
        return Utils::Result<Sha256Digest>::fail("can't open " + path + ": " + std::strerror(errno));
    const std::unique_ptr<std::FILE, int(*)(std::FILE*)> closer{file, std::fclose};

    const std::unique_ptr<char[]> piece{new char[Sha256FilePieceSize]};
    Sha256 hasher;
    for(;;) {
        const std::size_t read = std::fread(piece.get(), 1, Sha256FilePieceSize, file);
        hasher.update(std::span<const char>{piece.get(), read});
        if(read == Sha256FilePieceSize) continue;
        if(std::ferror(file))
            return Utils::Result<Sha256Digest>::fail("can't read " + path + ": " + std::strerror(errno));
        break;
    }
    return hasher.finish();
}

}}
