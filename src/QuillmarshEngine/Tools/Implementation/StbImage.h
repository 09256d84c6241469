#ifndef QuillmarshEngine_Tools_Implementation_StbImage_h
#define QuillmarshEngine_Tools_Implementation_StbImage_h

/* The image decoder, stb_image compiled into the library's own translation unit. Internal: the
   image tools call it. */

#include <cstdint>
#include <memory>
#include <span>

namespace QuillmarshEngine { namespace Tools { namespace Implementation {

/* What the header of an encoded image says */
struct StbInfo {
    std::int32_t width, height, channels;
    bool is16Bit, isHdr;
};

/* Header of a PNG, JPEG, TGA or Radiance HDR file; false when it is none of them or broken */
bool stbInfo(std::span<const char> data, StbInfo& info);

/* Pixels freed with the decoder's own allocator */
struct StbFree { void operator()(void* pixels) const; };
typedef std::unique_ptr<void, StbFree> StbPixels;

/* Decoded pixels, rows top to bottom, with `channels` channels of 8 bits, 16 bits or floats
   (bits 8, 16 or 32); null on failure, with the decoder's reason in stbFailureReason() */
StbPixels stbLoad(std::span<const char> data, std::int32_t channels, std::uint32_t bits, std::int32_t& width, std::int32_t& height);

/* False for a JPEG file with a Huffman table of more than 256 codes, which the decoder version
   the system ships writes past its code tables on; true for anything else, broken or not */
bool jpegHuffmanTablesFit(std::span<const char> data);

/* False for a Radiance HDR file whose run-length data ends inside a scanline, on which the
   decoder version the system ships never returns (it reads zeros past the end and makes no
   progress); true for anything else */
bool hdrRunLengthsEnd(std::span<const char> data);

/* Why the last decode on this thread failed */
const char* stbFailureReason();

}}}

#endif
