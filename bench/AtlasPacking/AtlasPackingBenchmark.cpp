/* Atlas packing beside stb_rect_pack's skyline packer (the system's stb package), on the same
   random rectangle sets: how tightly each packs (the smallest square each fits a set into, as
   the share of it the rectangles fill) and how long one packing takes */

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <random>
#include <vector>

#define STB_RECT_PACK_IMPLEMENTATION
#define STBRP_STATIC
#include <stb/stb_rect_pack.h>

#include "QuillmarshEngine/Tools/RectanglePacking.h"

using namespace QuillmarshEngine;

namespace {

/* Texture-like sizes: mostly small, some large, a few long and thin */
std::vector<Vector2i> randomSet(std::uint32_t seed, std::size_t count) {
    std::mt19937 rng{seed};
    std::vector<Vector2i> out;
    for(std::size_t i = 0; i != count; ++i) {
        const auto side = [&] { return std::int32_t(4 + std::pow(float(rng() % 1000)/1000.0f, 2.0f)*124.0f); };
        Vector2i size{side(), side()};
        if(rng() % 10 == 0) size.x() = std::min(size.x()*4, 256);
        out.push_back(size);
    }
    return out;
}

bool fitsStb(const std::vector<Vector2i>& sizes, std::int32_t side, int heuristic) {
    std::vector<stbrp_node> nodes(static_cast<std::size_t>(side));
    stbrp_context context;
    stbrp_init_target(&context, side, side, nodes.data(), side);
    stbrp_setup_heuristic(&context, heuristic);
    std::vector<stbrp_rect> rects(sizes.size());
    for(std::size_t i = 0; i != sizes.size(); ++i) rects[i] = {int(i), sizes[i].x(), sizes[i].y(), 0, 0, 0};
    return stbrp_pack_rects(&context, rects.data(), int(rects.size())) == 1;
}

bool fitsOwn(const std::vector<Vector2i>& sizes, std::int32_t side) {
    return bool(Tools::packRectangles(sizes, {side, side}));
}

/* Smallest square side that fits, found by bisection between the area bound and a side that
   fits */
template<class F> std::int32_t smallestSide(const std::vector<Vector2i>& sizes, F fits) {
    double area = 0.0;
    for(const Vector2i& s: sizes) area += double(s.x())*double(s.y());
    std::int32_t low = std::int32_t(std::sqrt(area)) - 1, high = low + 1;
    while(!fits(sizes, high)) high *= 2;
    while(high - low > 1) {
        const std::int32_t middle = (low + high)/2;
        (fits(sizes, middle) ? high : low) = middle;
    }
    return high;
}

double fill(const std::vector<Vector2i>& sizes, std::int32_t side) {
    double area = 0.0;
    for(const Vector2i& s: sizes) area += double(s.x())*double(s.y());
    return area/(double(side)*double(side));
}

void packOwn(benchmark::State& state) {
    const std::vector<Vector2i> sizes = randomSet(1, std::size_t(state.range(0)));
    const std::int32_t side = smallestSide(sizes, fitsOwn)*11/10;
    for(auto _: state) benchmark::DoNotOptimize(Tools::packRectangles(sizes, {side, side}));
}
BENCHMARK(packOwn)->Arg(100)->Arg(1000)->Unit(benchmark::kMicrosecond);

void packStbSkyline(benchmark::State& state) {
    const std::vector<Vector2i> sizes = randomSet(1, std::size_t(state.range(0)));
    const std::int32_t side = smallestSide(sizes, fitsOwn)*11/10;
    for(auto _: state) benchmark::DoNotOptimize(fitsStb(sizes, side, STBRP_HEURISTIC_Skyline_BL_sortHeight));
}
BENCHMARK(packStbSkyline)->Arg(100)->Arg(1000)->Unit(benchmark::kMicrosecond);

}

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();

    /* Density over twenty sets each of 50, 300 and 1000 rectangles */
    for(const std::size_t count: {50, 300, 1000}) {
        double own = 0.0, bottomLeft = 0.0, bestFit = 0.0;
        constexpr int Sets = 20;
        for(int set = 0; set != Sets; ++set) {
            const std::vector<Vector2i> sizes = randomSet(std::uint32_t(100 + set), count);
            own += fill(sizes, smallestSide(sizes, fitsOwn));
            bottomLeft += fill(sizes, smallestSide(sizes, [](const std::vector<Vector2i>& s, std::int32_t side) { return fitsStb(s, side, STBRP_HEURISTIC_Skyline_BL_sortHeight); }));
            bestFit += fill(sizes, smallestSide(sizes, [](const std::vector<Vector2i>& s, std::int32_t side) { return fitsStb(s, side, STBRP_HEURISTIC_Skyline_BF_sortHeight); }));
        }
        std::printf("%zu rectangles: fill of the smallest square: own %.1f%%, stb_rect_pack skyline bottom-left %.1f%%, best-fit %.1f%% (own/skyline %.3fx)\n",
            count, 100.0*own/Sets, 100.0*bottomLeft/Sets, 100.0*bestFit/Sets, own/std::max(bottomLeft, bestFit));
    }
}
