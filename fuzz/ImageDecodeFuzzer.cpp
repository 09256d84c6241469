/* Feeds arbitrary bytes to the image decoder as the importer hands it texture files. The first
   byte picks the channel count and the sRGB flag, so that every output path is reached; what
   decodes small enough is also converted and given mip levels. */

#include <cstdint>
#include <span>

#include "QuillmarshEngine/Tools/ImageTools.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace QuillmarshEngine;
    if(!size) return 0;
    const std::uint32_t channels = data[0] % 5;
    const Tools::ImageDecodeFlags flags = data[0] & 0x80 ? Tools::ImageDecodeFlag::Srgb : Tools::ImageDecodeFlags{};
    const std::span<const char> file{reinterpret_cast<const char*>(data + 1), size - 1};
    const Utils::Result<Tools::Image2D> image = Tools::decodeImage(file, channels, flags);
    if(!image || std::size_t(image->size().x())*std::size_t(image->size().y()) > 4096) return 0;
    const auto levels = Tools::generateMipLevels(image->view());
    if(!levels) __builtin_trap();
    const auto converted = Tools::convertImage(image->view(), Trade::PixelFormat::RGBA16F);
    if(!converted) __builtin_trap();
    return 0;
}
