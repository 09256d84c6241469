#include "QuillmarshEngine/Tools/RsaKey.h"

#include <algorithm>
#include <cstring>

#define LTM_DESC
#include <tomcrypt.h>

namespace QuillmarshEngine { namespace Tools {

namespace Implementation {

struct RsaKeyState {
    RsaKeyState() = default;
    RsaKeyState(const RsaKeyState&) = delete;
    RsaKeyState& operator=(const RsaKeyState&) = delete;
    ~RsaKeyState() { if(initialized) rsa_free(&key); }

    rsa_key key{};
    bool initialized = false;
};

}

namespace {

using Implementation::RsaKeyState;

/* libtomcrypt finds hashes and random sources through global tables and does its arithmetic
   through a global descriptor. They are set up once, on first use; a host that chose another
   arithmetic library for its own use of libtomcrypt keeps it. */
struct Tomcrypt {
    int hash;
    int prng;
};

const Tomcrypt& tomcrypt() {
    static const Tomcrypt instance = [] {
        if(!ltc_mp.name) ltc_mp = ltm_desc;
        return Tomcrypt{register_hash(&sha256_desc), register_prng(&sprng_desc)};
    }();
    return instance;
}

const unsigned char* bytes(const std::span<const char> data) {
    return reinterpret_cast<const unsigned char*>(data.data());
}

std::string describe(const int error) {
    return error_to_string(error);
}

/* Big-number temporaries freed on every way out */
struct Numbers {
    explicit Numbers(const int count): count{count} {
        for(int i = 0; i != count; ++i)
            if(ltc_mp.init(&values[i]) != CRYPT_OK) { this->count = i; ok = false; return; }
    }
    ~Numbers() { for(int i = 0; i != count; ++i) ltc_mp.deinit(values[i]); }
    Numbers(const Numbers&) = delete;
    Numbers& operator=(const Numbers&) = delete;

    void* values[3]{};
    int count;
    bool ok = true;
};

bool isOdd(void* a) {
    ltc_mp_digit remainder;
    return ltc_mp.modi(a, 2, &remainder) == CRYPT_OK && remainder == 1;
}

/* The public part must describe a usable key whatever its source: a modulus of an accepted size,
   an odd exponent greater than 1 and smaller than the modulus */
Utils::Result<void> checkPublic(const rsa_key& key) {
    const std::uint32_t bits = std::uint32_t(ltc_mp.count_bits(key.N));
    if(bits < RsaKey::MinBits || bits > RsaKey::MaxBits)
        return Utils::Result<void>::fail("the key has " + std::to_string(bits) + " bits, expected " + std::to_string(RsaKey::MinBits) + " to " + std::to_string(RsaKey::MaxBits));
    if(!isOdd(key.N) || !isOdd(key.e) || ltc_mp.compare_d(key.e, 1) != LTC_MP_GT || ltc_mp.compare(key.e, key.N) != LTC_MP_LT)
        return Utils::Result<void>::fail("the key's modulus or public exponent is invalid");
    return {};
}

/* Every part of a private key is checked against the others: N = pq, dP and dQ are d reduced
   modulo p - 1 and q - 1 and invert e there, and qP inverts q modulo p. A key damaged anywhere
   fails one of these instead of making signatures that do not verify. */
Utils::Result<void> checkPrivate(const rsa_key& key) {
    const Utils::Result<void> inconsistent = Utils::Result<void>::fail("the private key's parts do not belong together");
    if(ltc_mp.compare_d(key.p, 2) != LTC_MP_GT || ltc_mp.compare_d(key.q, 2) != LTC_MP_GT)
        return inconsistent;

    Numbers n{3};
    if(!n.ok) return Utils::Result<void>::fail("out of memory");
    void* const product = n.values[0];
    void* const minusOne = n.values[1];
    void* const t = n.values[2];

    if(ltc_mp.mul(key.p, key.q, product) != CRYPT_OK || ltc_mp.compare(product, key.N) != LTC_MP_EQ)
        return inconsistent;
    const struct { void* prime; void* exponent; } halves[]{{key.p, key.dP}, {key.q, key.dQ}};
    for(const auto& half: halves) {
        if(ltc_mp.subi(half.prime, 1, minusOne) != CRYPT_OK ||
           ltc_mp.mpdiv(key.d, minusOne, nullptr, t) != CRYPT_OK ||
           ltc_mp.compare(t, half.exponent) != LTC_MP_EQ ||
           ltc_mp.mulmod(key.e, half.exponent, minusOne, t) != CRYPT_OK ||
           ltc_mp.compare_d(t, 1) != LTC_MP_EQ)
            return inconsistent;
    }
    if(ltc_mp.mulmod(key.qP, key.q, key.p, t) != CRYPT_OK || ltc_mp.compare_d(t, 1) != LTC_MP_EQ)
        return inconsistent;
    return {};
}

Utils::Result<void> check(const rsa_key& key) {
    if(const Utils::Result<void> result = checkPublic(key); !result) return result;
    if(key.type == PK_PRIVATE) return checkPrivate(key);
    return {};
}

constexpr std::string_view PemBegin = "-----BEGIN ";
constexpr std::string_view PemEnd = "-----END ";
constexpr std::string_view PemDashes = "-----";

bool isPemSpace(const char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

/* PK_PRIVATE gives PKCS#1 RSAPrivateKey, PK_PUBLIC|PK_STD SubjectPublicKeyInfo. Exporting a key
   that passed the import checks cannot fail but for the buffer size, which covers 4096 bits. */
std::vector<char> exportDer(rsa_key& key, const int type) {
    std::vector<char> der(8192);
    unsigned long size = der.size();
    QUILLMARSH_INTERNAL_ASSERT_OUTPUT(rsa_export(reinterpret_cast<unsigned char*>(der.data()), &size, type, &key) == CRYPT_OK);
    der.resize(size);
    return der;
}

void appendDerLength(std::vector<char>& out, const std::size_t length) {
    if(length < 0x80) {
        out.push_back(char(length));
        return;
    }
    int bytes = 0;
    for(std::size_t rest = length; rest; rest >>= 8) ++bytes;
    out.push_back(char(0x80 | bytes));
    for(int i = bytes - 1; i >= 0; --i) out.push_back(char(length >> 8*i));
}

/* PKCS#8 PrivateKeyInfo around a PKCS#1 private key: version 0, the rsaEncryption algorithm
   identifier with NULL parameters, the key as an octet string */
std::vector<char> wrapPkcs8(const std::vector<char>& pkcs1) {
    static constexpr unsigned char VersionAndAlgorithm[]{
        0x02, 0x01, 0x00,
        0x30, 0x0d, 0x06, 0x09, 0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x01, 0x01, 0x05, 0x00};
    std::vector<char> octets{0x04};
    appendDerLength(octets, pkcs1.size());
    octets.insert(octets.end(), pkcs1.begin(), pkcs1.end());

    std::vector<char> out{0x30};
    appendDerLength(out, sizeof(VersionAndAlgorithm) + octets.size());
    out.insert(out.end(), std::begin(VersionAndAlgorithm), std::end(VersionAndAlgorithm));
    out.insert(out.end(), octets.begin(), octets.end());
    return out;
}

}

RsaKey::RsaKey(std::unique_ptr<Implementation::RsaKeyState> state): _state{std::move(state)} {}

RsaKey::RsaKey(RsaKey&&) noexcept = default;

RsaKey& RsaKey::operator=(RsaKey&&) noexcept = default;

RsaKey::~RsaKey() = default;

Utils::Result<RsaKey> RsaKey::generate(const std::uint32_t bits) {
    /* The two primes are drawn with half the bytes each and their two top bits set, so the
       modulus has exactly the bits asked for when they are a multiple of 16 */
    if(bits % 16 || bits < MinBits || bits > MaxBits)
        return Utils::Result<RsaKey>::fail("can't make a key of " + std::to_string(bits) + " bits, expected a multiple of 16 from " + std::to_string(MinBits) + " to " + std::to_string(MaxBits));
    const Tomcrypt& library = tomcrypt();
    auto state = std::make_unique<RsaKeyState>();
    prng_state random{};
    if(const int error = rsa_make_key(&random, library.prng, int(bits/8), 65537, &state->key); error != CRYPT_OK)
        return Utils::Result<RsaKey>::fail("can't make a key: " + describe(error));
    state->initialized = true;
    QUILLMARSH_INTERNAL_ASSERT(std::uint32_t(ltc_mp.count_bits(state->key.N)) == bits);
    return RsaKey{std::move(state)};
}

Utils::Result<RsaKey> RsaKey::fromDer(const std::span<const char> der) {
    if(der.empty()) return Utils::Result<RsaKey>::fail("the key data is empty");
    tomcrypt();
    auto state = std::make_unique<RsaKeyState>();
    /* PKCS#1 private and public keys and SubjectPublicKeyInfo go through one call, PKCS#8
       through another */
    int error = rsa_import(bytes(der), der.size(), &state->key);
    if(error != CRYPT_OK && rsa_import_pkcs8(bytes(der), der.size(), nullptr, 0, &state->key) != CRYPT_OK)
        return Utils::Result<RsaKey>::fail("not an RSA key in DER form: " + describe(error));
    state->initialized = true;
    if(const Utils::Result<void> result = check(state->key); !result)
        return Utils::Result<RsaKey>::fail(result.error());

    /* The decoder tolerates some encodings that DER forbids (another tag for a sequence, for
       one). Requiring the bytes to be exactly what this key encodes to in one of the accepted
       forms makes every change to a key's bytes either a different key or a refused one. */
    const std::span<const char> given{der};
    const auto is = [&](const std::vector<char>& canonical) {
        return std::equal(given.begin(), given.end(), canonical.begin(), canonical.end());
    };
    const bool canonical = state->key.type == PK_PRIVATE ?
        is(exportDer(state->key, PK_PRIVATE)) || is(wrapPkcs8(exportDer(state->key, PK_PRIVATE))) :
        is(exportDer(state->key, PK_PUBLIC|PK_STD)) || is(exportDer(state->key, PK_PUBLIC));
    if(!canonical)
        return Utils::Result<RsaKey>::fail("the key is not in canonical DER form");
    return RsaKey{std::move(state)};
}

Utils::Result<RsaKey> RsaKey::fromPem(const std::string_view pem) {
    const std::size_t begin = pem.find(PemBegin);
    if(begin == std::string_view::npos)
        return Utils::Result<RsaKey>::fail("no PEM block found");
    const std::size_t labelStart = begin + PemBegin.size();
    const std::size_t labelEnd = pem.find(PemDashes, labelStart);
    const std::size_t lineEnd = pem.find('\n', labelStart);
    if(labelEnd == std::string_view::npos || labelEnd > lineEnd)
        return Utils::Result<RsaKey>::fail("the PEM block's first line is damaged");
    const std::string label{pem.substr(labelStart, labelEnd - labelStart)};

    const std::size_t bodyStart = labelEnd + PemDashes.size();
    const std::string endLine = std::string{PemEnd} + label + std::string{PemDashes};
    const std::size_t bodyEnd = pem.find(endLine, bodyStart);
    if(bodyEnd == std::string_view::npos)
        return Utils::Result<RsaKey>::fail("the PEM block \"" + label + "\" has no end line");

    const bool privateLabel = label == "RSA PRIVATE KEY" || label == "PRIVATE KEY";
    const bool publicLabel = label == "PUBLIC KEY" || label == "RSA PUBLIC KEY";
    const std::string_view body = pem.substr(bodyStart, bodyEnd - bodyStart);
    if(label == "ENCRYPTED PRIVATE KEY" || body.find("Proc-Type:") != std::string_view::npos)
        return Utils::Result<RsaKey>::fail("encrypted keys are not supported");
    if(!privateLabel && !publicLabel)
        return Utils::Result<RsaKey>::fail("the PEM block \"" + label + "\" is not an RSA key");

    std::string text;
    text.reserve(body.size());
    for(const char c: body) if(!isPemSpace(c)) text += c;
    if(text.empty())
        return Utils::Result<RsaKey>::fail("the PEM block \"" + label + "\" is empty");
    std::vector<char> der(text.size()*3/4 + 3);
    unsigned long derSize = der.size();
    if(base64_strict_decode(reinterpret_cast<const unsigned char*>(text.data()), text.size(), reinterpret_cast<unsigned char*>(der.data()), &derSize) != CRYPT_OK)
        return Utils::Result<RsaKey>::fail("the PEM block \"" + label + "\" is not valid base64");
    der.resize(derSize);

    Utils::Result<RsaKey> key = fromDer(der);
    if(!key) return key;
    if(key->isPrivate() != privateLabel)
        return Utils::Result<RsaKey>::fail("the PEM block \"" + label + "\" holds a " + (key->isPrivate() ? "private" : "public") + " key");
    return key;
}

Utils::Result<RsaKey> RsaKey::fromBytes(const std::span<const char> data) {
    const std::string_view text{data.data(), data.size()};
    if(text.find(PemBegin) != std::string_view::npos) return fromPem(text);
    return fromDer(data);
}

bool RsaKey::isPrivate() const {
    return _state->key.type == PK_PRIVATE;
}

std::uint32_t RsaKey::bits() const {
    return std::uint32_t(ltc_mp.count_bits(_state->key.N));
}

std::uint32_t RsaKey::signatureSize() const {
    return (bits() + 7)/8;
}

RsaKey RsaKey::publicKey() const {
    const std::vector<char> der = exportDer(_state->key, PK_PUBLIC|PK_STD);
    auto state = std::make_unique<RsaKeyState>();
    QUILLMARSH_INTERNAL_ASSERT_OUTPUT(rsa_import(bytes(der), der.size(), &state->key) == CRYPT_OK);
    state->initialized = true;
    return RsaKey{std::move(state)};
}

std::vector<char> RsaKey::toDer() const {
    return exportDer(_state->key, isPrivate() ? PK_PRIVATE : PK_PUBLIC|PK_STD);
}

std::string RsaKey::toPem() const {
    const std::vector<char> der = toDer();
    std::string base64(4*((der.size() + 2)/3) + 1, '\0');
    unsigned long size = base64.size();
    QUILLMARSH_INTERNAL_ASSERT_OUTPUT(base64_encode(bytes(der), der.size(), reinterpret_cast<unsigned char*>(base64.data()), &size) == CRYPT_OK);
    base64.resize(size);

    const char* const label = isPrivate() ? "RSA PRIVATE KEY" : "PUBLIC KEY";
    std::string pem = std::string{PemBegin} + label + std::string{PemDashes} + "\n";
    for(std::size_t i = 0; i < base64.size(); i += 64)
        pem.append(base64, i, 64).push_back('\n');
    pem += std::string{PemEnd} + label + std::string{PemDashes} + "\n";
    return pem;
}

Sha256Digest RsaKey::fingerprint() const {
    return sha256(exportDer(_state->key, PK_PUBLIC|PK_STD));
}

Utils::Result<std::vector<char>> RsaKey::sign(const std::span<const char> message) const {
    return signDigest(sha256(message));
}

Utils::Result<std::vector<char>> RsaKey::signDigest(const Sha256Digest& digest) const {
    if(!isPrivate())
        return Utils::Result<std::vector<char>>::fail("can't sign with a public key");
    const Tomcrypt& library = tomcrypt();
    std::vector<char> signature(signatureSize());
    unsigned long size = signature.size();
    prng_state random{};
    if(const int error = rsa_sign_hash_ex(digest.bytes.data(), digest.bytes.size(), reinterpret_cast<unsigned char*>(signature.data()), &size, LTC_PKCS_1_PSS, &random, library.prng, library.hash, SaltSize, &_state->key); error != CRYPT_OK)
        return Utils::Result<std::vector<char>>::fail("can't sign: " + describe(error));
    QUILLMARSH_INTERNAL_ASSERT(size == signature.size());
    return signature;
}

Utils::Result<void> RsaKey::verify(const std::span<const char> message, const std::span<const char> signature) const {
    return verifyDigest(sha256(message), signature);
}

Utils::Result<void> RsaKey::verifyDigest(const Sha256Digest& digest, const std::span<const char> signature) const {
    if(signature.size() != signatureSize())
        return Utils::Result<void>::fail("signature is " + std::to_string(signature.size()) + " bytes, expected " + std::to_string(signatureSize()));
    const Tomcrypt& library = tomcrypt();
    int valid = 0;
    /* An error here means the signature is not even a number below the modulus, which is as
       much a mismatch as a wrong one */
    const int error = rsa_verify_hash_ex(bytes(signature), signature.size(), digest.bytes.data(), digest.bytes.size(), LTC_PKCS_1_PSS, library.hash, SaltSize, &valid, &_state->key);
    if(error != CRYPT_OK || !valid)
        return Utils::Result<void>::fail("signature does not match");
    return {};
}

}}
