#include <gtest/gtest.h>

#include <unistd.h>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "QuillmarshEngine/Tools/Cryptography.h"

namespace QuillmarshEngine { namespace Tools { namespace {

/* The published SHA-256 test vectors */
struct Vector {
    const char* name;
    std::string message;
    const char* digest;
};

const std::vector<Vector>& vectors() {
    static const std::vector<Vector> v{
        {"empty", "", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
        {"abc", "abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        {"448 bits", "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
            "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
        {"896 bits", "abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmnoijklmnopjklmnopqklmnopqrlmnopqrsmnopqrstnopqrstu",
            "cf5b16a778af8380036ce59e7b0492370b249b11e8f07a51afac45037afee9d1"},
        {"a million a", std::string(1000000, 'a'), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
    };
    return v;
}

TEST(CryptographyTest, sha256PublishedVectors) {
    for(const Vector& v: vectors()) {
        SCOPED_TRACE(v.name);
        EXPECT_EQ(sha256(v.message).hex(), v.digest);
        const std::span<const std::uint8_t> bytes{reinterpret_cast<const std::uint8_t*>(v.message.data()), v.message.size()};
        EXPECT_EQ(sha256(bytes).hex(), v.digest);
    }
}

TEST(CryptographyTest, sha256StreamingAnySplit) {
    /* Every split point of the two-block message, so that the pieces cross the 64-byte block
       boundary and the 56-byte padding boundary at every offset */
    const Vector& twoBlocks = vectors()[3];
    const std::span<const char> message{twoBlocks.message};
    for(std::size_t split = 0; split <= message.size(); ++split) {
        Sha256 hasher;
        hasher.update(message.first(split)).update(message.subspan(split));
        EXPECT_EQ(hasher.size(), message.size());
        ASSERT_EQ(hasher.finish().hex(), twoBlocks.digest) << "split at " << split;
    }

    /* The long message in uneven pieces */
    const Vector& million = vectors()[4];
    Sha256 hasher;
    for(std::size_t offset = 0; offset < million.message.size(); offset += 997)
        hasher.update(std::span<const char>{million.message}.subspan(offset, std::min<std::size_t>(997, million.message.size() - offset)));
    EXPECT_EQ(hasher.finish().hex(), million.digest);
}

TEST(CryptographyTest, sha256FinishStartsNewMessage) {
    Sha256 hasher;
    hasher.update(std::span<const char>{}).update(std::span<const char>{"ab", 2});
    hasher.update(std::span<const char>{"c", 1});
    EXPECT_EQ(hasher.size(), 3u);
    EXPECT_EQ(hasher.finish().hex(), vectors()[1].digest);
    EXPECT_EQ(hasher.size(), 0u);
    EXPECT_EQ(hasher.finish().hex(), vectors()[0].digest);
}

TEST(CryptographyTest, digestHexRoundTrip) {
    const Sha256Digest digest = sha256(std::string_view{"abc"});
    EXPECT_EQ(Sha256Digest::fromHex(digest.hex()).value(), digest);
    /* Upper case is read too; the text form is always lower case */
    EXPECT_EQ(Sha256Digest::fromHex("BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD").value(), digest);
    EXPECT_NE(Sha256Digest{}, digest);
    EXPECT_EQ(Sha256Digest{}.hex(), std::string(64, '0'));

    std::ostringstream out;
    Debug{&out} << digest;
    EXPECT_EQ(out.str(), std::string{vectors()[1].digest} + "\n");

    const std::uint8_t bytes[]{0x00, 0x0f, 0xa5, 0xff};
    EXPECT_EQ(hexString(bytes), "000fa5ff");
    EXPECT_EQ(hexString({}), "");
}

TEST(CryptographyTest, digestFromHexInvalid) {
    const std::string good = vectors()[1].digest;
    const Utils::Result<Sha256Digest> shortText = Sha256Digest::fromHex(good.substr(1));
    ASSERT_FALSE(shortText);
    EXPECT_EQ(shortText.error(), "expected 64 hexadecimal digits, got 63 characters");
    EXPECT_EQ(Sha256Digest::fromHex(good + "0").error(), "expected 64 hexadecimal digits, got 65 characters");
    EXPECT_EQ(Sha256Digest::fromHex("").error(), "expected 64 hexadecimal digits, got 0 characters");
    for(const char bad: {'g', 'G', ' ', '\0', '-', 'x'}) {
        std::string text = good;
        text[17] = bad;
        EXPECT_EQ(Sha256Digest::fromHex(text).error(), "not a hexadecimal digit at position 17") << int(bad);
    }
}

class CryptographyFileTest: public testing::Test {
    protected:
        void SetUp() override {
            _root = std::filesystem::temp_directory_path()/("quillmarsh-crypto-" + std::to_string(getpid()));
            std::filesystem::create_directories(_root);
        }
        void TearDown() override { std::filesystem::remove_all(_root); }

        std::string write(const char* name, const std::string& contents) {
            const std::string path = (_root/name).string();
            std::ofstream{path, std::ios::binary}.write(contents.data(), std::streamsize(contents.size()));
            return path;
        }

        std::filesystem::path _root;
};

TEST_F(CryptographyFileTest, sha256FileMatchesBuffer) {
    EXPECT_EQ(sha256File(write("empty", "")).value().hex(), vectors()[0].digest);
    EXPECT_EQ(sha256File(write("million", vectors()[4].message)).value().hex(), vectors()[4].digest);

    /* Sizes at and around whole multiples of the read piece */
    for(const std::size_t size: {Sha256FilePieceSize - 1, Sha256FilePieceSize, Sha256FilePieceSize + 1, 2*Sha256FilePieceSize + 17}) {
        std::string contents(size, '\0');
        for(std::size_t i = 0; i != size; ++i) contents[i] = char(i*2654435761u >> 13);
        EXPECT_EQ(sha256File(write("pieces", contents)).value(), sha256(std::string_view{contents})) << size;
    }
}

TEST_F(CryptographyFileTest, sha256FileInvalid) {
    const std::string missing = (_root/"missing").string();
    const Utils::Result<Sha256Digest> notFound = sha256File(missing);
    ASSERT_FALSE(notFound);
    EXPECT_EQ(notFound.error(), "can't open " + missing + ": No such file or directory");

    const Utils::Result<Sha256Digest> directory = sha256File(_root.string());
    ASSERT_FALSE(directory);
    EXPECT_EQ(directory.error(), "can't read " + _root.string() + ": Is a directory");
}

}}}
