#include "QuillmarshEngine/Tools/AssetSignature.h"

#include <cstring>
#include <sstream>
#include <string>

#include "QuillmarshEngine/Data/AssetValidation.h"

namespace QuillmarshEngine { namespace Tools {

namespace {

using Data::AssetSignatureHeader;

std::uint32_t readU32(const char* at) {
    std::uint32_t value;
    std::memcpy(&value, at, 4);
    return value;
}

template<class... T> std::string message(const T&... values) {
    std::ostringstream out;
    {
        Debug d{&out, Debug::Flag::NoNewlineAtTheEnd};
        (d << ... << values);
    }
    return out.str();
}

}

Utils::Result<AssetSignatureEntry> findAssetSignature(const std::span<const char> data) {
    typedef Utils::Result<AssetSignatureEntry> Result;
    if(data.size() < Data::AssetChunkHeaderSize || Data::Magic(readU32(data.data())) != Data::Magic::Header)
        return Result::fail("not a data file: it does not start with a header chunk");

    const std::vector<Data::AssetChunkEntry> chunks = Data::listAssetChunks(data);
    std::size_t found = chunks.size();
    for(std::size_t i = 0; i != chunks.size() && found == chunks.size(); ++i)
        if(chunks[i].magic == Data::Magic::Signature) found = i;
    if(found == chunks.size()) return Result::fail("the file is not signed");

    const Data::AssetChunkEntry& chunk = chunks[found];
    if(found + 1 != chunks.size())
        return Result::fail(message("the signature chunk at offset", chunk.offset, "is not the last chunk"));
    if(chunk.offset + chunk.sizePadded > data.size())
        return Result::fail(message("the signature chunk at offset", chunk.offset, "is cut short by", chunk.offset + chunk.sizePadded - data.size(), "bytes"));
    if(chunk.offset + chunk.sizePadded != data.size())
        return Result::fail(message(data.size() - chunk.offset - chunk.sizePadded, "stray bytes after the signature chunk"));
    if(chunk.size < sizeof(AssetSignatureHeader))
        return Result::fail(message("the signature record of", chunk.size, "bytes is shorter than its", sizeof(AssetSignatureHeader), "byte head"));

    AssetSignatureEntry entry;
    entry.offset = chunk.offset;
    const std::size_t payload = std::size_t(chunk.offset + Data::AssetChunkHeaderSize);
    std::memcpy(&entry.header, data.data() + payload, sizeof(AssetSignatureHeader));
    if(entry.header.algorithm != Data::AssetSignatureAlgorithm::RsaPssSha256)
        return Result::fail(message("unknown signature algorithm", entry.header.algorithm));
    if(sizeof(AssetSignatureHeader) + std::uint64_t(entry.header.signatureSize) != chunk.size)
        return Result::fail(message("a signature of", entry.header.signatureSize, "bytes does not fill the", chunk.size, "byte record"));
    entry.signature = data.subspan(payload + sizeof(AssetSignatureHeader), entry.header.signatureSize);
    return entry;
}

Sha256Digest assetSignatureDigest(const std::span<const char> data, const AssetSignatureEntry& entry) {
    const std::size_t start = std::size_t(entry.signature.data() - data.data());
    const std::size_t end = start + entry.signature.size();
    QUILLMARSH_ASSERT(start <= data.size() && end <= data.size(), "Tools::assetSignatureDigest(): the signature is not inside the data", {});
    return Sha256{}.update(data.first(start)).update(data.subspan(end)).finish();
}

Utils::Result<std::vector<char>> signAssetData(const std::span<const char> data, const RsaKey& key) {
    typedef Utils::Result<std::vector<char>> Result;
    if(!key.isPrivate()) return Result::fail("can't sign with a public key");
    const Utils::Result<std::vector<Data::AssetChunkEntry>> chunks = Data::validateAssetData(data);
    if(!chunks) return Result::fail("can't sign an invalid data file: " + chunks.error());

    /* Validation keeps a signature chunk last; signing again replaces it */
    std::size_t signedSize = data.size();
    if(chunks->back().magic == Data::Magic::Signature) signedSize = std::size_t(chunks->back().offset);
    std::vector<char> out{data.begin(), data.begin() + std::ptrdiff_t(signedSize)};

    AssetSignatureHeader header{Data::AssetSignatureAlgorithm::RsaPssSha256, key.signatureSize(), key.fingerprint().bytes};
    const std::vector<char> placeholder(header.signatureSize);
    const std::span<const char> pieces[]{{reinterpret_cast<const char*>(&header), sizeof(header)}, placeholder};
    Data::AssetChunk::create(Data::Magic::Signature, pieces, out);
    Data::updateHeaderData(out);

    const AssetSignatureEntry entry{signedSize, header, std::span<const char>{out}.subspan(signedSize + std::size_t(Data::AssetChunkHeaderSize) + sizeof(header), header.signatureSize)};
    const Utils::Result<std::vector<char>> signature = key.signDigest(assetSignatureDigest(out, entry));
    if(!signature) return Result::fail(signature.error());
    std::memcpy(out.data() + (entry.signature.data() - out.data()), signature->data(), signature->size());
    return out;
}

Utils::Result<void> verifyAssetSignature(const std::span<const char> data, const RsaKey& key) {
    typedef Utils::Result<void> Result;
    const Utils::Result<AssetSignatureEntry> entry = findAssetSignature(data);
    if(!entry) return Result::fail(entry.error());

    const Sha256Digest fingerprint = key.fingerprint();
    if(entry->header.keyFingerprint != fingerprint.bytes)
        return Result::fail("the signature names another key: " + hexString(entry->header.keyFingerprint) + ", the given key is " + fingerprint.hex());
    if(const Result result = key.verifyDigest(assetSignatureDigest(data, *entry), entry->signature); !result) {
        if(entry->signature.size() != key.signatureSize()) return result;
        return Result::fail("signature does not match: the file was changed after it was signed");
    }
    return {};
}

}}
