#include "SigningCommands.h"

#include <fcntl.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <QuillmarshEngine/Data/AssetValidation.h>
#include <QuillmarshEngine/Tools/AssetSignature.h>
#include <QuillmarshEngine/Tools/RsaKey.h>
#include <QuillmarshEngine/Utils/Path.h>

using namespace QuillmarshEngine;
using Tools::RsaKey;

namespace QuillmarshAsset {

const char* const SigningUsage =
    "       quillmarsh-asset keygen KEY [--bits N] [--force]\n"
    "       quillmarsh-asset sign FILE --key KEY [--output OUT]\n"
    "       quillmarsh-asset verify FILE --key PUB\n";

namespace {

int usageError(const char* message) {
    std::fprintf(stderr, "quillmarsh-asset: %s\nusage:\n%s", message, SigningUsage);
    return 2;
}

/* The private key is created for its owner only, and never over an existing file unless asked */
bool writePrivate(const std::string& path, const std::string& text, const bool force) {
    const int descriptor = open(path.c_str(), O_WRONLY|O_CREAT|O_TRUNC|(force ? 0 : O_EXCL), 0600);
    if(descriptor < 0) {
        std::fprintf(stderr, "quillmarsh-asset: can't create %s: %s%s\n", path.c_str(), std::strerror(errno),
            errno == EEXIST ? " (use --force to replace it)" : "");
        return false;
    }
    const bool written = write(descriptor, text.data(), text.size()) == ssize_t(text.size());
    const int error = errno;
    if(close(descriptor) != 0 || !written) {
        std::fprintf(stderr, "quillmarsh-asset: can't write %s: %s\n", path.c_str(), std::strerror(written ? errno : error));
        return false;
    }
    return true;
}

/* The key and the data file that sign and verify work on */
struct Inputs {
    RsaKey key;
    std::vector<char> data;
};

Utils::Result<Inputs> readInputs(const std::string& path, const std::string& keyPath) {
    typedef Utils::Result<Inputs> Result;
    const Utils::Result<std::vector<char>> keyBytes = Utils::Path::read(keyPath);
    if(!keyBytes) return Result::fail(keyBytes.error());
    Utils::Result<RsaKey> key = RsaKey::fromBytes(*keyBytes);
    if(!key) return Result::fail(keyPath + ": " + key.error());
    Utils::Result<std::vector<char>> data = Utils::Path::read(path);
    if(!data) return Result::fail(data.error());
    return Inputs{*std::move(key), *std::move(data)};
}

}

int keygenCommand(const int argc, char** const argv) {
    const char* path = nullptr;
    std::uint32_t bits = RsaKey::DefaultBits;
    bool force = false;
    for(int i = 0; i != argc; ++i) {
        if(std::strcmp(argv[i], "--bits") == 0 && i + 1 != argc) {
            char* end;
            const unsigned long value = std::strtoul(argv[++i], &end, 10);
            if(*end || !*argv[i] || value > RsaKey::MaxBits) return usageError("--bits expects a number");
            bits = std::uint32_t(value);
        } else if(std::strcmp(argv[i], "--force") == 0) force = true;
        else if(argv[i][0] != '-' && !path) path = argv[i];
        else return usageError("keygen takes one key file name and the options --bits N and --force");
    }
    if(!path) return usageError("keygen needs the name of the key file to write");

    const Utils::Result<RsaKey> key = RsaKey::generate(bits);
    if(!key) {
        std::fprintf(stderr, "quillmarsh-asset: %s\n", key.error().c_str());
        return 1;
    }
    const std::string publicPath = std::string{path} + ".pub";
    if(!writePrivate(path, key->toPem(), force)) return 1;
    if(const Utils::Result<void> written = Utils::Path::write(publicPath, std::span<const char>{key->publicKey().toPem()}); !written) {
        std::fprintf(stderr, "quillmarsh-asset: %s\n", written.error().c_str());
        return 1;
    }
    std::printf("%s: private key, %u bits\n%s: public key, fingerprint %s\n", path, key->bits(), publicPath.c_str(), key->fingerprint().hex().c_str());
    return 0;
}

int signCommand(const int argc, char** const argv) {
    const char* path = nullptr;
    const char* keyPath = nullptr;
    const char* output = nullptr;
    for(int i = 0; i != argc; ++i) {
        if(std::strcmp(argv[i], "--key") == 0 && i + 1 != argc) keyPath = argv[++i];
        else if(std::strcmp(argv[i], "--output") == 0 && i + 1 != argc) output = argv[++i];
        else if(argv[i][0] != '-' && !path) path = argv[i];
        else return usageError("sign takes one data file and the options --key KEY and --output OUT");
    }
    if(!path || !keyPath) return usageError("sign needs a data file and --key KEY");

    const Utils::Result<Inputs> inputs = readInputs(path, keyPath);
    if(!inputs) {
        std::fprintf(stderr, "quillmarsh-asset: %s\n", inputs.error().c_str());
        return 1;
    }
    const RsaKey& key = inputs->key;
    const std::vector<char>& data = inputs->data;
    const Utils::Result<std::vector<char>> signedData = Tools::signAssetData(data, key);
    if(!signedData) {
        std::fprintf(stderr, "%s: %s\n", path, signedData.error().c_str());
        return 1;
    }
    /* In place, the old file stays whole until the new one is complete */
    const std::string target = output ? output : path;
    const Utils::Result<void> written = output ? Utils::Path::write(target, *signedData) : Utils::Path::replace(target, *signedData);
    if(!written) {
        std::fprintf(stderr, "quillmarsh-asset: %s\n", written.error().c_str());
        return 1;
    }
    std::printf("%s: signed, %zu bytes, key fingerprint %s\n", target.c_str(), signedData->size(), key.fingerprint().hex().c_str());
    return 0;
}

int verifySignatureCommand(const char* const path, const char* const keyPath) {
    const Utils::Result<Inputs> inputs = readInputs(path, keyPath);
    if(!inputs) {
        std::fprintf(stderr, "quillmarsh-asset: %s\n", inputs.error().c_str());
        return 1;
    }
    const RsaKey& key = inputs->key;
    const std::vector<char>& data = inputs->data;
    if(const Utils::Result<void> verified = Tools::verifyAssetSignature(data, key); !verified) {
        std::fprintf(stderr, "%s: %s\n", path, verified.error().c_str());
        return 1;
    }
    std::printf("%s: signature valid, key fingerprint %s\n", path, key.fingerprint().hex().c_str());

    /* A file signed as it was can still be malformed; the signature only says who wrote it */
    const Utils::Result<std::vector<Data::AssetChunkEntry>> chunks = Data::validateAssetData(data);
    if(!chunks) {
        std::fprintf(stderr, "%s: %s\n", path, chunks.error().c_str());
        return 1;
    }
    std::printf("%s: valid, %zu chunks\n", path, chunks->size());
    return 0;
}

}
