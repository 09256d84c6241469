#ifndef QuillmarshEngine_Tools_Demo_PngFile_h
#define QuillmarshEngine_Tools_Demo_PngFile_h

#include <cstdint>
#include <string>
#include <vector>

/* Write width × height RGBA8 pixels, top row first, as a PNG file; false when it cannot */
bool writePng(const std::string& path, std::uint32_t width, std::uint32_t height, const std::vector<std::uint8_t>& rgba);

#endif
