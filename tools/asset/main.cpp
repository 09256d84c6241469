/* quillmarsh-asset: looks into asset data files

   Each command is one function taking the parsed command line; the table below names them, and
   the usage text is made from it. Exit codes: 0 done, 1 a file that can't be read or is not
   valid, 2 a wrong command line. Files are opened through InputFile, which refuses what is not a
   regular file with a message, and are never read into memory whole. keygen, sign and
   verify --key are the signing commands of SigningCommands.h, which parse their own arguments;
   pack and dump live in PackCommands.cpp. */

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <QuillmarshEngine/Data/AssetData.h>
#include <QuillmarshEngine/Data/AssetValidation.h>
#include <QuillmarshEngine/Data/MeshData.h>
#include <QuillmarshEngine/Tools/MeshFormat.h>

#include "InputFile.h"

#include "PackCommands.h"
#include "SigningCommands.h"

using namespace QuillmarshEngine;
using AssetTool::InputFile;

namespace {

constexpr const char* Program = "quillmarsh-asset";

/* Chunk rows info prints unless --all is given: one screen */
constexpr std::uint64_t InfoRows = 20;

/* A command line after the command word: the operands in order, and the options (words
   starting with "--") */
struct Arguments {
    std::string_view command;
    std::vector<std::string> operands;
    std::vector<std::string> options;
    /* Options that take the next word as their value, in command-line order */
    std::vector<std::pair<std::string, std::string>> values;

    bool has(std::string_view option) const {
        for(const std::string& o: options) if(o == option) return true;
        return false;
    }

    const std::string* value(std::string_view option) const {
        for(const auto& v: values) if(v.first == option) return &v.second;
        return nullptr;
    }
};

struct Command {
    const char* name;
    const char* synopsis;       /* what follows the command word */
    const char* summary;
    const char* const* options; /* the options it takes, null-terminated */
    int(*run)(const Arguments&);
    const char* const* valueOptions = nullptr; /* options followed by a value, null-terminated */
};

int info(const Arguments& arguments);
int verify(const Arguments& arguments);
int pack(const Arguments& arguments);
int dump(const Arguments& arguments);

constexpr const char* InfoOptions[]{"--all", nullptr};
constexpr const char* NoOptions[]{nullptr};
constexpr const char* PackOptions[]{"--quantize", "--compress", nullptr};
constexpr const char* PackValueOptions[]{"-o", nullptr};
constexpr const char* DumpValueOptions[]{"--chunk", nullptr};

constexpr Command Commands[]{
    {"info", "[--all] FILE", "header fields and the chunks: offset, tag, stored and padded size\n"
        "                         (the first 20 chunks; --all lists every one)", InfoOptions, info},
    {"verify", "FILE", "runs the validating reader and decodes compressed meshes; exits 1\n"
        "                         with the reason on a bad file", NoOptions, verify},
    {"pack", "IN -o OUT [--quantize] [--compress]", "imports a model (glTF, GLB, OBJ, FBX and what assimp\n"
        "                         reads) into one data file; --quantize packs attributes smaller,\n"
        "                         --compress compresses vertices, indices and animations", PackOptions, pack, PackValueOptions},
    {"dump", "FILE [--chunk N]", "prints every record (or chunk N, counted from 0) as text", NoOptions, dump, DumpValueOptions},
};

void printUsage(std::FILE* out) {
    std::fprintf(out, "Usage: %s COMMAND [OPTIONS] FILE\n       %s --help\n\nCommands:\n", Program, Program);
    for(const Command& command: Commands)
        std::fprintf(out, "  %-6s %-15s %s\n", command.name, command.synopsis, std::strlen(command.synopsis) > 15 ?
            (std::string{"\n                         "} + command.summary).c_str() : command.summary);
    std::fprintf(out, "\nSigning:\n%s", QuillmarshAsset::SigningUsage);
    std::fprintf(out, "\nExit status: 0 done, 1 a file that can't be read or is not valid, 2 a wrong command line.\n");
}

/* A wrong command line: what was wrong, then where to look */
int usageError(const std::string& message) {
    std::fprintf(stderr, "%s: %s\nTry '%s --help'.\n", Program, message.c_str(), Program);
    return 2;
}

int fileError(const std::string& message) {
    std::fprintf(stderr, "%s: %s\n", Program, message.c_str());
    return 1;
}

std::string magicText(const Data::Magic magic) {
    std::ostringstream out;
    Debug{&out, Debug::Flag::NoNewlineAtTheEnd} << magic;
    return out.str();
}

std::uint32_t readU32(const char* at) {
    std::uint32_t value;
    std::memcpy(&value, at, 4);
    return value;
}

/* Whether the four bytes are "QME" and a letter, the tag of some chunk */
bool isChunkTag(const Data::Magic magic) {
    return (std::uint32_t(magic) & 0x00ffffffu) == 0x00454d51u;
}

/* Walks the chunk headers with a bounded window: memory stays the same however large the file */
int info(const Arguments& arguments) {
    std::string error;
    const std::unique_ptr<InputFile> file = InputFile::open(arguments.operands[0], error);
    if(!file) return fileError(error);
    const std::uint64_t size = file->size();
    AssetTool::WindowReader reader{*file};

    std::printf("%s: %llu bytes\n", file->path().c_str(), (unsigned long long)size);
    const std::span<const char> header = reader.at(0, 24, error);
    if(!error.empty()) return fileError(error);
    if(!header.empty() && Data::Magic(readU32(header.data())) == Data::Magic::Header) {
        std::printf("header: format words 0x%08x %u, largest chunk %u bytes, %u chunks\n",
            readU32(header.data() + 8), readU32(header.data() + 12), readU32(header.data() + 16), readU32(header.data() + 20));
    } else std::printf("header: missing\n");

    const bool all = arguments.has("--all");
    std::printf("%12s  %-24s %10s %10s\n", "offset", "magic", "size", "padded");
    std::uint64_t position = 0, count = 0, largest = 0;
    std::vector<std::uint64_t> sceneOffsets;
    for(;;) {
        if(size - position < Data::AssetChunkHeaderSize) {
            if(size != position) std::printf("%llu stray bytes after the last chunk\n", (unsigned long long)(size - position));
            break;
        }
        const std::span<const char> chunk = reader.at(position, 8, error);
        if(chunk.empty()) return fileError(error.empty() ? file->path() + ": changed while being read" : error);
        const Data::Magic magic = Data::Magic(readU32(chunk.data()));
        const std::uint32_t stored = readU32(chunk.data() + 4);
        const std::uint64_t padded = Data::calulateAssetChunkSizePadded(stored);
        /* Past a word that is not a chunk tag, the strides mean nothing */
        if(!isChunkTag(magic)) {
            std::printf("offset %llu: not a chunk tag, %s; the rest is not walked\n", (unsigned long long)position, magicText(magic).c_str());
            break;
        }
        if(magic == Data::Magic::Scene && padded <= size - position) sceneOffsets.push_back(position);
        if(all || count < InfoRows)
            std::printf("%12llu  %-24s %10u %10llu\n", (unsigned long long)position, magicText(magic).c_str(), stored, (unsigned long long)padded);
        ++count;
        largest = std::max(largest, padded);
        if(padded > size - position) {
            std::printf("the last chunk is cut short by %llu bytes\n", (unsigned long long)(padded - (size - position)));
            break;
        }
        position += padded;
    }
    if(!all && count > InfoRows)
        std::printf("... %llu more chunks, --all lists every one\n", (unsigned long long)(count - InfoRows));
    std::printf("%llu chunks, the largest takes %llu bytes\n", (unsigned long long)count, (unsigned long long)largest);
    if(!sceneOffsets.empty()) {
        const std::span<const char> data = file->map(error);
        if(data.empty()) return fileError(error);
        for(const std::uint64_t offset: sceneOffsets) {
            std::printf("scene record at offset %llu:\n", (unsigned long long)offset);
            AssetTool::printSceneSummary(data.subspan(std::size_t(offset) + 8, readU32(data.data() + offset + 4)));
        }
    }
    return 0;
}

/* The validating reader needs the file as one span: it is mapped, so only the pages the reader
   looks at (chunk headers and the records it checks) are read */
int verify(const Arguments& arguments) {
    std::string error;
    const std::unique_ptr<InputFile> file = InputFile::open(arguments.operands[0], error);
    if(!file) return fileError(error);
    const std::span<const char> data = file->map(error);
    if(data.empty()) return fileError(error);

    /* Loading a scene record prints informational lines; only the verdict belongs here */
    Debug silence{nullptr};
    const Utils::Result<std::vector<Data::AssetChunkEntry>> chunks = Data::validateAssetData(data);
    if(!chunks) return fileError(file->path() + ": " + chunks.error());
    /* Compressed indices are only seen when decoded */
    for(const Data::AssetChunkEntry& chunk: *chunks) {
        if(chunk.magic != Data::Magic::Mesh) continue;
        const Data::MeshData mesh = Data::AssetChunkView{data.subspan(std::size_t(chunk.offset))}.as<Data::MeshData>();
        if(!mesh.compressionFlags()) continue;
        const Utils::Result<Trade::MeshData> decoded = Tools::decompressMesh(mesh);
        if(!decoded) return fileError(file->path() + ": offset " + std::to_string(chunk.offset) + ": mesh: " + decoded.error());
    }
    std::printf("%s: valid, %zu chunks\n", file->path().c_str(), chunks->size());
    return 0;
}

int pack(const Arguments& arguments) {
    const std::string* const output = arguments.value("-o");
    if(!output) return usageError("pack expects -o OUT");
    return AssetTool::packCommand(arguments.operands[0], *output, arguments.has("--quantize"), arguments.has("--compress"));
}

int dump(const Arguments& arguments) {
    const std::string* const chunk = arguments.value("--chunk");
    long long index = -1;
    if(chunk) {
        char* end = nullptr;
        index = std::strtoll(chunk->c_str(), &end, 10);
        if(chunk->empty() || *end || index < 0) return usageError("--chunk expects a chunk number, got '" + *chunk + "'");
    }
    return AssetTool::dumpCommand(arguments.operands[0], index);
}

/* Splits the command line and checks it against the command's table entry */
int run(const int argc, char** const argv) {
    if(argc < 2) return usageError("no command given");
    const std::string_view first = argv[1];
    if(first == "--help" || first == "-h" || first == "help") {
        printUsage(stdout);
        return 0;
    }
    if(first == "keygen") return QuillmarshAsset::keygenCommand(argc - 2, argv + 2);
    if(first == "sign") return QuillmarshAsset::signCommand(argc - 2, argv + 2);
    if(first == "verify" && argc == 5 && std::strcmp(argv[3], "--key") == 0)
        return QuillmarshAsset::verifySignatureCommand(argv[2], argv[4]);

    const Command* command = nullptr;
    for(const Command& c: Commands) if(first == c.name) command = &c;
    if(!command) {
        if(first.starts_with("-")) return usageError("unknown option '" + std::string{first} + "'; the command comes first");
        return usageError("unknown command '" + std::string{first} + "'");
    }

    Arguments arguments;
    arguments.command = first;
    bool operandsOnly = false;
    for(int i = 2; i < argc; ++i) {
        const std::string_view word = argv[i];
        if(!operandsOnly && (word == "--help" || word == "-h")) {
            printUsage(stdout);
            return 0;
        }
        if(!operandsOnly && word == "--") {
            operandsOnly = true;
        } else if(!operandsOnly && word.starts_with("-") && word.size() > 1) {
            bool takesValue = false;
            if(command->valueOptions)
                for(const char* const* option = command->valueOptions; *option; ++option) if(word == *option) takesValue = true;
            if(takesValue) {
                if(i + 1 >= argc) return usageError("option '" + std::string{word} + "' expects a value");
                arguments.values.emplace_back(word, argv[++i]);
                continue;
            }
            bool known = false;
            for(const char* const* option = command->options; *option; ++option) if(word == *option) known = true;
            if(!known) return usageError("unknown option '" + std::string{word} + "' for " + command->name);
            arguments.options.emplace_back(word);
        } else arguments.operands.emplace_back(word);
    }
    if(arguments.operands.empty()) return usageError(std::string{command->name} + " expects a FILE");
    if(arguments.operands.size() > 1) return usageError(std::string{command->name} + " expects one FILE, got " + std::to_string(arguments.operands.size()) + " operands");
    return command->run(arguments);
}

}

int main(int argc, char** argv) {
    /* The library throws nothing; what the standard library may throw (memory exhausted) still
       ends with a message instead of a crash */
    try {
        return run(argc, argv);
    } catch(const std::exception& e) {
        return fileError(std::string{"failed: "} + e.what());
    }
}
