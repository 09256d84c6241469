#include "QuillmarshEngine/Tools/Image2D.h"

#include "QuillmarshEngine/Assert.h"

namespace QuillmarshEngine { namespace Tools {

Image2D::Image2D(const Trade::PixelFormat format, const Vector2i& size): _format{format}, _size{size} {
    QUILLMARSH_ASSERT(size.x() >= 0 && size.y() >= 0, "Tools::Image2D: invalid size" << size.x() << size.y(), );
    _data.assign(std::size_t(size.x())*std::size_t(size.y())*Trade::pixelFormatSize(format), '\0');
}

Image2D::Image2D(const Trade::PixelFormat format, const Vector2i& size, std::vector<char>&& data): _format{format}, _size{size}, _data{std::move(data)} {
    QUILLMARSH_ASSERT(size.x() >= 0 && size.y() >= 0, "Tools::Image2D: invalid size" << size.x() << size.y(), );
    const std::size_t expected = std::size_t(size.x())*std::size_t(size.y())*Trade::pixelFormatSize(format);
    QUILLMARSH_ASSERT(_data.size() == expected, "Tools::Image2D: expected" << expected << "bytes of pixels, got" << _data.size(), );
}

std::uint32_t Image2D::pixelSize() const {
    return Trade::pixelFormatSize(_format);
}

std::span<const char> Image2D::pixel(const std::int32_t x, const std::int32_t y) const {
    QUILLMARSH_ASSERT(x >= 0 && y >= 0 && x < _size.x() && y < _size.y(),
        "Tools::Image2D::pixel(): pixel" << x << y << "out of range for" << _size.x() << "by" << _size.y(), {});
    const std::size_t size = pixelSize();
    return std::span<const char>{_data}.subspan((std::size_t(y)*std::size_t(_size.x()) + std::size_t(x))*size, size);
}

std::span<char> Image2D::mutablePixel(const std::int32_t x, const std::int32_t y) {
    const std::span<const char> p = pixel(x, y);
    return {const_cast<char*>(p.data()), p.size()};
}

Trade::ImageData2D Image2D::view() const {
    return Trade::ImageData2D{_format, {_size.x(), _size.y()}, _data};
}

std::vector<char> Image2D::release() {
    _format = {};
    _size = Vector2i{0};
    return std::move(_data);
}

}}
