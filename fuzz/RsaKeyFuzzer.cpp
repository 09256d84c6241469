/* Feeds arbitrary bytes to the key import as DER or PEM. A key that is accepted has to export to
   bytes that import to the same key, and, when it is private, has to make signatures its public
   half accepts: the import checks promise exactly that. The input's last bytes also serve as a
   signature to check against the key. */

#include <cstdint>
#include <cstdlib>
#include <span>

#include "QuillmarshEngine/Tools/RsaKey.h"

using namespace QuillmarshEngine;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::span<const char> bytes{reinterpret_cast<const char*>(data), size};
    const Utils::Result<Tools::RsaKey> key = Tools::RsaKey::fromBytes(bytes);
    if(!key) return 0;

    const std::vector<char> der = key->toDer();
    const Utils::Result<Tools::RsaKey> again = Tools::RsaKey::fromDer(der);
    if(!again || again->toDer() != der || again->fingerprint() != key->fingerprint()) std::abort();
    const Utils::Result<Tools::RsaKey> fromPem = Tools::RsaKey::fromPem(key->toPem());
    if(!fromPem || fromPem->toDer() != der) std::abort();

    const std::span<const char> message = bytes.first(size/2);
    const std::size_t signatureSize = key->signatureSize();
    if(size >= signatureSize) (void)key->verify(message, bytes.last(signatureSize));
    if(key->isPrivate()) {
        const Utils::Result<std::vector<char>> signature = key->sign(message);
        if(!signature || !key->publicKey().verify(message, *signature)) std::abort();
    }
    return 0;
}
