#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

#include "QuillmarshEngine/Data/AssetData.h"

namespace QuillmarshEngine { namespace Data { namespace {

using namespace std::string_view_literals;

std::string_view bytes(std::span<const char> data) { return {data.data(), data.size()}; }

std::string print(Magic magic) {
    std::ostringstream out;
    Debug{&out} << magic;
    return out.str();
}

TEST(AssetDataTest, magicValuesAndPrinting) {
    /* The tag is its four bytes in file order */
    const Magic mesh = Magic::Mesh;
    EXPECT_EQ(std::string_view(reinterpret_cast<const char*>(&mesh), 4), "QMEM");
    EXPECT_EQ(std::uint32_t(Magic::Header), 0x56454d51u);
    EXPECT_EQ(std::uint32_t(Magic::ImageTile), 0x74454d51u);
    /* Upper-case letters sort first */
    EXPECT_LT(std::uint32_t(Magic::Header), std::uint32_t(Magic::Animation));

    EXPECT_EQ(print(Magic::AnimationTargets), "Magic::AnimationTargets\n");
    EXPECT_EQ(print(Magic::PhysX), "Magic::PhysX\n");
    EXPECT_EQ(print(Magic::JsParams), "Magic::JsParams\n");
    EXPECT_EQ(print(Magic::ImageTile), "Magic::ImageTile\n");
    EXPECT_EQ(print(Magic::Signature), "Magic::Signature\n");
    EXPECT_EQ(std::uint32_t(Magic::Signature), 0x5a454d51u);
    EXPECT_EQ(print(Magic(0x7a454d51u)), "Magic(QMEz)\n");
    EXPECT_EQ(print(Magic(0x0a454d51u)), "Magic(QME?)\n");
    EXPECT_TRUE(isMagicKnown(Magic::Skin));
    EXPECT_FALSE(isMagicKnown(Magic(0x7a454d51u)));
}

TEST(AssetDataTest, paddedSize) {
    EXPECT_EQ(calulateAssetChunkSizePadded(0), 8u);
    EXPECT_EQ(calulateAssetChunkSizePadded(1), 12u);
    EXPECT_EQ(calulateAssetChunkSizePadded(4), 12u);
    EXPECT_EQ(calulateAssetChunkSizePadded(5), 16u);
    EXPECT_EQ(calulateAssetChunkSizePadded(0xffffffffu), 0x100000008u);
}

TEST(AssetDataTest, createReservedStoresPaddedSize) {
    alignas(4) char dest[20];
    std::memset(dest, 'x', sizeof(dest));
    const AssetChunk chunk = AssetChunk::create(Magic::Mesh, 5, dest);
    EXPECT_EQ(bytes(std::span<const char>{dest, 8}), "QMEM\x08\0\0\0"sv);
    /* The payload is the caller's to fill; nothing of it was touched */
    EXPECT_EQ(dest[8], 'x');
    EXPECT_EQ(chunk.data.size(), 16u);
    EXPECT_EQ(chunk.payload().data(), dest + 8);
    EXPECT_EQ(chunk.view.magic(), Magic::Mesh);
    EXPECT_EQ(chunk.view.size(), 8u);
    EXPECT_EQ(chunk.view.sizePadded(), 16u);

    /* Exactly enough room */
    alignas(4) char exact[16];
    EXPECT_EQ(AssetChunk::create(Magic::Font, 5, exact).data.size(), 16u);
}

TEST(AssetDataTest, createFromPiecesStoresExactSize) {
    alignas(4) char dest[16];
    std::memset(dest, 'x', sizeof(dest));
    const std::span<const char> pieces[]{"ab"sv, ""sv, "cde"sv};
    const AssetChunk chunk = AssetChunk::create(Magic::Font, pieces, dest);
    /* Size 5, payload concatenated, the three padding bytes not written */
    EXPECT_EQ(bytes(dest), "QMEF\x05\0\0\0abcdexxx"sv);
    EXPECT_EQ(chunk.data.size(), 13u);
    EXPECT_EQ(bytes(chunk.view.payload()), "abcde");
    EXPECT_EQ(chunk.view.sizePadded(), 16u);
}

TEST(AssetDataTest, createAppendingZeroPads) {
    std::vector<char> out{'a', 'b', 'c', 'd'};
    const std::span<const char> pieces[]{"12345"sv};
    const AssetChunk chunk = AssetChunk::create(Magic::Scene, pieces, out);
    EXPECT_EQ(bytes(out), "abcdQMES\x05\0\0\0" "12345\0\0\0"sv);
    EXPECT_EQ(chunk.data.data(), out.data() + 4);

    /* No pieces: exactly the 8-byte header with size 0 */
    std::vector<char> empty;
    AssetChunk::create(Magic::Draw, std::span<const std::span<const char>>{}, empty);
    EXPECT_EQ(bytes(empty), "QMEd\0\0\0\0"sv);
}

TEST(AssetDataTest, createMultiple) {
    alignas(4) char dest[36];
    std::memset(dest, 'x', sizeof(dest));
    const Magic magics[]{Magic::Texture, Magic::Draw, Magic::Font};
    const std::span<const char> datas[]{"abcde"sv, ""sv, "1234"sv};
    const std::vector<AssetChunk> chunks = AssetChunk::create(magics, datas, dest);
    ASSERT_EQ(chunks.size(), 3u);
    EXPECT_EQ(bytes(dest), "QMET\x05\0\0\0abcdexxx" "QMEd\0\0\0\0" "QMEF\x04\0\0\0" "1234"sv);
    EXPECT_EQ(chunks[1].data.data(), dest + 16);
    EXPECT_EQ(chunks[2].view.magic(), Magic::Font);

    /* Nothing in, nothing out, nothing touched */
    char untouched[4]{'x', 'x', 'x', 'x'};
    EXPECT_TRUE(AssetChunk::create(std::span<const Magic>{}, std::span<const std::span<const char>>{}, std::span<char>{untouched, 0}).empty());
    EXPECT_EQ(bytes(untouched), "xxxx");
}

TEST(AssetDataTest, externalBinChunk) {
    std::vector<char> out;
    createExternalBinChunk("a.bin", out);
    EXPECT_EQ(bytes(out), "QMEe\x06\0\0\0" "a.bin\0\0\0"sv);
}

TEST(AssetDataTest, headerAlone) {
    std::vector<char> out;
    appendHeaderData(out);
    EXPECT_EQ(bytes(out), "QMEV\x10\0\0\0" "\x01\0\x03\0" "\x03\0\0\0" "\0\0\0\0" "\0\0\0\0"sv);
    updateHeaderData(out);
    EXPECT_EQ(bytes(out), "QMEV\x10\0\0\0" "\x01\0\x03\0" "\x03\0\0\0" "\x18\0\0\0" "\x01\0\0\0"sv);
    EXPECT_EQ(AssetChunkView{out}.as<AssetHeader>().chunkCount, 1u);
}

TEST(AssetDataTest, headerCountsChunks) {
    std::vector<char> out;
    appendHeaderData(out);
    const std::string eight(8, 'a'), thirtyTwo(32, 'b'), four(4, 'c');
    AssetChunk::create(Magic::Font, std::vector<std::span<const char>>{eight}, out);     /* 16 */
    AssetChunk::create(Magic::Image, std::vector<std::span<const char>>{thirtyTwo}, out); /* 40 */
    AssetChunk::create(Magic::Scene, std::vector<std::span<const char>>{four}, out);      /* 12 */
    ASSERT_EQ(out.size(), 24u + 16 + 40 + 12);
    updateHeaderData(out);
    const AssetHeader& header = AssetChunkView{out}.as<AssetHeader>();
    EXPECT_EQ(header.largestChunkSize, 40u);
    EXPECT_EQ(header.chunkCount, 4u);
    EXPECT_EQ(header.formatWord0, 0x00030001u);
    EXPECT_EQ(header.formatWord1, 3u);
}

TEST(AssetDataTest, headerWalkStaysInsideData) {
    /* Header, then a chunk whose stored size claims far more than is there: it is counted but
       the walk ends there; then trailing stray bytes that can't hold a chunk header */
    alignas(4) char data[24 + 8 + 4 + 8]{};
    std::vector<char> header;
    appendHeaderData(header);
    std::memcpy(data, header.data(), 24);
    std::memcpy(data + 24, "QMEF\x04\0\0\0" "abcd", 12);
    std::memcpy(data + 36, "QMEd\xf0\0\0\0", 8);
    updateHeaderData(std::span<char>{data, 40});
    /* Only 4 bytes left after the font chunk: stray, not a chunk */
    EXPECT_EQ(reinterpret_cast<const AssetHeader*>(data + 8)->chunkCount, 2u);
    EXPECT_EQ(reinterpret_cast<const AssetHeader*>(data + 8)->largestChunkSize, 24u);
    updateHeaderData(data);
    /* Now the truncated draw chunk counts, with its claimed size */
    EXPECT_EQ(reinterpret_cast<const AssetHeader*>(data + 8)->chunkCount, 3u);
    EXPECT_EQ(reinterpret_cast<const AssetHeader*>(data + 8)->largestChunkSize, 248u);
}

TEST(AssetDataTest, viewAs) {
    std::vector<char> out;
    appendHeaderData(out);
    const AssetChunkView view{out};
    EXPECT_EQ(view.magic(), Magic::Header);
    EXPECT_EQ(view.payload().size(), 16u);
    EXPECT_EQ(view.as<AssetHeader>().formatWord1, 3u);
    /* The payload is clipped to the viewed bytes */
    EXPECT_EQ(AssetChunkView{std::span<const char>{out}.first(12)}.payload().size(), 4u);
}

TEST(AssetDataDeathTest, createTooSmall) {
    alignas(4) char dest[16];
    std::memset(dest, 'x', sizeof(dest));
    EXPECT_DEATH(AssetChunk::create(Magic::Mesh, 9, dest), "^AssetChunk::create\\(\\): destData too small\n$");
    const std::span<const char> pieces[]{"123456789"sv};
    EXPECT_DEATH(AssetChunk::create(Magic::Mesh, pieces, std::span<char>{dest, 19 - 4}), "^AssetChunk::create\\(\\): destData too small\n$");
    EXPECT_DEATH(AssetChunk::create(Magic::Mesh, 0, std::span<char>{dest, 7}), "^AssetChunk::create\\(\\): destData too small\n$");
    /* Nothing was written before the abort (the death test ran in a child; check here) */
    EXPECT_EQ(dest[0], 'x');
}

TEST(AssetDataDeathTest, misaligned) {
    alignas(4) char dest[32]{};
    EXPECT_DEATH(AssetChunk::create(Magic::Mesh, 4, std::span<char>{dest + 1, 16}), "^AssetChunkView::AssetChunkView\\(\\): data is not 4-byte aligned\n$");
    EXPECT_DEATH(AssetChunk::create(Magic::Mesh, std::span<const std::span<const char>>{}, std::span<char>{dest + 2, 16}), "^AssetChunkView::AssetChunkView\\(\\): data is not 4-byte aligned\n$");
    EXPECT_DEATH(updateHeaderData(std::span<char>{dest + 2, 24}), "^AssetChunkView::AssetChunkView\\(\\): data is not 4-byte aligned\n$");
    EXPECT_DEATH(AssetChunkView{std::span<const char>(dest + 1, 8)}, "^AssetChunkView::AssetChunkView\\(\\): data is not 4-byte aligned\n$");
}

TEST(AssetDataDeathTest, multipleSizeMismatch) {
    alignas(4) char dest[32]{};
    const Magic magics[]{Magic::Mesh};
    EXPECT_DEATH(AssetChunk::create(magics, std::span<const std::span<const char>>{}, dest), "^AssetChunk::create\\(\\): magic and data arrays not same size\n$");
    /* Each chunk checks against what is left */
    const Magic two[]{Magic::Font, Magic::Font};
    const std::span<const char> datas[]{"0123456789abcdef"sv, "0"sv};
    EXPECT_DEATH(AssetChunk::create(two, datas, dest), "^AssetChunk::create\\(\\): destData too small\n$");
}

TEST(AssetDataDeathTest, wrongType) {
    std::vector<char> out;
    AssetChunk::create(Magic::Font, std::vector<std::span<const char>>{"0123456789abcdef"sv}, out);
    EXPECT_DEATH(updateHeaderData(out), "^AssetChunkView::as\\(\\): Chunk is not of given type\n$");
    EXPECT_DEATH(static_cast<void>(AssetChunkView{out}.as<AssetHeader>()), "^AssetChunkView::as\\(\\): Chunk is not of given type\n$");
}

TEST(AssetDataDeathTest, headerUpdateOutsideData) {
    std::vector<char> out;
    appendHeaderData(out);
    /* Too short for the header chunk */
    EXPECT_DEATH(updateHeaderData(std::span<char>{out}.first(20)), "^updateHeaderData\\(\\): expected at least 24 bytes for the header chunk, got 20\n$");
    /* A header whose stored size is below 16 would write over the next chunk */
    std::vector<char> small = out;
    small[4] = 8;
    EXPECT_DEATH(updateHeaderData(small), "^updateHeaderData\\(\\): expected a header chunk size of at least 16, got 8\n$");
    std::vector<char> large = out;
    large[4] = 20;
    EXPECT_DEATH(updateHeaderData(large), "^updateHeaderData\\(\\): header chunk of 28 bytes exceeds the 24 bytes of data\n$");
    /* A chunk whose padded size needs 33 bits */
    std::vector<char> huge = out;
    const char chunk[]{'Q', 'M', 'E', 'd', '\xfe', '\xff', '\xff', '\xff'};
    huge.insert(huge.end(), chunk, chunk + 8);
    EXPECT_DEATH(updateHeaderData(huge), "^updateHeaderData\\(\\): chunk at offset 24 has a padded size of 4294967304 bytes, which does not fit 32 bits\n$");
    huge[28] = '\xf4';
    updateHeaderData(huge);
    EXPECT_EQ(AssetChunkView{huge}.as<AssetHeader>().largestChunkSize, 0xfffffffcu);
}

}}}
