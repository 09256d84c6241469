#ifndef QuillmarshEngine_Data_SignatureData_h
#define QuillmarshEngine_Data_SignatureData_h

/** @file
 * @brief Enum @ref QuillmarshEngine::Data::AssetSignatureAlgorithm, struct @ref QuillmarshEngine::Data::AssetSignatureHeader
 *
 * The record of a signed data file's last chunk. Signing and checking are in
 * @ref Tools/AssetSignature.h.
 */

#include <array>
#include <cstdint>

#include "QuillmarshEngine/Data/AssetData.h"

namespace QuillmarshEngine { namespace Data {

/**
 * @brief How a @ref Magic::Signature record was made; stored in 32 bits, 0 is never used
 */
enum class AssetSignatureAlgorithm: std::uint32_t {
    /** RSA-PSS over the SHA-256 digest, MGF1 with SHA-256, 32-byte salt */
    RsaPssSha256 = 1
};

/** @brief Prints `AssetSignatureAlgorithm::RsaPssSha256` or `AssetSignatureAlgorithm(0x..)` */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, AssetSignatureAlgorithm value);

/**
 * @brief Fixed head of a @ref Magic::Signature record, 40 bytes
 *
 * A signed data file ends with one signature chunk; its payload is this head followed by
 * @ref signatureSize signature bytes and nothing else. The signature is over the SHA-256 digest
 * of every byte of the file except the signature bytes themselves: the header chunk (whose
 * counts include the signature chunk), all other chunks with their padding, this head, and the
 * padding after the signature. So a change to any byte is caught, and the signature chunk can be
 * replaced by a new one without touching the chunks before it.
 *
 * The chunk has a tag of its own in the format's sparse letter order ("QMEZ"), after every chunk
 * it covers. Readers that do not know the tag step over it by its stored size like over any
 * other chunk, so a signed file stays readable to them.
 */
struct AssetSignatureHeader {
    static constexpr Magic AssetMagic = Magic::Signature;

    AssetSignatureAlgorithm algorithm;      /**< How the signature was made */
    std::uint32_t signatureSize;            /**< Signature bytes after this head */
    std::array<std::uint8_t, 32> keyFingerprint; /**< SHA-256 of the signer's public key (DER) */
};

static_assert(sizeof(AssetSignatureHeader) == 40, "the signature head is 40 bytes");

}}

#endif
