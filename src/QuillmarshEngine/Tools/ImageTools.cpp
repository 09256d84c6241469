#include "QuillmarshEngine/Tools/ImageTools.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>

#include "QuillmarshEngine/Assert.h"
#include "QuillmarshEngine/Data/ImageData.h"
#include "QuillmarshEngine/Math/Packing.h"
#include "QuillmarshEngine/Tools/Cryptography.h"
#include "QuillmarshEngine/Tools/Implementation/Message.h"
#include "QuillmarshEngine/Tools/Implementation/StbImage.h"

namespace QuillmarshEngine { namespace Tools {

using Trade::PixelFormat;
using Implementation::message;

Debug& operator<<(Debug& debug, const ImageDecodeFlag value) {
    if(value == ImageDecodeFlag::Srgb) return QuillmarshEngine::Implementation::printEnumValue(debug, "ImageDecodeFlag", "Srgb");
    return QuillmarshEngine::Implementation::printUnknownEnum(debug, "ImageDecodeFlag", std::uint32_t(value));
}

Debug& operator<<(Debug& debug, const ImageDecodeFlags value) {
    return QuillmarshEngine::Implementation::enumSetDebugOutput(debug, value, "ImageDecodeFlags{}", {ImageDecodeFlag::Srgb});
}

namespace {

/* The convertible formats are numbered 1 to 52 in groups of four channel counts, one group per
   kind of channel */
enum class Channel: std::uint8_t { Unorm8, Snorm8, Srgb8, UI8, I8, Unorm16, Snorm16, UI16, I16, UI32, I32, F16, F32 };
constexpr std::uint32_t ChannelSizes[]{1, 1, 1, 1, 1, 2, 2, 2, 2, 4, 4, 2, 4};

struct FormatInfo {
    Channel channel;
    std::uint32_t channelCount;
    std::uint32_t channelSize;
    std::uint32_t pixelSize() const { return channelCount*channelSize; }
};

FormatInfo formatInfo(const PixelFormat format) {
    const std::uint32_t index = std::uint32_t(format) - 1;
    const Channel channel = Channel(index/4);
    return {channel, index % 4 + 1, ChannelSizes[std::size_t(channel)]};
}

PixelFormat pixelFormat(const Channel channel, const std::uint32_t channelCount) {
    return PixelFormat(std::uint32_t(channel)*4 + channelCount);
}

template<class T> T load(const char* at) {
    T value;
    std::memcpy(&value, at, sizeof(T));
    return value;
}

template<class T> void store(char* at, const T value) {
    std::memcpy(at, &value, sizeof(T));
}

double srgbToLinear(const double value) {
    return value <= 0.04045 ? value/12.92 : std::pow((value + 0.055)/1.055, 2.4);
}

double linearToSrgb(const double value) {
    if(!(value > 0.0)) return value == value ? 0.0 : value;
    return value <= 0.0031308 ? value*12.92 : 1.055*std::pow(std::min(value, 1.0), 1.0/2.4) - 0.055;
}

const std::array<double, 256>& srgbTable() {
    static const std::array<double, 256> table = [] {
        std::array<double, 256> out;
        for(std::size_t i = 0; i != 256; ++i) out[i] = srgbToLinear(double(i)/255.0);
        return out;
    }();
    return table;
}

/* Round half away from zero and clamp; NaN to 0 */
template<class T> T packInteger(const double value, const double low, const double high) {
    if(!(value == value)) return T(0);
    return T(std::round(std::clamp(value, low, high)));
}

double readChannel(const Channel channel, const std::uint32_t index, const char* at) {
    switch(channel) {
        case Channel::Unorm8: return Math::unpack<double>(load<std::uint8_t>(at));
        case Channel::Snorm8: return Math::unpack<double>(load<std::int8_t>(at));
        case Channel::Srgb8: return index < 3 ? srgbTable()[load<std::uint8_t>(at)] : Math::unpack<double>(load<std::uint8_t>(at));
        case Channel::UI8: return load<std::uint8_t>(at);
        case Channel::I8: return load<std::int8_t>(at);
        case Channel::Unorm16: return Math::unpack<double>(load<std::uint16_t>(at));
        case Channel::Snorm16: return Math::unpack<double>(load<std::int16_t>(at));
        case Channel::UI16: return load<std::uint16_t>(at);
        case Channel::I16: return load<std::int16_t>(at);
        case Channel::UI32: return load<std::uint32_t>(at);
        case Channel::I32: return load<std::int32_t>(at);
        case Channel::F16: return Math::unpackHalf(load<std::uint16_t>(at));
        case Channel::F32: return load<float>(at);
    }
    QUILLMARSH_INTERNAL_ASSERT_UNREACHABLE();
}

void writeChannel(const Channel channel, const std::uint32_t index, char* at, const double value) {
    switch(channel) {
        case Channel::Unorm8: return store(at, Math::pack<std::uint8_t>(value));
        case Channel::Snorm8: return store(at, Math::pack<std::int8_t>(value));
        case Channel::Srgb8: return store(at, Math::pack<std::uint8_t>(index < 3 ? linearToSrgb(value) : value));
        case Channel::UI8: return store(at, packInteger<std::uint8_t>(value, 0.0, 255.0));
        case Channel::I8: return store(at, packInteger<std::int8_t>(value, -128.0, 127.0));
        case Channel::Unorm16: return store(at, Math::pack<std::uint16_t>(value));
        case Channel::Snorm16: return store(at, Math::pack<std::int16_t>(value));
        case Channel::UI16: return store(at, packInteger<std::uint16_t>(value, 0.0, 65535.0));
        case Channel::I16: return store(at, packInteger<std::int16_t>(value, -32768.0, 32767.0));
        case Channel::UI32: return store(at, packInteger<std::uint32_t>(value, 0.0, 4294967295.0));
        case Channel::I32: return store(at, packInteger<std::int32_t>(value, -2147483648.0, 2147483647.0));
        case Channel::F16: return store(at, Math::packHalf(float(value)));
        case Channel::F32: return store(at, float(value));
    }
    QUILLMARSH_INTERNAL_ASSERT_UNREACHABLE();
}

/* count pixels into four values each: missing channels 0, missing alpha 1 */
template<class T> void decodePixels(const FormatInfo& info, const char* in, const std::size_t count, T* out) {
    for(std::size_t p = 0; p != count; ++p, in += info.pixelSize(), out += 4) {
        out[0] = T(0); out[1] = T(0); out[2] = T(0); out[3] = T(1);
        for(std::uint32_t c = 0; c != info.channelCount; ++c)
            out[c] = T(readChannel(info.channel, c, in + c*info.channelSize));
    }
}

template<class T> void encodePixels(const FormatInfo& info, const T* in, const std::size_t count, char* out) {
    for(std::size_t p = 0; p != count; ++p, in += 4, out += info.pixelSize())
        for(std::uint32_t c = 0; c != info.channelCount; ++c)
            writeChannel(info.channel, c, out + c*info.channelSize, double(in[c]));
}

/* The pixel count of a view whose size and data are consistent, or an error */
Utils::Result<std::size_t> checkedPixelCount(const Trade::ImageData2D& image, const char* function) {
    typedef Utils::Result<std::size_t> Result;
    if(!isPixelFormatConvertible(image.format))
        return Result::fail(message(function, Debug::nospace, "(): can't convert", image.format));
    if(image.size[0] < 0 || image.size[1] < 0)
        return Result::fail(message(function, Debug::nospace, "(): invalid size", image.size[0], "by", image.size[1]));
    const std::uint64_t count = std::uint64_t(image.size[0])*std::uint64_t(image.size[1]);
    const std::uint64_t bytes = count*formatInfo(image.format).pixelSize();
    if(bytes > image.data.size())
        return Result::fail(message(function, Debug::nospace, "(): an image of", image.size[0], "by", image.size[1], "needs", bytes, "bytes but has", image.data.size()));
    return std::size_t(count);
}

}

bool isPixelFormatConvertible(const PixelFormat format) {
    return std::uint32_t(format) >= 1 && std::uint32_t(format) <= 52;
}

Utils::Result<Image2D> decodeImage(const std::span<const char> data, std::uint32_t channelCount, const ImageDecodeFlags flags) {
    typedef Utils::Result<Image2D> Result;
    if(channelCount > 4) return Result::fail(message("Tools::decodeImage(): expected 0 to 4 channels, got", channelCount));
    /* Two faults of the decoder version the system ships, checked before any of it runs
       (reading a JPEG header builds its tables already) */
    if(!Implementation::jpegHuffmanTablesFit(data))
        return Result::fail("Tools::decodeImage(): a JPEG Huffman table has more than 256 codes");
    if(!Implementation::hdrRunLengthsEnd(data))
        return Result::fail("Tools::decodeImage(): the HDR run-length data ends inside a scanline");
    Implementation::StbInfo info;
    if(!Implementation::stbInfo(data, info))
        return Result::fail("Tools::decodeImage(): not a PNG, JPEG, TGA or HDR image");
    if(info.width <= 0 || info.height <= 0 || info.width > MaxDecodedImageSize || info.height > MaxDecodedImageSize)
        return Result::fail(message("Tools::decodeImage(): an image of", info.width, "by", info.height, "is larger than", MaxDecodedImageSize));

    if(!channelCount) channelCount = std::uint32_t(std::clamp(info.channels, 1, 4));
    const bool srgb = flags >= ImageDecodeFlag::Srgb;
    /* sRGB formats keep alpha linear only as the fourth channel */
    if(srgb && channelCount == 2) channelCount = 4;
    const std::uint32_t bits = info.isHdr ? 32 : info.is16Bit ? 16 : 8;
    if(std::uint64_t(info.width)*std::uint64_t(info.height)*channelCount*(bits/8) > MaxDecodedImageBytes)
        return Result::fail(message("Tools::decodeImage(): an image of", info.width, "by", info.height, "would take more than", MaxDecodedImageBytes, "bytes"));

    std::int32_t width = 0, height = 0;
    const Implementation::StbPixels pixels = Implementation::stbLoad(data, std::int32_t(channelCount), bits, width, height);
    if(!pixels) return Result::fail(std::string{"Tools::decodeImage(): "} + Implementation::stbFailureReason());
    if(width != info.width || height != info.height)
        return Result::fail("Tools::decodeImage(): the image decoded to another size than its header says");

    /* Rows come top to bottom; images here run bottom to top */
    const std::size_t rowSize = std::size_t(width)*channelCount*(bits/8);
    std::vector<char> flipped(rowSize*std::size_t(height));
    const char* in = static_cast<const char*>(pixels.get());
    for(std::int32_t y = 0; y != height; ++y)
        std::memcpy(flipped.data() + std::size_t(height - 1 - y)*rowSize, in + std::size_t(y)*rowSize, rowSize);

    const Vector2i size{width, height};
    if(bits == 32) return Image2D{pixelFormat(Channel::F32, channelCount), size, std::move(flipped)};
    if(bits == 8) return Image2D{pixelFormat(srgb ? Channel::Srgb8 : Channel::Unorm8, channelCount), size, std::move(flipped)};
    if(!srgb) return Image2D{pixelFormat(Channel::Unorm16, channelCount), size, std::move(flipped)};
    /* 16-bit sRGB-encoded colour becomes linear half floats, a row at a time */
    const FormatInfo from = formatInfo(pixelFormat(Channel::Unorm16, channelCount));
    Image2D out{pixelFormat(Channel::F16, channelCount), size};
    const FormatInfo to = formatInfo(out.format());
    std::vector<double> values(std::size_t(width)*4);
    for(std::int32_t y = 0; y != height; ++y) {
        decodePixels(from, flipped.data() + std::size_t(y)*rowSize, std::size_t(width), values.data());
        for(std::size_t p = 0; p != std::size_t(width); ++p)
            for(std::uint32_t c = 0; c != std::min(channelCount, 3u); ++c) values[p*4 + c] = srgbToLinear(values[p*4 + c]);
        encodePixels(to, values.data(), std::size_t(width), out.mutableData().data() + std::size_t(y)*rowSize);
    }
    return out;
}

Utils::Result<Image2D> convertImage(const Trade::ImageData2D& image, const PixelFormat format) {
    typedef Utils::Result<Image2D> Result;
    const auto count = checkedPixelCount(image, "Tools::convertImage");
    if(!count) return Result::fail(count.error());
    if(!isPixelFormatConvertible(format))
        return Result::fail(message("Tools::convertImage(): can't convert to", format));

    Image2D out{format, Vector2i{image.size[0], image.size[1]}};
    const FormatInfo from = formatInfo(image.format), to = formatInfo(format);
    /* Row by row, through doubles, which hold every channel value exactly */
    const std::size_t width = std::size_t(image.size[0]);
    std::vector<double> values(width*4);
    for(std::int32_t y = 0; y != image.size[1]; ++y) {
        decodePixels(from, image.data.data() + std::size_t(y)*width*from.pixelSize(), width, values.data());
        encodePixels(to, values.data(), width, out.mutableData().data() + std::size_t(y)*width*to.pixelSize());
    }
    return out;
}

void fillImage(Image2D& image, const Range2Di& rectangle, const Color4& color) {
    QUILLMARSH_ASSERT(isPixelFormatConvertible(image.format()), "Tools::fillImage(): can't fill" << image.format(), );
    const FormatInfo info = formatInfo(image.format());
    char pixel[16];
    const double value[4]{color.r(), color.g(), color.b(), color.a()};
    encodePixels(info, value, 1, pixel);
    const std::int32_t x0 = std::max(rectangle.min().x(), 0), x1 = std::min(rectangle.max().x(), image.size().x());
    const std::int32_t y0 = std::max(rectangle.min().y(), 0), y1 = std::min(rectangle.max().y(), image.size().y());
    for(std::int32_t y = y0; y < y1; ++y) for(std::int32_t x = x0; x < x1; ++x)
        std::memcpy(image.mutablePixel(x, y).data(), pixel, info.pixelSize());
}

void fillImage(Image2D& image, const Color4& color) {
    fillImage(image, Range2Di{Vector2i{0}, image.size()}, color);
}

void copyImage(const Trade::ImageData2D& source, Image2D& destination, const Vector2i& offset) {
    QUILLMARSH_ASSERT(source.format == destination.format(), "Tools::copyImage(): can't copy" << source.format << "into" << destination.format(), );
    QUILLMARSH_ASSERT(source.size[0] >= 0 && source.size[1] >= 0 && std::uint64_t(source.size[0])*std::uint64_t(source.size[1])*destination.pixelSize() <= source.data.size(),
        "Tools::copyImage(): source data too small for" << source.size[0] << "by" << source.size[1] << "pixels", );
    const std::size_t pixelSize = destination.pixelSize();
    const std::int32_t x0 = std::max(offset.x(), 0), x1 = std::min(offset.x() + source.size[0], destination.size().x());
    const std::int32_t y0 = std::max(offset.y(), 0), y1 = std::min(offset.y() + source.size[1], destination.size().y());
    if(x0 >= x1) return;
    for(std::int32_t y = y0; y < y1; ++y) {
        const char* in = source.data.data() + (std::size_t(y - offset.y())*std::size_t(source.size[0]) + std::size_t(x0 - offset.x()))*pixelSize;
        std::memcpy(destination.mutablePixel(x0, y).data(), in, std::size_t(x1 - x0)*pixelSize);
    }
}

void extendEdges(Image2D& image, const Range2Di& rectangle, const std::int32_t padding) {
    const Vector2i min = rectangle.min(), max = rectangle.max();
    QUILLMARSH_ASSERT(min.x() >= 0 && min.y() >= 0 && min.x() < max.x() && min.y() < max.y() && max.x() <= image.size().x() && max.y() <= image.size().y(),
        "Tools::extendEdges(): rectangle" << min.x() << min.y() << max.x() << max.y() << "is empty or outside the image of" << image.size().x() << "by" << image.size().y(), );
    QUILLMARSH_ASSERT(padding >= 0, "Tools::extendEdges(): negative padding" << padding, );
    const std::size_t pixelSize = image.pixelSize();
    const std::int32_t x0 = std::max(min.x() - padding, 0), x1 = std::min(max.x() + padding, image.size().x());
    const std::int32_t y0 = std::max(min.y() - padding, 0), y1 = std::min(max.y() + padding, image.size().y());
    for(std::int32_t y = y0; y < y1; ++y) {
        const std::int32_t sy = std::clamp(y, min.y(), max.y() - 1);
        for(std::int32_t x = x0; x < x1; ++x) {
            if(x >= min.x() && x < max.x() && y == sy) {
                /* Inside the rectangle's own rows: skip over it */
                x = max.x() - 1;
                continue;
            }
            const std::int32_t sx = std::clamp(x, min.x(), max.x() - 1);
            std::memcpy(image.mutablePixel(x, y).data(), image.pixel(sx, sy).data(), pixelSize);
        }
    }
}

namespace {

/* Weights of one axis going from size s to size d: destination pixel j covers source pixels
   [j*s/d, (j + 1)*s/d), and each source pixel weighs as much of it as it covers. With d = s/2
   that is two taps of 1/2 for even s and three taps for odd s. */
struct Taps {
    std::vector<std::uint32_t> first;
    std::vector<std::array<float, 3>> weights;
};

Taps taps(const std::uint32_t s, const std::uint32_t d) {
    Taps out;
    for(std::uint64_t j = 0; j != d; ++j) {
        const std::uint64_t low = j*s, high = (j + 1)*s;
        const std::uint64_t first = low/d;
        std::array<float, 3> weights{};
        for(std::uint64_t k = first, t = 0; k*d < high && t != 3; ++k, ++t)
            weights[t] = float(double(std::min(high, (k + 1)*d) - std::max(low, k*d))/double(s));
        out.first.push_back(std::uint32_t(first));
        out.weights.push_back(weights);
    }
    return out;
}

}

Utils::Result<std::vector<Image2D>> generateMipLevels(const Trade::ImageData2D& image) {
    typedef Utils::Result<std::vector<Image2D>> Result;
    const auto count = checkedPixelCount(image, "Tools::generateMipLevels");
    if(!count) return Result::fail(count.error());
    std::vector<Image2D> levels;
    std::uint32_t width = std::uint32_t(image.size[0]), height = std::uint32_t(image.size[1]);
    if(!width || !height) return levels;

    const FormatInfo info = formatInfo(image.format);
    std::vector<float> current(*count*4);
    decodePixels(info, image.data.data(), *count, current.data());
    std::vector<float> horizontal, next;
    while(width != 1 || height != 1) {
        const std::uint32_t nextWidth = std::max(width/2, 1u), nextHeight = std::max(height/2, 1u);
        const Taps x = taps(width, nextWidth), y = taps(height, nextHeight);

        /* Rows first, then columns */
        horizontal.assign(std::size_t(nextWidth)*height*4, 0.0f);
        for(std::uint32_t row = 0; row != height; ++row)
            for(std::uint32_t j = 0; j != nextWidth; ++j)
                for(std::uint32_t t = 0; t != 3 && x.weights[j][t] != 0.0f; ++t) {
                    const float* in = &current[(std::size_t(row)*width + x.first[j] + t)*4];
                    float* out = &horizontal[(std::size_t(row)*nextWidth + j)*4];
                    for(std::size_t c = 0; c != 4; ++c) out[c] += x.weights[j][t]*in[c];
                }
        next.assign(std::size_t(nextWidth)*nextHeight*4, 0.0f);
        for(std::uint32_t j = 0; j != nextHeight; ++j)
            for(std::uint32_t t = 0; t != 3 && y.weights[j][t] != 0.0f; ++t) {
                const float* in = &horizontal[std::size_t(y.first[j] + t)*nextWidth*4];
                float* out = &next[std::size_t(j)*nextWidth*4];
                for(std::size_t i = 0; i != std::size_t(nextWidth)*4; ++i) out[i] += y.weights[j][t]*in[i];
            }

        Image2D level{image.format, Vector2i{std::int32_t(nextWidth), std::int32_t(nextHeight)}};
        encodePixels(info, next.data(), std::size_t(nextWidth)*nextHeight, level.mutableData().data());
        levels.push_back(std::move(level));
        std::swap(current, next);
        width = nextWidth;
        height = nextHeight;
    }
    return levels;
}

std::string imageContentHash(const Trade::ImageData2D& image) {
    const std::uint32_t pixelSize = Trade::pixelFormatSize(image.format);
    QUILLMARSH_ASSERT(image.size[0] >= 0 && image.size[1] >= 0 && std::uint64_t(image.size[0])*std::uint64_t(image.size[1])*pixelSize <= image.data.size(),
        "Tools::imageContentHash(): data too small for" << image.size[0] << "by" << image.size[1] << "pixels", {});
    char head[12];
    store(head, std::uint32_t(image.format));
    store(head + 4, std::uint32_t(image.size[0]));
    store(head + 8, std::uint32_t(image.size[1]));
    Sha256 hasher;
    hasher.update(std::span<const char>{head, sizeof(head)});
    hasher.update(image.data.first(std::size_t(image.size[0])*std::size_t(image.size[1])*pixelSize));
    const Sha256Digest digest = hasher.finish();
    return hexString(std::span<const std::uint8_t>{digest.bytes}.first(Data::ImageData::HashSize/2));
}

std::vector<char> createImageRecord(const std::span<const Trade::ImageData2D> levels, std::vector<char>& out) {
    QUILLMARSH_ASSERT(!levels.empty(), "Tools::createImageRecord(): expected at least one level", {});
    std::vector<std::string> hashes;
    for(const Trade::ImageData2D& level: levels) {
        std::string hash = imageContentHash(level);
        if(std::find(hashes.begin(), hashes.end(), hash) == hashes.end())
            Data::createImageTileChunk(hash, level.data.first(level.dataSize()), false, std::uint32_t(level.format), out);
        hashes.push_back(std::move(hash));
    }
    const std::vector<std::string_view> views{hashes.begin(), hashes.end()};
    return Data::createImageData({levels[0].size[0], levels[0].size[1], 1}, views);
}

}}
