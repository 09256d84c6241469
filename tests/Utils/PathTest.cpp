#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>
#include <filesystem>
#include <string>
#include <vector>

#include "QuillmarshEngine/Utils/Path.h"

namespace QuillmarshEngine { namespace Utils { namespace {

using namespace std::string_view_literals;
typedef std::pair<std::string_view, std::string_view> Parts;

TEST(PathTest, join) {
    EXPECT_EQ(Path::join("a/b", "c.txt"), "a/b/c.txt");
    EXPECT_EQ(Path::join("a/b/", "c.txt"), "a/b/c.txt");
    EXPECT_EQ(Path::join("/", "c.txt"), "/c.txt");
    EXPECT_EQ(Path::join("", "c.txt"), "c.txt");
    EXPECT_EQ(Path::join("a", ""), "a/");
    EXPECT_EQ(Path::join("a/b", "/etc/c"), "/etc/c");
    EXPECT_EQ(Path::join("a", "b/c"), "a/b/c");
}

TEST(PathTest, split) {
    EXPECT_EQ(Path::split("a/b/c.txt"), Parts("a/b", "c.txt"));
    EXPECT_EQ(Path::split("c.txt"), Parts("", "c.txt"));
    EXPECT_EQ(Path::split("/c"), Parts("/", "c"));
    EXPECT_EQ(Path::split("/"), Parts("/", ""));
    EXPECT_EQ(Path::split("a/b/"), Parts("a/b", ""));
    EXPECT_EQ(Path::split(""), Parts("", ""));
    EXPECT_EQ(Path::directory("shaders/lib/light.glsl"), "shaders/lib");
    EXPECT_EQ(Path::filename("shaders/lib/light.glsl"), "light.glsl");

    /* Joining the parts gives the path back wherever there was a file name */
    for(const std::string_view path: {"a/b/c.txt"sv, "c.txt"sv, "/c"sv}) {
        const Parts parts = Path::split(path);
        EXPECT_EQ(Path::join(parts.first, parts.second), path);
    }
}

TEST(PathTest, splitExtension) {
    EXPECT_EQ(Path::splitExtension("a/b.tar.gz"), Parts("a/b.tar", ".gz"));
    EXPECT_EQ(Path::splitExtension("scene.qme"), Parts("scene", ".qme"));
    EXPECT_EQ(Path::splitExtension("a/.config"), Parts("a/.config", ""));
    EXPECT_EQ(Path::splitExtension("a.d/file"), Parts("a.d/file", ""));
    EXPECT_EQ(Path::splitExtension("file."), Parts("file", "."));
    EXPECT_EQ(Path::splitExtension(""), Parts("", ""));
}

class PathFileTest: public testing::Test {
    protected:
        void SetUp() override {
            _root = (std::filesystem::temp_directory_path()/("quillmarsh-path-" + std::to_string(getpid()))).string();
            std::filesystem::remove_all(_root);
        }
        void TearDown() override { std::filesystem::remove_all(_root); }

        std::string _root;
};

TEST_F(PathFileTest, makeAndExists) {
    EXPECT_FALSE(Path::exists(_root));
    const std::string deep = Path::join(_root, "a/b/c");
    ASSERT_TRUE(Path::make(deep));
    EXPECT_TRUE(Path::isDirectory(deep));
    EXPECT_TRUE(Path::make(deep));
    EXPECT_TRUE(Path::make(deep + "/"));

    const std::string file = Path::join(_root, "file");
    ASSERT_TRUE(Path::write(file, std::span<const char>{"x", 1}));
    EXPECT_TRUE(Path::exists(file));
    EXPECT_FALSE(Path::isDirectory(file));
    EXPECT_EQ(Path::make(Path::join(file, "sub")).error(), "can't make " + file + ": Not a directory");
    EXPECT_EQ(Path::make(file).error(), "can't make " + file + ": Not a directory");
}

TEST_F(PathFileTest, readWrite) {
    ASSERT_TRUE(Path::make(_root));
    const std::string file = Path::join(_root, "data.bin");

    /* Sizes around the read loop's first guess, zero bytes included */
    for(const std::size_t size: {0, 1, 4095, 4096, 4097, 1 << 20}) {
        std::vector<char> data(size);
        for(std::size_t i = 0; i != size; ++i) data[i] = char(i*131 >> 3);
        ASSERT_TRUE(Path::write(file, data));
        const Result<std::vector<char>> read = Path::read(file);
        ASSERT_TRUE(read) << read.error();
        EXPECT_EQ(*read, data) << size;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(read->data()) % 4, 0u);
        EXPECT_EQ(Path::readString(file).value(), std::string(data.begin(), data.end()));
    }

    /* Files without a size read whole too */
    const Result<std::string> status = Path::readString("/proc/self/status");
    ASSERT_TRUE(status) << status.error();
    EXPECT_NE(status->find("Name:"), std::string::npos);
}

TEST_F(PathFileTest, replace) {
    ASSERT_TRUE(Path::make(_root));
    const std::string file = Path::join(_root, "data.bin");
    ASSERT_TRUE(Path::write(file, std::span<const char>{"old", 3}));
    ASSERT_TRUE(Path::replace(file, std::span<const char>{"new!", 4}));
    EXPECT_EQ(Path::readString(file).value(), "new!");
    /* Nothing is left beside it */
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator{_root}, std::filesystem::directory_iterator{}), 1);

    /* Replacing a directory fails and leaves it, and no temporary file, behind */
    const std::string directory = Path::join(_root, "dir");
    ASSERT_TRUE(Path::make(directory));
    EXPECT_EQ(Path::replace(directory, std::span<const char>{"x", 1}).error(), "can't replace " + directory + ": Is a directory");
    EXPECT_TRUE(Path::isDirectory(directory));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator{_root}, std::filesystem::directory_iterator{}), 2);
}

TEST_F(PathFileTest, readWriteInvalid) {
    const std::string missing = Path::join(_root, "missing");
    EXPECT_EQ(Path::read(missing).error(), "can't open " + missing + ": No such file or directory");
    EXPECT_EQ(Path::readString(missing).error(), "can't open " + missing + ": No such file or directory");
    EXPECT_EQ(Path::write(Path::join(missing, "file"), {}).error(), "can't open " + missing + "/file: No such file or directory");
    EXPECT_EQ(Path::replace(Path::join(missing, "file"), {}).error(), "can't open " + missing + "/file.tmp-" + std::to_string(getpid()) + ": No such file or directory");

    ASSERT_TRUE(Path::make(_root));
    EXPECT_EQ(Path::read(_root).error(), "can't read " + _root + ": Is a directory");
    EXPECT_EQ(Path::write(_root, {}).error(), "can't open " + _root + ": Is a directory");
    /* A full device reports at the write or at the close */
    EXPECT_EQ(Path::write("/dev/full", std::span<const char>{"x", 1}).error(), "can't write /dev/full: No space left on device");
}

}}}
