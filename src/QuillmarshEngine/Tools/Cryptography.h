#ifndef QuillmarshEngine_Tools_Cryptography_h
#define QuillmarshEngine_Tools_Cryptography_h

/** @file
 * @brief SHA-256 content hashes: @ref QuillmarshEngine::Tools::Sha256Digest, @ref QuillmarshEngine::Tools::Sha256, @ref QuillmarshEngine::Tools::sha256(), @ref QuillmarshEngine::Tools::sha256File()
 *
 * Hashing is done by libtomcrypt; this header does not include it. Everything here is safe on any
 * input: nothing aborts on bytes, hex text or files from outside the process.
 */

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "QuillmarshEngine/Utils/Result.h"

namespace QuillmarshEngine { namespace Tools {

namespace Implementation {
    /* Bytes reserved for libtomcrypt's SHA-256 state, checked against it in the source */
    constexpr std::size_t Sha256StateSize = 112;
}

/**
 * @brief A SHA-256 digest, 32 bytes
 *
 * Compares by value. Its text form is 64 lower-case hexadecimal digits, first byte first, as
 * `sha256sum` prints it.
 */
struct QUILLMARSH_EXPORT Sha256Digest {
    /** @brief Digest size in bytes */
    static constexpr std::size_t Size = 32;

    std::array<std::uint8_t, Size> bytes{}; /**< The digest, all zero by default */

    /** @brief The 64 lower-case hexadecimal digits */
    [[nodiscard]] std::string hex() const;

    /**
     * @brief Parse 64 hexadecimal digits, upper or lower case
     *
     * Fails on any other length or character, naming the fault.
     */
    [[nodiscard]] static Utils::Result<Sha256Digest> fromHex(std::string_view text);

    bool operator==(const Sha256Digest&) const = default;
};

/** @brief Prints the 64 hexadecimal digits */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, const Sha256Digest& value);

/**
 * @brief Lower-case hexadecimal form of arbitrary bytes, two digits per byte
 */
[[nodiscard]] QUILLMARSH_EXPORT std::string hexString(std::span<const std::uint8_t> bytes);

/**
 * @brief Streaming SHA-256
 *
 * Feed the message in pieces of any size with @ref update(), then take the digest with
 * @ref finish(), which also resets the hasher for the next message. Holds the hash state inline
 * (no allocation). Not thread-safe; hashers are independent of each other.
 */
class QUILLMARSH_EXPORT Sha256 {
    public:
        /** @brief A hasher at the start of a message */
        Sha256();

        /** @brief Append @p data to the message; an empty piece changes nothing */
        Sha256& update(std::span<const char> data);

        /** @overload */
        Sha256& update(std::span<const std::uint8_t> data);

        /** @brief Bytes fed since construction or the last @ref finish() */
        [[nodiscard]] std::uint64_t size() const { return _size; }

        /** @brief Digest of the message fed so far; the hasher starts a new message */
        Sha256Digest finish();

    private:
        void reset();

        /* libtomcrypt's hash state, kept opaque so that this header does not need its headers */
        alignas(8) unsigned char _state[Implementation::Sha256StateSize];
        std::uint64_t _size;
};

/** @brief SHA-256 of @p data */
[[nodiscard]] QUILLMARSH_EXPORT Sha256Digest sha256(std::span<const char> data);

/** @overload */
[[nodiscard]] QUILLMARSH_EXPORT Sha256Digest sha256(std::span<const std::uint8_t> data);

/** @brief SHA-256 of a string's characters, without a terminating zero */
[[nodiscard]] inline Sha256Digest sha256(std::string_view data) {
    return sha256(std::span<const char>{data.data(), data.size()});
}

/** @overload */
[[nodiscard]] inline Sha256Digest sha256(const std::string& data) {
    return sha256(std::string_view{data});
}

/**
 * @brief SHA-256 of a file's contents
 *
 * Reads the file in pieces of @ref Sha256FilePieceSize bytes, so files of any size hash in
 * bounded memory. Fails with `can't open <path>: <reason>` or `can't read <path>: <reason>`.
 */
[[nodiscard]] QUILLMARSH_EXPORT Utils::Result<Sha256Digest> sha256File(const std::string& path);

/** @brief Size of the pieces @ref sha256File() reads */
constexpr std::size_t Sha256FilePieceSize = 1 << 20;

}}

#endif
