#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "QuillmarshEngine/Data/AssetValidation.h"
#include "QuillmarshEngine/Tools/AssetSignature.h"

namespace QuillmarshEngine { namespace Tools { namespace {

using Data::Magic;

const RsaKey& signingKey() {
    static const RsaKey key = *RsaKey::generate(1024);
    return key;
}

/* Signatures of 130 bytes, so that the signature chunk has padding */
const RsaKey& otherKey() {
    static const RsaKey key = *RsaKey::generate(1040);
    return key;
}

void append(std::vector<char>& out, Magic magic, std::string_view payload) {
    const std::span<const char> pieces[]{{payload.data(), payload.size()}};
    Data::AssetChunk::create(magic, pieces, out);
}

/* A header, chunks of odd sizes (so that there is padding) and an external file name */
std::vector<char> sampleFile() {
    std::vector<char> out;
    Data::appendHeaderData(out);
    append(out, Magic::Rendering, "rendr");
    append(out, Magic::Font, std::string(301, 'f'));
    Data::createExternalBinChunk("data.bin", out);
    Data::updateHeaderData(out);
    return out;
}

std::vector<char> sign(const std::vector<char>& file, const RsaKey& key = signingKey()) {
    const Utils::Result<std::vector<char>> signedFile = signAssetData(file, key);
    EXPECT_TRUE(signedFile) << signedFile.error();
    return signedFile ? *signedFile : std::vector<char>{};
}

std::string verify(const std::vector<char>& file, const RsaKey& key = signingKey()) {
    const Utils::Result<void> result = verifyAssetSignature(file, key);
    return result ? "valid" : result.error();
}

TEST(AssetSignatureTest, signAndVerify) {
    const std::vector<char> file = sampleFile();
    const std::vector<char> signedFile = sign(file);

    /* The original chunks stay as they were, the signature chunk comes last, and the header
       counts it */
    const Utils::Result<std::vector<Data::AssetChunkEntry>> chunks = Data::validateAssetData(signedFile);
    ASSERT_TRUE(chunks) << chunks.error();
    ASSERT_EQ(chunks->size(), 5u);
    EXPECT_EQ(chunks->back().magic, Magic::Signature);
    EXPECT_EQ(chunks->back().offset, file.size());
    EXPECT_EQ(chunks->back().size, 40u + 128u);
    EXPECT_EQ(signedFile.size(), file.size() + 8 + 40 + 128);
    const Data::AssetHeader& header = Data::AssetChunkView{signedFile}.as<Data::AssetHeader>();
    EXPECT_EQ(header.chunkCount, 5u);
    EXPECT_EQ(header.largestChunkSize, 312u);
    EXPECT_TRUE(std::equal(file.begin() + 24, file.end(), signedFile.begin() + 24));

    const Utils::Result<AssetSignatureEntry> entry = findAssetSignature(signedFile);
    ASSERT_TRUE(entry) << entry.error();
    EXPECT_EQ(entry->offset, file.size());
    EXPECT_EQ(entry->header.algorithm, Data::AssetSignatureAlgorithm::RsaPssSha256);
    EXPECT_EQ(entry->header.signatureSize, 128u);
    EXPECT_EQ(entry->header.keyFingerprint, signingKey().fingerprint().bytes);
    EXPECT_EQ(entry->signature.data(), signedFile.data() + file.size() + 48);

    EXPECT_EQ(verify(signedFile), "valid");
    EXPECT_EQ(verify(signedFile, signingKey().publicKey()), "valid");
}

TEST(AssetSignatureTest, signAgainReplaces) {
    const std::vector<char> file = sampleFile();
    const std::vector<char> first = sign(file, otherKey());
    EXPECT_EQ(findAssetSignature(first)->header.signatureSize, 130u);
    EXPECT_EQ(first.size(), file.size() + 8 + 40 + 132);
    EXPECT_EQ(verify(first, otherKey()), "valid");

    const std::vector<char> second = sign(first);
    EXPECT_EQ(second.size(), file.size() + 8 + 40 + 128);
    EXPECT_EQ(Data::AssetChunkView{second}.as<Data::AssetHeader>().chunkCount, 5u);
    EXPECT_EQ(verify(second), "valid");
    EXPECT_EQ(verify(second, otherKey()), "the signature names another key: " + signingKey().fingerprint().hex() + ", the given key is " + otherKey().fingerprint().hex());
}

TEST(AssetSignatureTest, everyChangedByteRejected) {
    const std::vector<char> file = sampleFile();
    for(const RsaKey* key: {&signingKey(), &otherKey()}) {
        const std::vector<char> signedFile = sign(file, *key);
        for(std::size_t i = 0; i != signedFile.size(); ++i) {
            std::vector<char> changed = signedFile;
            changed[i] ^= 0x20;
            ASSERT_NE(verify(changed, *key), "valid") << i;
        }

        /* A change inside a record is reported as such */
        std::vector<char> changed = signedFile;
        changed[24 + 8 + 2] = 'X';
        EXPECT_EQ(verify(changed, *key), "signature does not match: the file was changed after it was signed");
        /* So is one in the padding after an odd-sized chunk, which no reader looks at */
        changed = signedFile;
        changed[24 + 8 + 5] = 1;
        EXPECT_EQ(verify(changed, *key), "signature does not match: the file was changed after it was signed");
    }
}

TEST(AssetSignatureTest, verifyInvalid) {
    const std::vector<char> file = sampleFile();
    const std::vector<char> signedFile = sign(file);

    EXPECT_EQ(verify(file), "the file is not signed");
    EXPECT_EQ(verify({}), "not a data file: it does not start with a header chunk");
    EXPECT_EQ(verify(std::vector<char>(64, 'x')), "not a data file: it does not start with a header chunk");
    EXPECT_EQ(verify(signedFile, otherKey()), "the signature names another key: " + signingKey().fingerprint().hex() + ", the given key is " + otherKey().fingerprint().hex());

    /* Every truncation of a signed file fails, and none of them reads past the end */
    for(std::size_t size = 0; size != signedFile.size(); ++size)
        ASSERT_NE(verify({signedFile.begin(), signedFile.begin() + std::ptrdiff_t(size)}), "valid") << size;
    EXPECT_EQ(verify({signedFile.begin(), signedFile.end() - 1}), "the signature chunk at offset " + std::to_string(file.size()) + " is cut short by 1 bytes");
    EXPECT_EQ(verify({signedFile.begin(), signedFile.end() - 128}), "the signature chunk at offset " + std::to_string(file.size()) + " is cut short by 128 bytes");

    std::vector<char> stray = signedFile;
    stray.push_back(0);
    EXPECT_EQ(verify(stray), "1 stray bytes after the signature chunk");

    /* A chunk appended after signing */
    std::vector<char> appended = signedFile;
    append(appended, Magic::Rendering, "more");
    EXPECT_EQ(verify(appended), "the signature chunk at offset " + std::to_string(file.size()) + " is not the last chunk");
    EXPECT_EQ(Data::validateAssetData(appended).error(), "offset " + std::to_string(file.size()) + ": a signature chunk before the last chunk");
}

TEST(AssetSignatureTest, recordInvalid) {
    const std::vector<char> file = sampleFile();
    const std::vector<char> signedFile = sign(file);
    const std::size_t payload = file.size() + 8;

    std::vector<char> algorithm = signedFile;
    algorithm[payload] = 2;
    EXPECT_EQ(verify(algorithm), "unknown signature algorithm AssetSignatureAlgorithm(0x2)");

    std::vector<char> size = signedFile;
    size[payload + 4] = 127;
    EXPECT_EQ(verify(size), "a signature of 127 bytes does not fill the 168 byte record");
    EXPECT_EQ(Data::validateAssetData(size).error(), "offset " + std::to_string(payload + 4) + ": signature of 127 bytes does not fill the 168 byte record");

    /* A record too short for its head, its chunk size and the header kept consistent */
    std::vector<char> shortRecord = file;
    append(shortRecord, Magic::Signature, std::string(39, '\0'));
    Data::updateHeaderData(shortRecord);
    EXPECT_EQ(verify(shortRecord), "the signature record of 39 bytes is shorter than its 40 byte head");
    EXPECT_EQ(Data::validateAssetData(shortRecord).error(), "offset " + std::to_string(payload) + ": signature record of 39 bytes, expected at least 40");

    std::ostringstream out;
    Debug{&out} << Data::AssetSignatureAlgorithm::RsaPssSha256 << Data::AssetSignatureAlgorithm(7);
    EXPECT_EQ(out.str(), "AssetSignatureAlgorithm::RsaPssSha256 AssetSignatureAlgorithm(0x7)\n");
}

TEST(AssetSignatureTest, signInvalid) {
    const std::vector<char> file = sampleFile();
    EXPECT_EQ(signAssetData(file, signingKey().publicKey()).error(), "can't sign with a public key");
    const std::vector<char> truncated{file.begin(), file.end() - 4};
    EXPECT_EQ(signAssetData(truncated, signingKey()).error(), "can't sign an invalid data file: offset 356: Magic::External chunk of 20 bytes ends past the end of the data at 368");
}

}}}
