#include "PngFile.h"

/* The implementation of the image writer of the stb headers lives in this file alone */
#define STB_IMAGE_WRITE_IMPLEMENTATION
#include <stb/stb_image_write.h>

bool writePng(const std::string& path, const std::uint32_t width, const std::uint32_t height, const std::vector<std::uint8_t>& rgba) {
    return stbi_write_png(path.c_str(), int(width), int(height), 4, rgba.data(), int(width*4)) != 0;
}
