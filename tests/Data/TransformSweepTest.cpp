#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <utility>
#include <vector>

#include "QuillmarshEngine/Data/Implementation/TransformSweep.h"
#include "QuillmarshEngine/Math/DualQuaternion.h"
#include "QuillmarshEngine/Math/Vector3.h"

using namespace QuillmarshEngine;
using Data::ObjectData;
using Data::Implementation::concatenate;
using Data::Implementation::sweepTransforms;
using Data::Implementation::sweepTransformsReference;

namespace {

/* The tests fill and read the columns through their raw floats (real xyzw, dual xyzw; scaling
   xyz), so that expectations are written out independently of the math library's operators */
float* raw(DualQuaternion& q) { return reinterpret_cast<float*>(&q); }
const float* raw(const DualQuaternion& q) { return reinterpret_cast<const float*>(&q); }
float* raw(Vector3& v) { return reinterpret_cast<float*>(&v); }

/* Rotation and translation in double precision, the form the expectations are computed in */
struct Rigid {
    double q[4]{0.0, 0.0, 0.0, 1.0};    /* unit rotation, xyzw */
    double t[3]{};                      /* translation */
};

void multiply(const double* a, const double* b, double* out) {
    const double r[4]{
        a[3]*b[0] + b[3]*a[0] + a[1]*b[2] - a[2]*b[1],
        a[3]*b[1] + b[3]*a[1] + a[2]*b[0] - a[0]*b[2],
        a[3]*b[2] + b[3]*a[2] + a[0]*b[1] - a[1]*b[0],
        a[3]*b[3] - a[0]*b[0] - a[1]*b[1] - a[2]*b[2]};
    std::memcpy(out, r, sizeof(r));
}

void rotate(const double* q, const double* v, double* out) {
    const double p[4]{v[0], v[1], v[2], 0.0}, conjugate[4]{-q[0], -q[1], -q[2], q[3]};
    double a[4], b[4];
    multiply(q, p, a);
    multiply(a, conjugate, b);
    std::memcpy(out, b, 3*sizeof(double));
}

/* Dual quaternion of a rotation and translation: real q, dual (t/2, 0)*q */
DualQuaternion toDual(const Rigid& r) {
    const double half[4]{r.t[0]/2, r.t[1]/2, r.t[2]/2, 0.0};
    double dual[4];
    multiply(half, r.q, dual);
    DualQuaternion out;
    for(int k = 0; k != 4; ++k) {
        raw(out)[k] = float(r.q[k]);
        raw(out)[4 + k] = float(dual[k]);
    }
    return out;
}

/* Translation 2*(dual*conjugate(real)).xyz and rotation of a dual quaternion */
Rigid fromDual(const DualQuaternion& in) {
    const float* f = raw(in);
    Rigid out;
    const double real[4]{f[0], f[1], f[2], f[3]}, dual[4]{f[4], f[5], f[6], f[7]};
    const double conjugate[4]{-real[0], -real[1], -real[2], real[3]};
    double t[4];
    multiply(dual, conjugate, t);
    for(int k = 0; k != 3; ++k) out.t[k] = 2*t[k];
    std::memcpy(out.q, real, sizeof(real));
    return out;
}

Rigid randomRigid(std::mt19937& rng) {
    std::uniform_real_distribution<double> unit{-1.0, 1.0};
    Rigid r;
    double length = 0.0;
    for(double& c: r.q) { c = unit(rng); length += c*c; }
    for(double& c: r.q) c /= std::sqrt(length);
    for(double& c: r.t) c = 5.0*unit(rng);
    return r;
}

/* A random scene in pre-order form: every parent index below its child's. The root's column entry
   stays the identity. */
struct Columns {
    std::vector<ObjectData> objects;
    std::vector<DualQuaternion> local, world;
    std::vector<Vector3> localScaling, worldScaling;
    std::vector<std::uint32_t> dirty;
};

Columns randomColumns(const std::uint32_t count, const bool scaled, std::mt19937& rng) {
    Columns c;
    c.objects.assign(count, ObjectData{0, 0, 0, 0});
    c.local.resize(count);
    c.localScaling.assign(count, Vector3{1.0f, 1.0f, 1.0f});
    std::uniform_real_distribution<float> scale{0.5f, 2.0f};
    for(std::uint32_t i = 1; i < count; ++i) {
        /* Mostly a recent object as parent, for deep chains, sometimes any earlier one or the root */
        const std::uint32_t choice = rng() % 4;
        c.objects[i].parent = std::uint16_t(choice == 0 ? 0 : choice == 1 ? rng() % i : i - 1 - rng() % std::min(i, 3u));
        c.local[i] = toDual(randomRigid(rng));
        if(scaled && rng() % 2)
            c.localScaling[i] = Vector3{scale(rng), scale(rng), scale(rng)};
    }
    /* Valid starting world values, so that clean objects are legitimate parents */
    c.world = c.local;
    c.worldScaling = c.localScaling;
    c.dirty.assign((count + 31)/32, ~0u);
    sweepTransformsReference(c.dirty.data(), count, c.objects.data(), c.local.data(), c.localScaling.data(), c.world.data(), c.worldScaling.data());
    return c;
}

typedef void(*Sweep)(std::uint32_t*, std::uint32_t, const ObjectData*, const DualQuaternion*, const Vector3*, DualQuaternion*, Vector3*);

/* The dispatching sweep and every variant this processor runs */
std::vector<std::pair<const char*, Sweep>> fastSweeps() {
    std::vector<std::pair<const char*, Sweep>> out{{"dispatched", sweepTransforms}};
    #if defined(__x86_64__)
    out.emplace_back("SSE2", Data::Implementation::sweepTransformsSse2);
    if(Data::Implementation::sweepTransformsAvx2Supported())
        out.emplace_back("AVX2", Data::Implementation::sweepTransformsAvx2);
    #endif
    return out;
}

/* Fast and reference kernels agree to a relative 1e-5 per component */
void expectClose(const float* a, const float* b, const int n, const std::uint32_t index) {
    float magnitude = 1.0f;
    for(int k = 0; k != n; ++k) magnitude = std::max(magnitude, std::abs(b[k]));
    for(int k = 0; k != n; ++k)
        ASSERT_LE(std::abs(a[k] - b[k]), 1.0e-5f*magnitude) << "object " << index << " component " << k << ": " << a[k] << " vs " << b[k];
}

}

TEST(TransformSweepTest, concatenateUnitScaling) {
    /* Parent turned 90 degrees about Z and moved to (1, 2, 3); the child one unit along X */
    Rigid parent;
    parent.q[2] = std::sqrt(0.5);
    parent.q[3] = std::sqrt(0.5);
    parent.t[0] = 1.0; parent.t[1] = 2.0; parent.t[2] = 3.0;
    Rigid child;
    child.q[0] = std::sqrt(0.5);
    child.q[3] = std::sqrt(0.5);
    child.t[0] = 1.0;

    DualQuaternion out;
    Vector3 outScaling;
    concatenate(toDual(parent), Vector3{1.0f, 1.0f, 1.0f}, toDual(child), Vector3{3.0f, 4.0f, 5.0f}, out, outScaling);
    const Rigid result = fromDual(out);
    EXPECT_NEAR(result.t[0], 1.0, 1e-6);
    EXPECT_NEAR(result.t[1], 3.0, 1e-6);
    EXPECT_NEAR(result.t[2], 3.0, 1e-6);
    double rotation[4];
    multiply(parent.q, child.q, rotation);
    for(int k = 0; k != 4; ++k) EXPECT_NEAR(result.q[k], rotation[k], 1e-6);
    /* The parent's unit scaling leaves the child's own */
    EXPECT_EQ(raw(outScaling)[0], 3.0f);
    EXPECT_EQ(raw(outScaling)[1], 4.0f);
    EXPECT_EQ(raw(outScaling)[2], 5.0f);
}

TEST(TransformSweepTest, concatenateNonUniformScaling) {
    /* Scaling (2, 1, 1) stretches the child's offset (1, 0, 0) to (2, 0, 0), then the parent's
       rotation (90 degrees about Z) and translation apply; the orientation is not stretched */
    Rigid parent;
    parent.q[2] = std::sqrt(0.5);
    parent.q[3] = std::sqrt(0.5);
    parent.t[0] = 10.0;
    Rigid child;
    child.q[1] = std::sin(0.3);
    child.q[3] = std::cos(0.3);
    child.t[0] = 1.0;

    DualQuaternion out;
    Vector3 outScaling;
    concatenate(toDual(parent), Vector3{2.0f, 1.0f, 1.0f}, toDual(child), Vector3{0.5f, 3.0f, 1.0f}, out, outScaling);
    const Rigid result = fromDual(out);
    EXPECT_NEAR(result.t[0], 10.0, 1e-5);
    EXPECT_NEAR(result.t[1], 2.0, 1e-5);
    EXPECT_NEAR(result.t[2], 0.0, 1e-5);
    double rotation[4];
    multiply(parent.q, child.q, rotation);
    for(int k = 0; k != 4; ++k) EXPECT_NEAR(result.q[k], rotation[k], 1e-6);
    EXPECT_EQ(raw(outScaling)[0], 1.0f);
    EXPECT_EQ(raw(outScaling)[1], 3.0f);
    EXPECT_EQ(raw(outScaling)[2], 1.0f);
}

TEST(TransformSweepTest, concatenateFuzzyUnitScaling) {
    std::mt19937 rng{7};
    const DualQuaternion parent = toDual(randomRigid(rng)), child = toDual(randomRigid(rng));
    const Vector3 childScaling{1.5f, 1.5f, 1.5f};
    DualQuaternion out;
    Vector3 outScaling;

    /* Within the float epsilon of 1: the plain product, the child's scaling passes unchanged */
    concatenate(parent, Vector3{1.000001f, 0.999999f, 1.0f}, child, childScaling, out, outScaling);
    EXPECT_EQ(raw(outScaling)[0], 1.5f);
    EXPECT_EQ(raw(outScaling)[1], 1.5f);
    DualQuaternion plain;
    Vector3 plainScaling;
    concatenate(parent, Vector3{1.0f, 1.0f, 1.0f}, child, childScaling, plain, plainScaling);
    EXPECT_EQ(std::memcmp(&out, &plain, sizeof(DualQuaternion)), 0);

    /* Outside it: the scaled form, the scalings multiply */
    concatenate(parent, Vector3{1.0001f, 1.0f, 1.0f}, child, childScaling, out, outScaling);
    EXPECT_EQ(raw(outScaling)[0], 1.0001f*1.5f);
    EXPECT_EQ(raw(outScaling)[1], 1.5f);

    /* A zero scaling is never unit: the scalings multiply to zero */
    concatenate(parent, Vector3{0.0f, 1.0f, 1.0f}, child, childScaling, out, outScaling);
    EXPECT_EQ(raw(outScaling)[0], 0.0f);
    EXPECT_EQ(raw(outScaling)[1], 1.5f);
}

TEST(TransformSweepTest, referenceMatchesIndependentComposition) {
    /* The reference sweep against rotations, scalings and translations composed in double
       precision: world rotation = parent rotation * own, world scaling = parent scaling * own,
       world translation = parent translation + parent rotation applied to (parent scaling * own
       translation) */
    for(const bool scaled: {false, true}) {
        SCOPED_TRACE(scaled ? "non-uniform scalings" : "unit scalings");
        std::mt19937 rng{42};
        Columns c = randomColumns(700, scaled, rng);
        std::vector<Rigid> expected(c.objects.size());
        std::vector<std::array<double, 3>> expectedScaling(c.objects.size(), {1.0, 1.0, 1.0});
        for(std::uint32_t i = 1; i != c.objects.size(); ++i) {
            const Rigid own = fromDual(c.local[i]);
            const float* s = raw(c.localScaling[i]);
            const std::uint32_t p = c.objects[i].parent;
            if(p == 0) {
                expected[i] = own;
                expectedScaling[i] = {s[0], s[1], s[2]};
                continue;
            }
            const double stretched[3]{own.t[0]*expectedScaling[p][0], own.t[1]*expectedScaling[p][1], own.t[2]*expectedScaling[p][2]};
            double moved[3];
            rotate(expected[p].q, stretched, moved);
            for(int k = 0; k != 3; ++k) {
                expected[i].t[k] = expected[p].t[k] + moved[k];
                expectedScaling[i][k] = expectedScaling[p][k]*s[k];
            }
            multiply(expected[p].q, own.q, expected[i].q);
        }
        for(std::uint32_t i = 1; i != c.objects.size(); ++i) {
            const Rigid actual = fromDual(c.world[i]);
            double magnitude = 1.0;
            for(int k = 0; k != 3; ++k) magnitude = std::max(magnitude, std::abs(expected[i].t[k]));
            for(int k = 0; k != 3; ++k) {
                ASSERT_NEAR(actual.t[k], expected[i].t[k], 1e-4*magnitude) << "object " << i;
                ASSERT_NEAR(raw(c.worldScaling[i])[k], expectedScaling[i][k], 1e-5*std::abs(expectedScaling[i][k])) << "object " << i;
            }
            /* q and -q are the same rotation; the composition keeps the sign, so compare directly */
            for(int k = 0; k != 4; ++k) ASSERT_NEAR(actual.q[k], expected[i].q[k], 1e-5) << "object " << i;
        }
    }
}

TEST(TransformSweepTest, sweepMatchesReference) {
    /* Sizes around word boundaries; every object dirty, random subtrees dirty, single bits */
    for(const auto& [name, kernel]: fastSweeps()) {
        std::mt19937 rng{1};
        for(const std::uint32_t count: {0u, 1u, 2u, 31u, 32u, 33u, 64u, 1000u, 4099u}) for(const bool scaled: {false, true}) for(int pattern = 0; pattern != 3; ++pattern) {
            SCOPED_TRACE(testing::Message{} << name << ", " << count << " objects, " << (scaled ? "scaled" : "unit") << ", pattern " << pattern);
            Columns fast = randomColumns(count, scaled, rng);
            /* New locals for half the objects, so that the sweep has something to change */
            for(std::uint32_t i = 1; i < count; ++i) if(rng() % 2) fast.local[i] = toDual(randomRigid(rng));
            std::vector<std::uint32_t>& dirty = fast.dirty;
            std::fill(dirty.begin(), dirty.end(), pattern == 0 ? ~0u : 0u);
            if(pattern == 1) {
                /* Runs of consecutive objects, the pattern marking subtrees produces: an object and
                   everything after it up to the next object whose parent lies before it */
                for(int n = 0; n != 5 && count > 1; ++n) {
                    const std::uint32_t start = 1 + rng() % (count - 1);
                    std::uint32_t end = start + 1;
                    while(end < count && fast.objects[end].parent >= start) ++end;
                    for(std::uint32_t i = start; i != end; ++i) dirty[i/32] |= 1u << (i % 32);
                }
            } else if(pattern == 2) {
                for(std::uint32_t i = 0; i < count; ++i) if(rng() % 7 == 0) dirty[i/32] |= 1u << (i % 32);
            }
            Columns reference = fast;

            kernel(fast.dirty.data(), count, fast.objects.data(), fast.local.data(), fast.localScaling.data(), fast.world.data(), fast.worldScaling.data());
            sweepTransformsReference(reference.dirty.data(), count, reference.objects.data(), reference.local.data(), reference.localScaling.data(), reference.world.data(), reference.worldScaling.data());

            for(std::uint32_t w: fast.dirty) ASSERT_EQ(w, 0u);
            for(std::uint32_t i = 0; i != count; ++i) {
                expectClose(raw(fast.world[i]), raw(reference.world[i]), 8, i);
                expectClose(raw(fast.worldScaling[i]), raw(reference.worldScaling[i]), 3, i);
                if(HasFatalFailure()) return;
            }
        }
    }
}

TEST(TransformSweepTest, sweepLeavesCleanAndOutsideObjectsAlone) {
    /* Clean objects keep their world values bit for bit, even stale ones; dirty bits at or above
       the object count are cleared but not visited, so the columns there are never written */
    std::mt19937 rng{3};
    std::vector<std::pair<const char*, Sweep>> kernels = fastSweeps();
    kernels.emplace_back("reference", sweepTransformsReference);
    for(const auto& [name, kernel]: kernels) {
        SCOPED_TRACE(name);
        Columns c = randomColumns(40, true, rng);
        /* Columns hold 48 entries; only 40 are objects */
        c.objects.resize(48, ObjectData{1, 0, 0, 0});
        c.local.resize(48, toDual(randomRigid(rng)));
        c.localScaling.resize(48, Vector3{2.0f, 2.0f, 2.0f});
        c.world.resize(48);
        c.worldScaling.resize(48);
        DualQuaternion sentinel;
        for(int k = 0; k != 8; ++k) raw(sentinel)[k] = 42.0f;
        for(std::uint32_t i = 0; i != 48; ++i) if(i % 5 == 0 || i >= 40) {
            c.world[i] = sentinel;
            c.worldScaling[i] = Vector3{42.0f, 42.0f, 42.0f};
        }
        c.dirty = {0xffffffffu, 0xffffffffu};
        for(std::uint32_t i = 0; i < 40; i += 5) c.dirty[i/32] &= ~(1u << (i % 32));
        /* Dirty children of clean objects read the clean values as they are; only the clean
           objects and the slots past the count are checked here */
        kernel(c.dirty.data(), 40, c.objects.data(), c.local.data(), c.localScaling.data(), c.world.data(), c.worldScaling.data());
        EXPECT_EQ(c.dirty[0], 0u);
        EXPECT_EQ(c.dirty[1], 0u);
        for(std::uint32_t i = 0; i != 48; ++i) {
            if(i % 5 != 0 && i < 40) continue;
            EXPECT_EQ(std::memcmp(&c.world[i], &sentinel, sizeof(DualQuaternion)), 0) << "object " << i;
            EXPECT_EQ(raw(c.worldScaling[i])[0], 42.0f) << "object " << i;
        }
    }
}

TEST(TransformSweepTest, sweepRootChildrenCopyLocal) {
    /* Parent index 0 means the object's world values are its local ones, exactly, whatever the
       root's own column holds */
    std::mt19937 rng{5};
    Columns c = randomColumns(3, true, rng);
    c.objects[1].parent = 0;
    c.objects[2].parent = 0;
    c.world[0] = toDual(randomRigid(rng));
    c.worldScaling[0] = Vector3{3.0f, 3.0f, 3.0f};
    c.localScaling[2] = Vector3{0.5f, 2.0f, 4.0f};
    std::vector<std::pair<const char*, Sweep>> kernels = fastSweeps();
    kernels.emplace_back("reference", sweepTransformsReference);
    for(const auto& [name, kernel]: kernels) {
        SCOPED_TRACE(name);
        c.dirty = {0x6u};
        kernel(c.dirty.data(), 3, c.objects.data(), c.local.data(), c.localScaling.data(), c.world.data(), c.worldScaling.data());
        for(std::uint32_t i: {1u, 2u}) {
            EXPECT_EQ(std::memcmp(&c.world[i], &c.local[i], sizeof(DualQuaternion)), 0);
            EXPECT_EQ(std::memcmp(&c.worldScaling[i], &c.localScaling[i], sizeof(Vector3)), 0);
        }
    }
}
