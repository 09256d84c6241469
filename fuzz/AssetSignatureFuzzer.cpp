/* Feeds arbitrary bytes as a signed data file to the signature check, with the key the seed file
   was signed with. Files that pass validation are also signed, and their new signature has to
   verify. */

#include <cstdlib>
#include <cstring>
#include <vector>

#include "FuzzKey.h"
#include "QuillmarshEngine/Data/AssetValidation.h"
#include "QuillmarshEngine/Tools/AssetSignature.h"

using namespace QuillmarshEngine;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    /* Exactly sized, so any read past the end is reported; aligned as files are read */
    std::vector<char> file(size);
    if(size) std::memcpy(file.data(), data, size);

    const Tools::RsaKey& key = Fuzz::key();
    if(const Utils::Result<Tools::AssetSignatureEntry> entry = Tools::findAssetSignature(file)) {
        if(entry->offset + Data::AssetChunkHeaderSize + sizeof(Data::AssetSignatureHeader) + entry->signature.size() > size) std::abort();
        (void)Tools::assetSignatureDigest(file, *entry);
    }
    (void)Tools::verifyAssetSignature(file, key);

    if(Data::validateAssetData(file)) {
        const Utils::Result<std::vector<char>> signedFile = Tools::signAssetData(file, key);
        if(!signedFile || !Tools::verifyAssetSignature(*signedFile, key.publicKey())) std::abort();
    }
    return 0;
}
