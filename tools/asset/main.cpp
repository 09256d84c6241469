/* quillmarsh-asset: looks into asset data files

   quillmarsh-asset info FILE     header fields and every chunk: offset, tag, stored and padded size
   quillmarsh-asset verify FILE   runs the validating reader; exits 1 with its message on a bad file
   keygen, sign and verify --key: see SigningCommands.h */

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include <QuillmarshEngine/Data/AssetData.h>
#include <QuillmarshEngine/Data/AssetValidation.h>

#include "SigningCommands.h"

using namespace QuillmarshEngine;

namespace {

int usage() {
    std::cerr << "usage: quillmarsh-asset info FILE\n"
                 "       quillmarsh-asset verify FILE\n" << QuillmarshAsset::SigningUsage;
    return 2;
}

/* The whole file in 4-byte-aligned storage, as the library expects chunks to be */
bool readFile(const char* path, std::vector<std::uint32_t>& storage, std::span<const char>& data) {
    std::ifstream file{path, std::ios::binary|std::ios::ate};
    if(!file) {
        std::cerr << "quillmarsh-asset: can't open " << path << "\n";
        return false;
    }
    const std::streamsize size = file.tellg();
    file.seekg(0);
    storage.resize(std::size_t(size + 3)/4);
    if(size && !file.read(reinterpret_cast<char*>(storage.data()), size)) {
        std::cerr << "quillmarsh-asset: can't read " << path << "\n";
        return false;
    }
    data = {reinterpret_cast<const char*>(storage.data()), std::size_t(size)};
    return true;
}

std::string magicText(Data::Magic magic) {
    std::ostringstream out;
    Debug{&out, Debug::Flag::NoNewlineAtTheEnd} << magic;
    return out.str();
}

std::uint32_t readU32(std::span<const char> data, std::size_t offset) {
    std::uint32_t value;
    std::memcpy(&value, data.data() + offset, 4);
    return value;
}

int info(const char* path) {
    std::vector<std::uint32_t> storage;
    std::span<const char> data;
    if(!readFile(path, storage, data)) return 1;
    std::printf("%s: %zu bytes\n", path, data.size());
    if(data.size() >= 24 && Data::Magic(readU32(data, 0)) == Data::Magic::Header) {
        std::printf("header: format words 0x%08x %u, largest chunk %u bytes, %u chunks\n",
            readU32(data, 8), readU32(data, 12), readU32(data, 16), readU32(data, 20));
    } else std::printf("header: missing\n");

    const std::vector<Data::AssetChunkEntry> chunks = Data::listAssetChunks(data);
    std::printf("%10s  %-24s %10s %10s\n", "offset", "magic", "size", "padded");
    std::uint64_t end = 0;
    for(const Data::AssetChunkEntry& chunk: chunks) {
        std::printf("%10llu  %-24s %10u %10llu\n", (unsigned long long)chunk.offset, magicText(chunk.magic).c_str(), chunk.size, (unsigned long long)chunk.sizePadded);
        end = chunk.offset + chunk.sizePadded;
    }
    if(end > data.size()) std::printf("the last chunk is cut short by %llu bytes\n", (unsigned long long)(end - data.size()));
    else if(end < data.size()) std::printf("%llu stray bytes after the last chunk\n", (unsigned long long)(data.size() - end));
    return 0;
}

int verify(const char* path) {
    std::vector<std::uint32_t> storage;
    std::span<const char> data;
    if(!readFile(path, storage, data)) return 1;
    const Utils::Result<std::vector<Data::AssetChunkEntry>> result = Data::validateAssetData(data);
    if(!result) {
        std::cerr << path << ": " << result.error() << "\n";
        return 1;
    }
    std::printf("%s: valid, %zu chunks\n", path, result->size());
    return 0;
}

}

int main(int argc, char** argv) {
    if(argc >= 2 && std::strcmp(argv[1], "keygen") == 0) return QuillmarshAsset::keygenCommand(argc - 2, argv + 2);
    if(argc >= 2 && std::strcmp(argv[1], "sign") == 0) return QuillmarshAsset::signCommand(argc - 2, argv + 2);
    if(argc == 5 && std::strcmp(argv[1], "verify") == 0 && std::strcmp(argv[3], "--key") == 0)
        return QuillmarshAsset::verifySignatureCommand(argv[2], argv[4]);
    if(argc != 3) return usage();
    if(std::strcmp(argv[1], "info") == 0) return info(argv[2]);
    if(std::strcmp(argv[1], "verify") == 0) return verify(argv[2]);
    return usage();
}
