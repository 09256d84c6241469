#include "QuillmarshEngine/Tools/RectanglePacking.h"

#include <algorithm>
#include <limits>
#include <numeric>

#include "QuillmarshEngine/Assert.h"
#include "QuillmarshEngine/Tools/Implementation/Message.h"

namespace QuillmarshEngine { namespace Tools {

namespace {

struct Rect {
    std::int32_t x, y, w, h;
    bool contains(const Rect& o) const {
        return o.x >= x && o.y >= y && o.x + o.w <= x + w && o.y + o.h <= y + h;
    }
    bool intersects(const Rect& o) const {
        return o.x < x + w && x < o.x + o.w && o.y < y + h && y < o.y + o.h;
    }
};

/* Replaces every free rectangle the placed one overlaps with the up to four largest pieces of
   it left around the placed one, then drops pieces inside other free rectangles */
void splitFree(std::vector<Rect>& free, const Rect& used) {
    std::vector<Rect> pieces;
    for(std::size_t i = 0; i != free.size(); ) {
        const Rect f = free[i];
        if(!f.intersects(used)) { ++i; continue; }
        if(used.x > f.x) pieces.push_back({f.x, f.y, used.x - f.x, f.h});
        if(used.x + used.w < f.x + f.w) pieces.push_back({used.x + used.w, f.y, f.x + f.w - used.x - used.w, f.h});
        if(used.y > f.y) pieces.push_back({f.x, f.y, f.w, used.y - f.y});
        if(used.y + used.h < f.y + f.h) pieces.push_back({f.x, used.y + used.h, f.w, f.y + f.h - used.y - used.h});
        free[i] = free.back();
        free.pop_back();
    }
    /* New pieces inside another free rectangle (old or new) are redundant */
    for(std::size_t i = 0; i != pieces.size(); ++i) {
        bool redundant = false;
        for(const Rect& f: free) if(f.contains(pieces[i])) { redundant = true; break; }
        for(std::size_t j = 0; j != pieces.size() && !redundant; ++j)
            if(j != i && pieces[j].contains(pieces[i]) && (!pieces[i].contains(pieces[j]) || j < i)) redundant = true;
        if(!redundant) free.push_back(pieces[i]);
    }
    /* No new piece contains an old free rectangle: the piece lies in a removed rectangle, which
       contained no other free rectangle */
}

}

std::optional<std::vector<Vector2i>> packRectangles(const std::span<const Vector2i> sizes, const Vector2i& areaSize, const std::int32_t padding) {
    QUILLMARSH_ASSERT(padding >= 0 && areaSize.x() >= 0 && areaSize.y() >= 0, "Tools::packRectangles(): negative padding or area size", {});
    std::vector<std::size_t> order(sizes.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    for(const Vector2i& s: sizes)
        QUILLMARSH_ASSERT(s.x() >= 0 && s.y() >= 0, "Tools::packRectangles(): negative size" << s.x() << s.y(), {});
    /* Longest side first, then the larger area: the hard ones go in while there is room */
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        const std::int32_t la = std::max(sizes[a].x(), sizes[a].y()), lb = std::max(sizes[b].x(), sizes[b].y());
        if(la != lb) return la > lb;
        return std::int64_t(sizes[a].x())*sizes[a].y() > std::int64_t(sizes[b].x())*sizes[b].y();
    });

    std::vector<Vector2i> offsets(sizes.size(), Vector2i{0});
    std::vector<Rect> free{{0, 0, areaSize.x(), areaSize.y()}};
    for(const std::size_t i: order) {
        if(!sizes[i].x() || !sizes[i].y()) continue;
        const std::int64_t w64 = std::int64_t(sizes[i].x()) + 2*std::int64_t(padding), h64 = std::int64_t(sizes[i].y()) + 2*std::int64_t(padding);
        if(w64 > areaSize.x() || h64 > areaSize.y()) return {};
        const std::int32_t w = std::int32_t(w64), h = std::int32_t(h64);
        /* Best short side fit, ties by the long side, then lowest and leftmost */
        const Rect* best = nullptr;
        std::int32_t bestShort = std::numeric_limits<std::int32_t>::max(), bestLong = bestShort;
        for(const Rect& f: free) {
            if(f.w < w || f.h < h) continue;
            const std::int32_t shortSide = std::min(f.w - w, f.h - h), longSide = std::max(f.w - w, f.h - h);
            if(shortSide < bestShort || (shortSide == bestShort && (longSide < bestLong ||
               (longSide == bestLong && (f.y < best->y || (f.y == best->y && f.x < best->x)))))) {
                best = &f;
                bestShort = shortSide;
                bestLong = longSide;
            }
        }
        if(!best) return {};
        const Rect used{best->x, best->y, w, h};
        offsets[i] = {used.x + padding, used.y + padding};
        splitFree(free, used);
    }
    return offsets;
}

Utils::Result<Atlas> packAtlas(const std::span<const Vector2i> sizes, const std::int32_t maxSize, const std::int32_t padding) {
    typedef Utils::Result<Atlas> Result;
    if(padding < 0 || maxSize <= 0) return Result::fail(Implementation::message("Tools::packAtlas(): invalid padding", padding, "or maximal size", maxSize));
    std::uint64_t area = 0;
    for(const Vector2i& s: sizes) {
        if(s.x() < 0 || s.y() < 0) return Result::fail(Implementation::message("Tools::packAtlas(): negative size", s.x(), s.y()));
        if(s.x() && s.y()) area += std::uint64_t(s.x() + 2*std::int64_t(padding))*std::uint64_t(s.y() + 2*std::int64_t(padding));
    }
    /* Square, then twice as wide, then square again one size up */
    const std::int32_t limit = std::min(maxSize, 1 << 30);
    const auto grow = [](Vector2i& size) {
        if(size.x() == size.y()) size.x() *= 2;
        else size.y() *= 2;
    };
    Vector2i size{1, 1};
    while(std::uint64_t(size.x())*std::uint64_t(size.y()) < area && size.x() <= limit) grow(size);
    for(; size.x() <= limit && size.y() <= limit; grow(size)) {
        if(auto offsets = packRectangles(sizes, size, padding)) return Atlas{size, std::move(*offsets)};
    }
    return Result::fail(Implementation::message("Tools::packAtlas(): the rectangles don't fit into", maxSize, "by", maxSize));
}

}}
