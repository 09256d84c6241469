/* stb_image from the system's stb package, compiled here once instead of linking the system's
   libstb: only the four formats the importer reads are built in (less decoder reachable from
   untrusted files), with no file I/O, dimensions capped, static linkage so that it cannot clash
   with another copy of stb_image in a library the host links (assimp carries one), and the
   sanitizers and the fuzzer's coverage reach into the decoder. */

#include "StbImage.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>
#include <cstdint>

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

bool jpegHuffmanTablesFit(const std::span<const char> data) {
    const auto byte = [&](std::size_t i) { return std::uint8_t(data[i]); };
    const std::size_t size = data.size();
    /* The decoder's marker reader skips any number of fill bytes, before the start of image too */
    if(size < 2 || byte(0) != 0xff) return true;
    std::size_t start = 1;
    while(start < size && byte(start) == 0xff) ++start;
    if(start >= size || byte(start) != 0xd8) return true;
    /* Walk the marker segments as the decoder does: fill bytes before a marker, a 16-bit
       big-endian length after every marker but SOI, EOI, TEM and the restarts, and entropy-coded
       data after a start of scan up to the next marker (0xff followed by neither a stuffed zero
       nor a restart) */
    std::size_t at = start + 1;
    while(at < size) {
        /* The decoder scans over junk between segments to the next marker; so does this, which
           at worst looks at more tables than the decoder would */
        while(at < size && byte(at) != 0xff) ++at;
        while(at < size && byte(at) == 0xff) ++at;
        if(at >= size) return true;
        const std::uint8_t marker = byte(at++);
        if(marker == 0xd9) return true;
        if(marker == 0xd8 || marker == 0x01 || (marker >= 0xd0 && marker <= 0xd7)) continue;
        if(at + 2 > size) return true;
        const std::size_t length = std::size_t(byte(at)) << 8 | byte(at + 1);
        if(length < 2) return true;
        /* Tables of a class and id byte, sixteen code counts and as many symbols as codes, read
           as the decoder reads them: while the segment's length is not used up, past the
           segment's end if a table claims more (it only checks the length afterwards) */
        if(marker == 0xc4) {
            std::int64_t left = std::int64_t(length) - 2;
            for(std::size_t table = at + 2; left > 0 && table < size; ) {
                std::size_t codes = 0;
                for(std::size_t i = 1; i != 17; ++i) codes += table + i < size ? byte(table + i) : 0;
                if(codes > 256) return false;
                table += 17 + codes;
                left -= std::int64_t(17 + codes);
            }
        }
        at += length;
        if(marker == 0xda) {
            while(at + 1 < size && !(byte(at) == 0xff && byte(at + 1) != 0 && !(byte(at + 1) >= 0xd0 && byte(at + 1) <= 0xd7))) ++at;
            if(at + 1 >= size) return true;
        }
    }
    return true;
}

namespace {

/* The decoder's view of its input: zeros past the end */
struct Reader {
    std::span<const char> data;
    std::size_t at;
    std::uint8_t get() { return at < data.size() ? std::uint8_t(data[at++]) : 0; }
    bool atEnd() const { return at >= data.size(); }

    /* A header line as the decoder reads it, at most 1023 characters */
    std::string line() {
        std::string out;
        char c = char(get());
        while(!atEnd() && c != '\n') {
            out += c;
            if(out.size() == 1023) {
                while(!atEnd() && get() != '\n') {}
                break;
            }
            c = char(get());
        }
        return out;
    }
};

}

bool hdrRunLengthsEnd(const std::span<const char> data) {
    Reader r{data, 0};
    const std::string magic = r.line();
    if(magic != "#?RADIANCE" && magic != "#?RGBE") return true;
    while(!r.line().empty()) {}
    /* The resolution line, parsed as the decoder parses it */
    const std::string resolution = r.line();
    if(resolution.compare(0, 3, "-Y ") != 0) return true;
    char* at = const_cast<char*>(resolution.c_str()) + 3;
    const long height = std::strtol(at, &at, 10);
    while(*at == ' ') ++at;
    if(std::strncmp(at, "+X ", 3) != 0) return true;
    const long width = std::strtol(at + 3, nullptr, 10);
    /* Sizes the decoder refuses, and widths it reads without run lengths, are safe */
    if(height <= 0 || height > STBI_MAX_DIMENSIONS || width < 8 || width >= 32768 || width > STBI_MAX_DIMENSIONS) return true;
    for(long y = 0; y != height; ++y) {
        const std::uint8_t c1 = r.get(), c2 = r.get();
        std::uint32_t length = r.get();
        /* A flat scanline makes the decoder read the rest flat, a bounded loop */
        if(c1 != 2 || c2 != 2 || (length & 0x80)) return true;
        length = length << 8 | r.get();
        if(length != std::uint32_t(width)) return true;
        for(int channel = 0; channel != 4; ++channel) {
            for(long x = 0; x < width; ) {
                if(r.atEnd()) return false;
                long count = r.get();
                const bool run = count > 128;
                if(run) {
                    r.get();
                    count -= 128;
                }
                /* The decoder refuses a count past the scanline */
                if(count > width - x) return true;
                if(!run) for(long i = 0; i != count; ++i) r.get();
                x += count;
            }
        }
    }
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
