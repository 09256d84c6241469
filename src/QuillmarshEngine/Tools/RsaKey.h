#ifndef QuillmarshEngine_Tools_RsaKey_h
#define QuillmarshEngine_Tools_RsaKey_h

/** @file
 * @brief Class @ref QuillmarshEngine::Tools::RsaKey
 */

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "QuillmarshEngine/Tools/Cryptography.h"
#include "QuillmarshEngine/Utils/Result.h"

namespace QuillmarshEngine { namespace Tools {

namespace Implementation { struct RsaKeyState; }

/**
 * @brief An RSA key pair or public key, signing and verifying with RSA-PSS over SHA-256
 *
 * Keys are generated, or imported from DER or PEM: PKCS#1 `RSAPrivateKey` ("RSA PRIVATE KEY"),
 * unencrypted PKCS#8 ("PRIVATE KEY"), `SubjectPublicKeyInfo` ("PUBLIC KEY") and PKCS#1
 * `RSAPublicKey` ("RSA PUBLIC KEY"). They are exported as PKCS#1 `RSAPrivateKey` when private and
 * as `SubjectPublicKeyInfo` when public, the forms other tools read. Moduli of @ref MinBits to
 * @ref MaxBits bits are accepted, and a private key's parts are checked against each other on
 * import, so a damaged key is refused rather than used.
 *
 * Signatures are RSA-PSS with SHA-256 as hash and mask generation hash and a 32-byte salt; they
 * are @ref signatureSize() bytes. Every failure, above all on key or signature bytes from outside
 * the process, is an error @ref Utils::Result naming the fault; nothing here aborts on input.
 * Move-only; a key is safe to use from several threads at once for signing and verifying.
 */
class QUILLMARSH_EXPORT RsaKey {
    public:
        /** @brief Smallest modulus accepted, in bits */
        static constexpr std::uint32_t MinBits = 1024;
        /** @brief Largest modulus accepted, in bits */
        static constexpr std::uint32_t MaxBits = 4096;
        /** @brief Modulus size of generated keys unless asked otherwise */
        static constexpr std::uint32_t DefaultBits = 3072;
        /** @brief Salt length of the signatures in bytes */
        static constexpr std::uint32_t SaltSize = 32;

        /**
         * @brief Generate a key pair with public exponent 65537
         *
         * Expects @p bits to be a multiple of 16 from @ref MinBits to @ref MaxBits, otherwise
         * fails; also fails when the system's random source does. Takes from a fraction of a
         * second (2048 bits) to several seconds (4096 bits).
         */
        [[nodiscard]] static Utils::Result<RsaKey> generate(std::uint32_t bits = DefaultBits);

        /** @brief Import a key from DER bytes in any of the accepted forms */
        [[nodiscard]] static Utils::Result<RsaKey> fromDer(std::span<const char> der);

        /**
         * @brief Import a key from PEM text
         *
         * Takes the first `-----BEGIN <label>-----` block; text around it is ignored. Refuses
         * encrypted keys and labels of other kinds of keys or certificates.
         */
        [[nodiscard]] static Utils::Result<RsaKey> fromPem(std::string_view pem);

        /**
         * @brief Import a key from DER or PEM, whichever @p data is
         *
         * Data containing `-----BEGIN ` is read as PEM, anything else as DER.
         */
        [[nodiscard]] static Utils::Result<RsaKey> fromBytes(std::span<const char> data);

        RsaKey(RsaKey&&) noexcept;
        RsaKey& operator=(RsaKey&&) noexcept;
        ~RsaKey();

        /** @brief Whether the key can sign */
        [[nodiscard]] bool isPrivate() const;

        /** @brief Modulus size in bits */
        [[nodiscard]] std::uint32_t bits() const;

        /** @brief Size of a signature in bytes, the modulus size rounded up to whole bytes */
        [[nodiscard]] std::uint32_t signatureSize() const;

        /** @brief The public half; a public key returns a copy of itself */
        [[nodiscard]] RsaKey publicKey() const;

        /** @brief DER: PKCS#1 `RSAPrivateKey` for a private key, `SubjectPublicKeyInfo` otherwise */
        [[nodiscard]] std::vector<char> toDer() const;

        /** @brief PEM of @ref toDer(), labelled "RSA PRIVATE KEY" or "PUBLIC KEY", lines of 64 */
        [[nodiscard]] std::string toPem() const;

        /**
         * @brief SHA-256 of the public half's DER
         *
         * Equal for a key pair and its public key, so it tells which key made a signature.
         */
        [[nodiscard]] Sha256Digest fingerprint() const;

        /**
         * @brief Sign the SHA-256 digest of @p message
         *
         * Fails on a public key and when the random source fails. Each call gives a different
         * signature (the salt is random); all of them verify.
         */
        [[nodiscard]] Utils::Result<std::vector<char>> sign(std::span<const char> message) const;

        /** @brief Sign a digest computed by the caller, @see @ref Sha256 */
        [[nodiscard]] Utils::Result<std::vector<char>> signDigest(const Sha256Digest& digest) const;

        /**
         * @brief Check @p signature against the SHA-256 digest of @p message
         *
         * Fails with `signature is <n> bytes, expected <m>` when the length is wrong (a truncated
         * signature) and with `signature does not match` otherwise.
         */
        [[nodiscard]] Utils::Result<void> verify(std::span<const char> message, std::span<const char> signature) const;

        /** @brief Check @p signature against a digest computed by the caller */
        [[nodiscard]] Utils::Result<void> verifyDigest(const Sha256Digest& digest, std::span<const char> signature) const;

    private:
        explicit RsaKey(std::unique_ptr<Implementation::RsaKeyState> state);

        std::unique_ptr<Implementation::RsaKeyState> _state;
};

}}

#endif
