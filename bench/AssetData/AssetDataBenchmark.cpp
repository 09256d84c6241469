/* Asset data throughput: packing a large skinned mesh (by the packed bytes it writes), and walking
   the chunks of a 256 MiB file, each beside memcpy of the same bytes, the floor any pass over
   memory is measured against */

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <string>

#include "QuillmarshEngine/Data/AssetData.h"
#include "QuillmarshEngine/Data/AssetValidation.h"
#include "QuillmarshEngine/Tools/MeshFormat.h"

using namespace QuillmarshEngine;

namespace {

constexpr std::uint32_t VertexCount = 1 << 20;

/* Position, normal, tangent, two texture coordinate sets, colour and four-joint skinning */
const Trade::MeshData& sourceMesh() {
    static const Trade::MeshData mesh = [] {
        struct Attribute { Trade::MeshAttribute name; Trade::VertexFormat format; std::uint16_t arraySize; };
        const Attribute attributes[]{
            {Trade::MeshAttribute::Position, Trade::VertexFormat::Vector3, 0},
            {Trade::MeshAttribute::Normal, Trade::VertexFormat::Vector3, 0},
            {Trade::MeshAttribute::Tangent, Trade::VertexFormat::Vector4, 0},
            {Trade::MeshAttribute::TextureCoordinates, Trade::VertexFormat::Vector2, 0},
            {Trade::MeshAttribute::TextureCoordinates, Trade::VertexFormat::Vector2, 0},
            {Trade::MeshAttribute::Color, Trade::VertexFormat::Vector4, 0},
            {Trade::MeshAttribute::JointIds, Trade::VertexFormat::UnsignedShort, 4},
            {Trade::MeshAttribute::Weights, Trade::VertexFormat::Float, 4}};
        std::size_t stride = 0;
        for(const Attribute& a: attributes) stride += Trade::vertexFormatSize(a.format)*std::max<std::size_t>(a.arraySize, 1);
        std::vector<char> vertexData(stride*VertexCount);
        /* Values in [0, 1), which every attribute accepts */
        std::mt19937 rng{1};
        for(std::size_t i = 0; i < vertexData.size(); i += 4) {
            const float value = float(rng() >> 8)/16777216.0f;
            std::memcpy(vertexData.data() + i, &value, 4);
        }
        std::vector<Trade::MeshAttributeData> out;
        std::size_t offset = 0;
        for(const Attribute& a: attributes) {
            out.emplace_back(a.name, a.format, StridedArrayView1D<const char>{vertexData.data() + offset, VertexCount, std::ptrdiff_t(stride)}, a.arraySize);
            offset += Trade::vertexFormatSize(a.format)*std::max<std::size_t>(a.arraySize, 1);
        }
        return Trade::MeshData{Trade::MeshPrimitive::Triangles, std::move(vertexData), std::move(out)};
    }();
    return mesh;
}

void packMesh(benchmark::State& state) {
    const Trade::MeshData& mesh = sourceMesh();
    const Tools::MeshDataFlags quantized = state.range(0) ? Tools::MeshDataFlags{Tools::MeshDataFlag::Quantized} : Tools::MeshDataFlags{};
    std::size_t outputSize = 0;
    for(auto _: state) {
        Trade::MeshData packed = Tools::packMesh(quantized, mesh);
        benchmark::DoNotOptimize(packed.vertexData().data());
        outputSize = packed.vertexData().size();
    }
    state.counters["vertices/s"] = benchmark::Counter(double(VertexCount)*double(state.iterations()), benchmark::Counter::kIsRate);
    /* Measured against memcpy by the bytes it writes */
    state.SetBytesProcessed(std::int64_t(state.iterations())*std::int64_t(outputSize));
}
BENCHMARK(packMesh)->Arg(0)->Arg(1)->ArgNames({"quantized"})->Unit(benchmark::kMillisecond);

/* 256 MiB of chunks with payloads of 0 to 4 KiB, as a scene with many small records has */
std::vector<char>& file() {
    static std::vector<char> data = [] {
        std::vector<char> out;
        out.reserve(std::size_t(256) << 20);
        Data::appendHeaderData(out);
        std::mt19937 rng{7};
        const std::vector<char> payload(4096, 'x');
        /* Types whose records the validating reader does not look into, so it walks the chunks */
        const Data::Magic magics[]{Data::Magic::Font, Data::Magic::MorphTarget, Data::Magic::Rendering, Data::Magic::JsParams};
        while(out.size() + 4096 + 8 < (std::size_t(256) << 20) - 64) {
            const std::span<const char> pieces[]{std::span<const char>{payload}.first(rng() % 4097)};
            Data::AssetChunk::create(magics[rng() % 4], pieces, out);
        }
        const std::span<const char> rest[]{std::span<const char>{payload}.first((std::size_t(256) << 20) - out.size() - 8)};
        Data::AssetChunk::create(Data::Magic::Font, rest, out);
        Data::updateHeaderData(out);
        return out;
    }();
    return data;
}

void chunkWalk(benchmark::State& state) {
    std::vector<char>& data = file();
    for(auto _: state) {
        Data::updateHeaderData(data);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(std::int64_t(state.iterations())*std::int64_t(data.size()));
}
BENCHMARK(chunkWalk)->Unit(benchmark::kMillisecond);

void validate(benchmark::State& state) {
    const std::vector<char>& data = file();
    for(auto _: state) {
        const auto result = Data::validateAssetData(data);
        if(!result) state.SkipWithError(result.error().c_str());
        benchmark::DoNotOptimize(result);
    }
    state.SetBytesProcessed(std::int64_t(state.iterations())*std::int64_t(data.size()));
}
BENCHMARK(validate)->Unit(benchmark::kMillisecond);

void memcpyPeer(benchmark::State& state) {
    const std::vector<char>& data = file();
    std::vector<char> copy(data.size());
    for(auto _: state) {
        std::memcpy(copy.data(), data.data(), data.size());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(std::int64_t(state.iterations())*std::int64_t(data.size()));
}
BENCHMARK(memcpyPeer)->Unit(benchmark::kMillisecond);

/* Keeps the rates so the ratios to the memcpy peer can be printed at the end */
class RatioReporter: public benchmark::ConsoleReporter {
    public:
        void ReportRuns(const std::vector<Run>& runs) override {
            for(const Run& run: runs) {
                const auto found = run.counters.find("bytes_per_second");
                if(found != run.counters.end()) rates[run.benchmark_name()] = found->second;
            }
            ConsoleReporter::ReportRuns(runs);
        }
        std::map<std::string, double> rates;
};

}

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    const auto peer = reporter.rates.find("memcpyPeer");
    if(peer != reporter.rates.end()) for(const char* name: {"packMesh/quantized:0", "packMesh/quantized:1", "chunkWalk", "validate"}) {
        const auto found = reporter.rates.find(name);
        if(found == reporter.rates.end()) continue;
        std::printf("%s: %.2f GB/s, memcpy %.2f GB/s, ratio %.2fx memcpy\n", name, found->second/1e9, peer->second/1e9, found->second/peer->second);
    }
    benchmark::Shutdown();
}
