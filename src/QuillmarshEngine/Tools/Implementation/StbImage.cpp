/* stb_image from the system's stb package, compiled here once instead of linking the system's
   libstb: only the four formats the importer reads are built in (less decoder reachable from
   untrusted files), with no file I/O, dimensions capped, static linkage so that it cannot clash
   with another copy of stb_image in a library the host links (assimp carries one), and the
   sanitizers and the fuzzer's coverage reach into the decoder. */

#include "StbImage.h"

#include <climits>

#define STB_IMAGE_IMPLEMENTATION
#define STB_IMAGE_STATIC
#define STBI_NO_STDIO
#define STBI_ONLY_PNG
#define STBI_ONLY_JPEG
#define STBI_ONLY_TGA
#define STBI_ONLY_HDR
#define STBI_MAX_DIMENSIONS 16384
#include <stb/stb_image.h>

namespace QuillmarshEngine { namespace Tools { namespace Implementation {

namespace {

const stbi_uc* bytes(std::span<const char> data) {
    return reinterpret_cast<const stbi_uc*>(data.data());
}

/* The decoder counts bytes in an int */
bool fits(std::span<const char> data) {
    return !data.empty() && data.size() <= std::size_t(INT_MAX);
}

}

bool stbInfo(const std::span<const char> data, StbInfo& info) {
    if(!fits(data)) return false;
    const int size = int(data.size());
    if(!stbi_info_from_memory(bytes(data), size, &info.width, &info.height, &info.channels)) return false;
    info.is16Bit = stbi_is_16_bit_from_memory(bytes(data), size);
    info.isHdr = stbi_is_hdr_from_memory(bytes(data), size);
    return true;
}

void StbFree::operator()(void* pixels) const {
    stbi_image_free(pixels);
}

StbPixels stbLoad(const std::span<const char> data, const std::int32_t channels, const std::uint32_t bits, std::int32_t& width, std::int32_t& height) {
    if(!fits(data)) return nullptr;
    const int size = int(data.size());
    int stored;
    void* pixels = nullptr;
    if(bits == 32) pixels = stbi_loadf_from_memory(bytes(data), size, &width, &height, &stored, channels);
    else if(bits == 16) pixels = stbi_load_16_from_memory(bytes(data), size, &width, &height, &stored, channels);
    else pixels = stbi_load_from_memory(bytes(data), size, &width, &height, &stored, channels);
    return StbPixels{pixels};
}

const char* stbFailureReason() {
    const char* reason = stbi_failure_reason();
    return reason ? reason : "unknown";
}

}}}
