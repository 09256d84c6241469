#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "QuillmarshEngine/Math/Packing.h"
#include "QuillmarshEngine/Tools/Implementation/VertexConversion.h"

namespace QuillmarshEngine { namespace Tools { namespace Implementation { namespace {

using Trade::VertexFormat;

constexpr VertexFormat Formats[]{
    VertexFormat::Float, VertexFormat::Half,
    VertexFormat::UnsignedByte, VertexFormat::UnsignedByteNormalized,
    VertexFormat::Byte, VertexFormat::ByteNormalized,
    VertexFormat::UnsignedShort, VertexFormat::UnsignedShortNormalized,
    VertexFormat::Short, VertexFormat::ShortNormalized};

/* Source bytes that hit the awkward values: random bits (NaNs, infinities, subnormals of every
   kind), and floats that sit on rounding ties of every target */
std::vector<char> awkwardBytes(std::size_t size, std::uint32_t seed) {
    std::vector<char> out(size);
    std::mt19937 rng{seed};
    for(std::size_t i = 0; i + 4 <= size; i += 4) {
        std::uint32_t bits = rng();
        switch(rng() % 8) {
            /* Halfway between two halves, two normalized values or two integers */
            case 0: {
                const float value = (Math::unpackHalf(std::uint16_t(bits)) + Math::unpackHalf(std::uint16_t(bits + 1)))*0.5f;
                std::memcpy(&bits, &value, 4);
            } break;
            case 1: {
                const float value = (float(std::int32_t(bits % 65536) - 32768) + 0.5f)/(rng() % 2 ? 32767.0f : 65535.0f);
                std::memcpy(&bits, &value, 4);
            } break;
            case 2: {
                const float value = float(std::int32_t(bits % 70000) - 35000) + 0.5f;
                std::memcpy(&bits, &value, 4);
            } break;
            case 3: {
                const float specials[]{0.0f, -0.0f, 1.0f, -1.0f, 0.49999997f, -0.49999997f, 65504.0f, 65520.0f, 65519.99f, 2.9802322e-8f, 5.9604645e-8f, 1.0e-40f, INFINITY, -INFINITY, NAN, 1.00001f, -1.00001f};
                std::memcpy(&bits, &specials[bits % (sizeof(specials)/4)], 4);
            } break;
        }
        std::memcpy(out.data() + i, &bits, 4);
    }
    return out;
}

void expectSameBytes(const RowConversion& conversion, std::size_t rows, std::ptrdiff_t srcStride, std::ptrdiff_t dstStride, std::uint32_t seed) {
    const std::vector<char> src = awkwardBytes(std::size_t(srcStride)*rows + 64, seed);
    std::vector<char> expected(std::size_t(dstStride)*rows, '\x5a');
    std::vector<char> actual(expected.size(), '\x5a');
    convertRowsReference(conversion, src.data(), srcStride, expected.data(), dstStride, rows);
    convertRows(conversion, src.data(), srcStride, actual.data(), dstStride, rows);
    ASSERT_EQ(actual, expected);
}

TEST(VertexConversionTest, everyPairMatchesReference) {
    /* The dispatched variant is the vectorized one wherever the processor has it; odd row counts
       reach the kernels' single-row tails, the sentinel bytes around each row that nothing
       outside the row is written */
    std::uint32_t seed = 0;
    for(const VertexFormat from: Formats) for(const VertexFormat to: Formats) {
        for(const std::uint32_t srcCount: {1u, 2u, 3u, 4u, 8u}) for(const std::uint32_t dstCount: {1u, 3u, 4u, 6u, 8u}) {
            SCOPED_TRACE(testing::Message{} << std::uint32_t(from) << " " << srcCount << " -> " << std::uint32_t(to) << " " << dstCount);
            const std::ptrdiff_t srcStride = Trade::vertexFormatSize(from)*srcCount + 4;
            const std::ptrdiff_t dstStride = Trade::vertexFormatSize(to)*dstCount + 3;
            ++seed;
            expectSameBytes({from, srcCount, to, dstCount, seed % 2 == 0}, 131, srcStride, dstStride, seed);
        }
    }
}

TEST(VertexConversionTest, avx2MatchesReferenceOnHalves) {
    #if defined(__x86_64__)
    if(!convertRowsAvx2Supported()) GTEST_SKIP() << "The processor has no AVX2 with F16C";
    /* Every half, both ways: F16C alone would quiet signalling NaNs and round ties to even */
    std::vector<std::uint16_t> halves(65536);
    for(std::uint32_t i = 0; i != 65536; ++i) halves[i] = std::uint16_t(i);
    std::vector<float> expected(65536), actual(65536);
    const RowConversion unpack{VertexFormat::Half, 4, VertexFormat::Float, 4, false};
    convertRowsReference(unpack, reinterpret_cast<const char*>(halves.data()), 8, reinterpret_cast<char*>(expected.data()), 16, 16384);
    convertRowsAvx2(unpack, reinterpret_cast<const char*>(halves.data()), 8, reinterpret_cast<char*>(actual.data()), 16, 16384);
    EXPECT_EQ(std::memcmp(actual.data(), expected.data(), 65536*4), 0);

    /* Back again, and a spread of a million floats over the whole range */
    std::vector<std::uint16_t> packedExpected(65536), packedActual(65536);
    const RowConversion pack{VertexFormat::Float, 4, VertexFormat::Half, 4, false};
    convertRowsAvx2(pack, reinterpret_cast<const char*>(expected.data()), 16, reinterpret_cast<char*>(packedActual.data()), 8, 16384);
    for(std::uint32_t i = 0; i != 65536; ++i) {
        /* NaNs all become the one quiet NaN, with their sign */
        const bool isNaN = (i & 0x7fff) > 0x7c00;
        if(!isNaN) EXPECT_EQ(packedActual[i], i);
        else EXPECT_EQ(packedActual[i], (i & 0x8000) | 0x7e00);
    }
    std::vector<std::uint32_t> floats(1 << 20);
    for(std::uint32_t i = 0; i != floats.size(); ++i) floats[i] = i*4099u;
    packedExpected.resize(floats.size());
    packedActual.resize(floats.size());
    convertRowsReference(pack, reinterpret_cast<const char*>(floats.data()), 16, reinterpret_cast<char*>(packedExpected.data()), 8, floats.size()/4);
    convertRowsAvx2(pack, reinterpret_cast<const char*>(floats.data()), 16, reinterpret_cast<char*>(packedActual.data()), 8, floats.size()/4);
    EXPECT_EQ(packedActual, packedExpected);
    #else
    GTEST_SKIP() << "Not an x86-64 build";
    #endif
}

TEST(VertexConversionTest, referenceValues) {
    /* Ties go away from zero everywhere; NaN packs to 0 as normalized and to the low end as an
       integer; a missing fourth component is one only where asked */
    const float in[]{0.5f, -2.5f, NAN, 1.5f};
    std::uint16_t unorm[4];
    convertRowsReference({VertexFormat::Float, 4, VertexFormat::UnsignedShortNormalized, 4, false}, reinterpret_cast<const char*>(in), 16, reinterpret_cast<char*>(unorm), 8, 1);
    EXPECT_EQ(unorm[0], 32768);
    EXPECT_EQ(unorm[1], 0);
    EXPECT_EQ(unorm[2], 0);
    EXPECT_EQ(unorm[3], 65535);
    std::int16_t ints[4];
    convertRowsReference({VertexFormat::Float, 4, VertexFormat::Short, 4, false}, reinterpret_cast<const char*>(in), 16, reinterpret_cast<char*>(ints), 8, 1);
    EXPECT_EQ(ints[1], -3);
    EXPECT_EQ(ints[2], -32768);
    EXPECT_EQ(ints[3], 2);

    const std::uint8_t colour[]{255, 0, 51};
    float out[4];
    convertRowsReference({VertexFormat::UnsignedByteNormalized, 3, VertexFormat::Float, 4, true}, reinterpret_cast<const char*>(colour), 3, reinterpret_cast<char*>(out), 16, 1);
    EXPECT_EQ(out[0], 1.0f);
    EXPECT_EQ(out[2], 0.2f);
    EXPECT_EQ(out[3], 1.0f);
    convertRowsReference({VertexFormat::UnsignedByteNormalized, 3, VertexFormat::Float, 4, false}, reinterpret_cast<const char*>(colour), 3, reinterpret_cast<char*>(out), 16, 1);
    EXPECT_EQ(out[3], 0.0f);

    /* Float to float keeps the bits, a signalling NaN included */
    const std::uint32_t signalling = 0x7f800001;
    std::uint32_t copied[2];
    convertRowsReference({VertexFormat::Float, 1, VertexFormat::Float, 2, false}, reinterpret_cast<const char*>(&signalling), 4, reinterpret_cast<char*>(copied), 8, 1);
    EXPECT_EQ(copied[0], signalling);
    EXPECT_EQ(copied[1], 0u);
}

}}}}
