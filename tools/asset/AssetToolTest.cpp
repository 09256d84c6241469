/* Runs the quillmarsh-asset program as a user would and checks its exit status, its output and,
   on a huge file, that its memory stays bounded */

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "QuillmarshEngine/Data/AssetRecords.h"
#include "QuillmarshEngine/Data/AssetValidation.h"
#include "QuillmarshEngine/Tools/MeshFormat.h"

namespace QuillmarshEngine { namespace {

using namespace std::string_view_literals;

struct Outcome {
    int status;                 /* exit code, or 128 + signal */
    std::string out, err;
    long maxResidentKilobytes;
};

std::string readText(const std::string& path) {
    std::ifstream in{path, std::ios::binary};
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

/* The directory for this test's files, fresh for every run and removed at the end */
const std::string& workDirectory() {
    static const std::string dir = [] {
        std::string d = std::string{QUILLMARSH_ASSET_TOOL_WORK_DIR} + "/work-XXXXXX";
        if(!::mkdtemp(d.data())) ADD_FAILURE() << "mkdtemp: " << std::strerror(errno);
        return d;
    }();
    return dir;
}

struct RemoveWorkDirectory: ::testing::Environment {
    void TearDown() override { std::filesystem::remove_all(workDirectory()); }
};

const auto* const removal = ::testing::AddGlobalTestEnvironment(new RemoveWorkDirectory);

std::string file(const std::string& name) { return workDirectory() + "/" + name; }

Outcome run(std::vector<std::string> arguments) {
    const std::string outPath = file("stdout"), errPath = file("stderr");
    const pid_t pid = ::fork();
    if(pid == 0) {
        const int out = ::open(outPath.c_str(), O_WRONLY|O_CREAT|O_TRUNC, 0644);
        const int err = ::open(errPath.c_str(), O_WRONLY|O_CREAT|O_TRUNC, 0644);
        ::dup2(out, 1);
        ::dup2(err, 2);
        /* A program that waits forever (on a FIFO, say) is killed instead of hanging the test */
        ::alarm(20);
        std::vector<char*> argv;
        static std::string program = QUILLMARSH_ASSET_TOOL;
        argv.push_back(program.data());
        for(std::string& a: arguments) argv.push_back(a.data());
        argv.push_back(nullptr);
        ::execv(program.c_str(), argv.data());
        ::_exit(127);
    }
    int status = 0;
    struct rusage usage{};
    ::wait4(pid, &status, 0, &usage);
    return Outcome{WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), readText(outPath), readText(errPath), usage.ru_maxrss};
}

void write(const std::string& path, const std::vector<char>& data) {
    std::ofstream{path, std::ios::binary}.write(data.data(), std::streamsize(data.size()));
}

void append(std::vector<char>& out, Data::Magic magic, const std::vector<char>& record) {
    const std::span<const char> pieces[]{record};
    Data::AssetChunk::create(magic, pieces, out);
}

Trade::MeshData triangle(std::uint32_t lastIndex) {
    std::vector<char> vertexData(36);
    const float positions[]{0, 0, 0, 1, 0, 0, 0, 1, 0};
    std::memcpy(vertexData.data(), positions, sizeof(positions));
    std::vector<char> indexData(12);
    const std::uint32_t indices[]{0, 1, lastIndex};
    std::memcpy(indexData.data(), indices, 12);
    std::vector<Trade::MeshAttributeData> attributes;
    attributes.emplace_back(Trade::MeshAttribute::Position, Trade::VertexFormat::Vector3, 0, 3, 12);
    const Trade::MeshIndexData indexView{Trade::MeshIndexType::UnsignedInt, indexData};
    return Trade::MeshData{Trade::MeshPrimitive::Triangles, std::move(indexData), indexView, std::move(vertexData), std::move(attributes)};
}

/* A valid file: a mesh, a compressed mesh, and `fonts` font chunks */
std::vector<char> validFile(int fonts = 3) {
    std::vector<char> out;
    Data::appendHeaderData(out);
    const Trade::MeshData mesh = triangle(2);
    Tools::createMeshChunk(mesh, {}, {}, BoundingSphere{{}, 1.0f}, out);
    Tools::createMeshChunk(mesh, {}, Tools::compressMeshIndexData(mesh), BoundingSphere{{}, 1.0f}, out);
    for(int i = 0; i != fonts; ++i) append(out, Data::Magic::Font, Data::createFontData("font"sv));
    Data::createExternalBinChunk("data.bin", out);
    Data::updateHeaderData(out);
    return out;
}

const std::string Try = "Try 'quillmarsh-asset --help'.\n";

TEST(AssetToolTest, help) {
    for(const char* flag: {"--help", "-h", "help"}) {
        const Outcome r = run({flag});
        EXPECT_EQ(r.status, 0) << flag;
        EXPECT_EQ(r.out.rfind("Usage: quillmarsh-asset COMMAND [OPTIONS] FILE\n", 0), 0u) << r.out;
        EXPECT_NE(r.out.find("  info   [--all] FILE"), std::string::npos) << r.out;
        EXPECT_NE(r.out.find("  verify FILE"), std::string::npos) << r.out;
        EXPECT_EQ(r.err, "");
    }
    const Outcome command = run({"verify", "--help"});
    EXPECT_EQ(command.status, 0);
    EXPECT_EQ(command.out.rfind("Usage:", 0), 0u);
}

TEST(AssetToolTest, wrongCommandLines) {
    const struct {
        std::vector<std::string> arguments;
        std::string message;
    } cases[]{
        {{}, "no command given"},
        {{"inf", "x"}, "unknown command 'inf'"},
        {{"--all", "info", "x"}, "unknown option '--all'; the command comes first"},
        {{"info"}, "info expects a FILE"},
        {{"verify", "a", "b"}, "verify expects one FILE, got 2 operands"},
        {{"info", "--everything", "x"}, "unknown option '--everything' for info"},
        {{"verify", "--all", "x"}, "unknown option '--all' for verify"},
    };
    for(const auto& c: cases) {
        const Outcome r = run(c.arguments);
        EXPECT_EQ(r.status, 2) << c.message;
        EXPECT_EQ(r.err, "quillmarsh-asset: " + c.message + "\n" + Try);
        EXPECT_EQ(r.out, "");
    }
}

TEST(AssetToolTest, filesThatAreNotAssetData) {
    const std::string missing = file("missing.qme");
    const std::string directory = file("directory");
    const std::string fifo = file("fifo");
    const std::string empty = file("empty.qme");
    ASSERT_EQ(::mkdir(directory.c_str(), 0755), 0);
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0644), 0);
    write(empty, {});
    const struct {
        std::string path, reason;
    } cases[]{
        {missing, "No such file or directory"},
        {directory, "Is a directory"},
        {fifo, "not a regular file (a FIFO)"},
        {"/dev/null", "not a regular file (a character device)"},
        {empty, "empty file, not asset data"},
    };
    for(const char* command: {"info", "verify"}) {
        for(const auto& c: cases) {
            const Outcome r = run({command, c.path});
            EXPECT_EQ(r.status, 1) << command << " " << c.path;
            EXPECT_EQ(r.err, "quillmarsh-asset: " + c.path + ": " + c.reason + "\n") << command;
            EXPECT_EQ(r.out, "") << command;
        }
    }

    /* Permissions don't stop the superuser */
    if(::geteuid() != 0) {
        const std::string locked = file("locked.qme");
        write(locked, validFile());
        ASSERT_EQ(::chmod(locked.c_str(), 0), 0);
        const Outcome r = run({"verify", locked});
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.err, "quillmarsh-asset: " + locked + ": Permission denied\n");
    }
}

TEST(AssetToolTest, validFile) {
    const std::string path = file("valid.qme");
    const std::vector<char> data = validFile();
    write(path, data);
    const Outcome verified = run({"verify", path});
    EXPECT_EQ(verified.status, 0) << verified.err;
    EXPECT_EQ(verified.out, path + ": valid, 7 chunks\n");
    EXPECT_EQ(verified.err, "");

    const Outcome info = run({"info", path});
    EXPECT_EQ(info.status, 0) << info.err;
    std::istringstream lines{info.out};
    std::string line;
    std::vector<std::string> all;
    while(std::getline(lines, line)) all.push_back(line);
    ASSERT_EQ(all.size(), 11u) << info.out;
    EXPECT_EQ(all[0], path + ": " + std::to_string(data.size()) + " bytes");
    EXPECT_EQ(all[1].rfind("header: format words 0x00030001 3, largest chunk ", 0), 0u) << all[1];
    EXPECT_NE(all[1].find(", 7 chunks"), std::string::npos);
    EXPECT_NE(all[3].find("Magic::Header"), std::string::npos);
    EXPECT_NE(all[4].find("Magic::Mesh"), std::string::npos);
    EXPECT_NE(all[9].find("Magic::External"), std::string::npos);
    EXPECT_EQ(all[10].rfind("7 chunks, the largest takes ", 0), 0u);
}

TEST(AssetToolTest, infoShowsOneScreenUnlessAskedForAll) {
    const std::string path = file("many.qme");
    write(path, validFile(40));
    const auto rows = [](const std::string& text) {
        std::size_t n = 0;
        for(std::size_t at = text.find("Magic::"); at != std::string::npos; at = text.find("Magic::", at + 1)) ++n;
        return n;
    };
    const Outcome screen = run({"info", path});
    EXPECT_EQ(screen.status, 0);
    EXPECT_EQ(rows(screen.out), 20u);
    EXPECT_NE(screen.out.find("... 24 more chunks, --all lists every one\n44 chunks, the largest takes"), std::string::npos) << screen.out;
    const Outcome all = run({"info", "--all", path});
    EXPECT_EQ(all.status, 0);
    EXPECT_EQ(rows(all.out), 44u);
    EXPECT_EQ(all.out.find("more chunks"), std::string::npos);
}

TEST(AssetToolTest, damagedFiles) {
    std::vector<char> data = validFile();
    const std::string truncated = file("truncated.qme");
    write(truncated, {data.begin(), data.end() - 3});
    const Outcome info = run({"info", truncated});
    EXPECT_EQ(info.status, 0);
    EXPECT_NE(info.out.find("the last chunk is cut short by 3 bytes\n"), std::string::npos) << info.out;
    const Outcome verify = run({"verify", truncated});
    EXPECT_EQ(verify.status, 1);
    EXPECT_EQ(verify.err.rfind("quillmarsh-asset: " + truncated + ": offset ", 0), 0u) << verify.err;

    const std::string text = file("text.qme");
    const std::string_view words = "hello, this is plain text and no asset data\n";
    write(text, {words.begin(), words.end()});
    const Outcome garbage = run({"info", text});
    EXPECT_EQ(garbage.status, 0);
    EXPECT_NE(garbage.out.find("header: missing\n"), std::string::npos);
    EXPECT_NE(garbage.out.find("offset 0: not a chunk tag, Magic(hell); the rest is not walked\n"), std::string::npos) << garbage.out;
    EXPECT_EQ(run({"verify", text}).err, "quillmarsh-asset: " + text + ": offset 0: expected a header chunk, got Magic(hell)\n");
}

TEST(AssetToolTest, verifyChecksIndicesAndWarnsOnUnknownTags) {
    std::vector<char> bad;
    Data::appendHeaderData(bad);
    Tools::createMeshChunk(triangle(65535), {}, {}, {}, bad);
    Data::updateHeaderData(bad);
    write(file("index.qme"), bad);
    const Outcome r = run({"verify", file("index.qme")});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "quillmarsh-asset: " + file("index.qme") + ": offset 148: index 2 of value 65535 points past the 3 vertices\n");

    std::vector<char> compressed;
    Data::appendHeaderData(compressed);
    const Trade::MeshData mesh = triangle(7);
    Tools::createMeshChunk(mesh, {}, Tools::compressMeshIndexData(mesh), {}, compressed);
    Data::updateHeaderData(compressed);
    write(file("compressed.qme"), compressed);
    const Outcome c = run({"verify", file("compressed.qme")});
    EXPECT_EQ(c.status, 1);
    EXPECT_EQ(c.err, "quillmarsh-asset: " + file("compressed.qme") + ": offset 24: mesh: index 2 of value 7 points past the 3 vertices\n");

    std::vector<char> unknown;
    Data::appendHeaderData(unknown);
    append(unknown, Data::Magic(0x7a454d51u), std::vector<char>(4));
    Data::updateHeaderData(unknown);
    write(file("unknown.qme"), unknown);
    const Outcome u = run({"verify", file("unknown.qme")});
    EXPECT_EQ(u.status, 0);
    EXPECT_EQ(u.out, file("unknown.qme") + ": valid, 2 chunks\n");
    EXPECT_EQ(u.err, "validateAssetData(): offset 24: unknown chunk tag Magic(QMEz), not checked\n");
}

TEST(AssetToolTest, hugeSparseFileInBoundedMemory) {
    /* A header, a chunk of 4 GiB and one of 1 GiB whose payloads are holes: 5 GiB on paper,
       almost nothing on disk */
    const std::string path = file("huge.qme");
    const std::uint64_t firstPayload = 0xfffffff0u, secondPayload = std::uint64_t{1} << 30;
    const std::uint64_t first = 24, second = first + Data::calulateAssetChunkSizePadded(firstPayload);
    const std::uint64_t total = second + Data::calulateAssetChunkSizePadded(secondPayload);
    {
        std::vector<char> header;
        Data::appendHeaderData(header);
        const std::uint32_t fields[]{std::uint32_t(Data::calulateAssetChunkSizePadded(firstPayload)), 3};
        std::memcpy(header.data() + 16, fields, 8);
        const int fd = ::open(path.c_str(), O_WRONLY|O_CREAT|O_TRUNC, 0644);
        ASSERT_GE(fd, 0);
        if(::ftruncate(fd, off_t(total)) != 0) {
            ::close(fd);
            GTEST_SKIP() << "the file system can't hold a sparse file of " << total << " bytes: " << std::strerror(errno);
        }
        const auto chunkHeader = [&](std::uint64_t at, std::uint32_t size) {
            const std::uint32_t words[]{std::uint32_t(Data::Magic::Font), size};
            return ::pwrite(fd, words, 8, off_t(at)) == 8;
        };
        ASSERT_EQ(::pwrite(fd, header.data(), 24, 0), 24);
        ASSERT_TRUE(chunkHeader(first, std::uint32_t(firstPayload)));
        ASSERT_TRUE(chunkHeader(second, std::uint32_t(secondPayload)));
        ::close(fd);
    }
    /* A generous bound for sanitizer builds: what matters is that 5 GiB is not read in */
    constexpr long Bound = 256*1024;
    const Outcome verified = run({"verify", path});
    EXPECT_EQ(verified.status, 0) << verified.err;
    EXPECT_EQ(verified.out, path + ": valid, 3 chunks\n");
    EXPECT_LT(verified.maxResidentKilobytes, Bound);
    const Outcome info = run({"info", "--all", path});
    EXPECT_EQ(info.status, 0) << info.err;
    EXPECT_NE(info.out.find("3 chunks, the largest takes 4294967288 bytes\n"), std::string::npos) << info.out;
    EXPECT_LT(info.maxResidentKilobytes, Bound);
    ::unlink(path.c_str());
}

TEST(AssetToolTest, packDumpAndInfoOfAScene) {
    const std::string model = "/usr/share/assimp/models/glTF2/BoxTextured-glTF/BoxTextured.gltf";
    if(!std::filesystem::exists(model)) GTEST_SKIP() << "the assimp-testmodels package is not installed (" << model << " is missing)";
    const std::string packed = file("box.qme");
    const Outcome pack = run({"pack", model, "-o", packed, "--quantize", "--compress"});
    ASSERT_EQ(pack.status, 0) << pack.err;
    /* Not a terminal: plain progress lines, then the table */
    EXPECT_EQ(pack.out.rfind("packed 1 of 3\n", 0), 0u) << pack.out;
    EXPECT_NE(pack.out.find("\nmeshes                          1\n"), std::string::npos) << pack.out;
    EXPECT_NE(pack.out.find("\nvertices                       24\n"), std::string::npos) << pack.out;
    EXPECT_NE(pack.out.find(packed + ": written\n"), std::string::npos);

    const Outcome verify = run({"verify", packed});
    EXPECT_EQ(verify.status, 0) << verify.err;
    const Outcome info = run({"info", packed});
    EXPECT_EQ(info.status, 0);
    EXPECT_NE(info.out.find("  scenegraph      3 objects"), std::string::npos) << info.out;
    EXPECT_NE(info.out.find("  mesh            1 components in slot 0"), std::string::npos) << info.out;

    const Outcome dump = run({"dump", packed});
    EXPECT_EQ(dump.status, 0) << dump.err;
    EXPECT_NE(dump.out.find("chunk 1 at offset 24: Magic::Mesh"), std::string::npos) << dump.out;
    EXPECT_NE(dump.out.find("  24 vertices, 36 indices of MeshIndexType::UnsignedInt"), std::string::npos) << dump.out;
    EXPECT_NE(dump.out.find("        mesh Id(0): mesh 0, material 0, skin 0\n"), std::string::npos) << dump.out;
    const Outcome one = run({"dump", packed, "--chunk", "0"});
    EXPECT_EQ(one.status, 0);
    EXPECT_EQ(one.out.rfind("chunk 0 at offset 0: Magic::Header, 16 bytes\n  format words 0x00030001 3, largest chunk", 0), 0u) << one.out;
    EXPECT_EQ(one.out.find("chunk 1"), std::string::npos);

    const Outcome past = run({"dump", packed, "--chunk", "99"});
    EXPECT_EQ(past.status, 1);
    EXPECT_EQ(past.err, "quillmarsh-asset: " + packed + " has 14 chunks, there is no chunk 99\n");
    const Outcome notNumber = run({"dump", packed, "--chunk", "x"});
    EXPECT_EQ(notNumber.status, 2);
    const Outcome noOutput = run({"pack", model});
    EXPECT_EQ(noOutput.status, 2);
    EXPECT_EQ(noOutput.err, "quillmarsh-asset: pack expects -o OUT\n" + Try);
}

TEST(AssetToolTest, packRefusesCorruptModels) {
    const std::string corrupt = file("corrupt.gltf");
    write(corrupt, {'{', '"', 'a', 's'});
    const Outcome pack = run({"pack", corrupt, "-o", file("out.qme")});
    EXPECT_EQ(pack.status, 1);
    EXPECT_EQ(pack.err.rfind("quillmarsh-asset: " + corrupt + ": ", 0), 0u) << pack.err;
    EXPECT_FALSE(std::filesystem::exists(file("out.qme")));
    /* A broken data file is not dumped */
    std::vector<char> broken = validFile();
    broken[8] = 7;
    write(file("broken.qme"), broken);
    const Outcome dump = run({"dump", file("broken.qme")});
    EXPECT_EQ(dump.status, 1);
    EXPECT_EQ(dump.out, "");
}

}}
