#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include <gtest/gtest.h>

#include "QuillmarshEngine/Math/Intersection.h"
#include "Printers.h"

namespace QuillmarshEngine { namespace {

using namespace Math::Intersection;

/* ------------------------------------------------------------------------------------------ */
/* An independent model in double precision: boxes as centre, axes and half-extents, and
   verdicts found by dense sampling. A verdict is only given where the sampling decides it with
   a clear margin; everything closer to a boundary is left undecided. */

struct ModelBox {
    double c[3];
    double axes[3][3];  /* axes[k] is the box's k-th axis in world space */
    double e[3];
};

double dot3(const double* a, const double* b) { return a[0]*b[0] + a[1]*b[1] + a[2]*b[2]; }

/* Rotation of the (float) quaternion, normalized in double */
void axesOf(const Quaternion& q, double axes[3][3]) {
    double x = q.vector().x(), y = q.vector().y(), z = q.vector().z(), w = q.scalar();
    const double n = std::sqrt(x*x + y*y + z*z + w*w);
    x /= n; y /= n; z /= n; w /= n;
    const double m[3][3]{
        {1 - 2*(y*y + z*z), 2*(x*y + z*w), 2*(x*z - y*w)},
        {2*(x*y - z*w), 1 - 2*(x*x + z*z), 2*(y*z + x*w)},
        {2*(x*z + y*w), 2*(y*z - x*w), 1 - 2*(x*x + y*y)}};
    std::copy(&m[0][0], &m[0][0] + 9, &axes[0][0]);
}

ModelBox modelBox(const Vector3& centre, const Quaternion& rotation, const Vector3& e) {
    ModelBox box{};
    for(int k = 0; k != 3; ++k) {
        box.c[k] = centre[k];
        box.e[k] = e[k];
    }
    axesOf(rotation, box.axes);
    return box;
}

/* How far outside the box a point is, measured per axis: max_k(|local_k| - e_k). Negative
   inside; changes by at most the distance a point moves, and convex, so the points of a line
   inside the box form one interval. Axes with skip[k] set are left out. */
double outside(const ModelBox& box, const double* p, const bool* skip = nullptr) {
    const double v[3]{p[0] - box.c[0], p[1] - box.c[1], p[2] - box.c[2]};
    double out = -std::numeric_limits<double>::infinity();
    for(int k = 0; k != 3; ++k) {
        if(skip && skip[k]) continue;
        out = std::max(out, std::abs(dot3(box.axes[k], v)) - box.e[k]);
    }
    return out;
}

enum class Verdict { Hit, Miss, Undecided };

/* Dense sampling of o + d*t for t in [0, reach of the box], 10000 samples, with bisection of
   the entry once a sample is clearly inside */
Verdict sampleRay(const ModelBox& box, const Vector3& origin, const Vector3& direction, const double tolerance, double& entry, double& slope, const bool* skip = nullptr) {
    const double o[3]{origin[0], origin[1], origin[2]};
    const double d[3]{direction[0], direction[1], direction[2]};
    const double v[3]{o[0] - box.c[0], o[1] - box.c[1], o[2] - box.c[2]};
    const double length = std::sqrt(dot3(d, d));
    const double end = (std::sqrt(dot3(v, v)) + std::sqrt(dot3(box.e, box.e)))/length*1.01;
    const auto at = [&](const double t) {
        const double p[3]{o[0] + d[0]*t, o[1] + d[1]*t, o[2] + d[2]*t};
        return outside(box, p, skip);
    };
    const double start = at(0.0);
    if(start < -tolerance) return Verdict::Miss;  /* starts inside */
    constexpr int Samples = 10000;
    const double step = end/Samples;
    double lowest = start;
    for(int j = 1; j <= Samples; ++j) {
        const double f = at(j*step);
        lowest = std::min(lowest, f);
        if(f >= -tolerance) continue;
        if(start <= tolerance) return Verdict::Undecided;  /* starts on the surface */
        double a = (j - 1)*step, b = j*step;
        while(at(a) < 0.0) a -= step;
        for(int k = 0; k != 80; ++k) {
            const double m = 0.5*(a + b);
            (at(m) < 0.0 ? b : a) = m;
        }
        entry = 0.5*(a + b);
        /* How steeply the ray meets the entered face: rounding of the box moves the entry
           along the ray by its size over this */
        const double p[3]{o[0] + d[0]*entry, o[1] + d[1]*entry, o[2] + d[2]*entry};
        const double v2[3]{p[0] - box.c[0], p[1] - box.c[1], p[2] - box.c[2]};
        double worst = -std::numeric_limits<double>::infinity();
        for(int k = 0; k != 3; ++k) {
            if(skip && skip[k]) continue;
            const double measure = std::abs(dot3(box.axes[k], v2)) - box.e[k];
            if(measure > worst) {
                worst = measure;
                slope = std::abs(dot3(box.axes[k], d))/length;
            }
        }
        return Verdict::Hit;
    }
    /* Between samples the measure drops by at most half a step times |d| */
    return lowest > 0.5*step*length + tolerance ? Verdict::Miss : Verdict::Undecided;
}

Vector3 randomUnit(std::mt19937& rng) {
    std::normal_distribution<float> normal;
    for(;;) {
        const Vector3 v{normal(rng), normal(rng), normal(rng)};
        if(v.dot() > 1.0e-4f) return v.normalized();
    }
}

Quaternion randomRotation(std::mt19937& rng) {
    std::normal_distribution<float> normal;
    const Quaternion q{{normal(rng), normal(rng), normal(rng)}, normal(rng)};
    return q/q.length();
}

/* Log-uniform in [low, high] */
float logUniform(std::mt19937& rng, const float low, const float high) {
    return std::exp(std::uniform_real_distribution<float>{std::log(low), std::log(high)}(rng));
}

/* Half-extents over six orders of magnitude, now and then a flat plate or a huge slab */
Vector3 randomExtents(std::mt19937& rng) {
    Vector3 e{logUniform(rng, 0.01f, 10.0f), logUniform(rng, 0.01f, 10.0f), logUniform(rng, 0.01f, 10.0f)};
    const unsigned pick = rng() % 10;
    if(pick == 0) e[rng() % 3] = logUniform(rng, 1.0e-4f, 1.0e-3f);
    else if(pick == 1) e[rng() % 3] = logUniform(rng, 1.0e3f, 1.0e4f);
    return e;
}

struct Ray { Vector3 origin, direction; };

/* Rays of every kind against a box around the origin with the given axes: random, aimed into
   the box, passing a random edge or corner just outside or just inside it, starting inside,
   and with direction components that are exactly zero */
Ray randomRay(std::mt19937& rng, const Vector3& e, const double axes[3][3]) {
    std::uniform_real_distribution<float> unit{-1.0f, 1.0f};
    const float size = e.length();
    const auto toWorld = [&](const Vector3& local) {
        Vector3 out;
        for(int k = 0; k != 3; ++k)
            out[k] = float(local[0]*axes[0][k] + local[1]*axes[1][k] + local[2]*axes[2][k]);
        return out;
    };
    Ray ray;
    const unsigned kind = rng() % 6;
    if(kind == 0) {
        ray.origin = toWorld(Vector3{unit(rng), unit(rng), unit(rng)}*3.0f*size);
        ray.direction = randomUnit(rng);
    } else if(kind == 1 || kind == 2) {
        /* Through a point near an edge (kind 1) or a corner (kind 2), offset along the outward
           bisector by a small fraction of the size, outside or inside, and crossing it
           perpendicular to the bisector, so that only the edge or corner is near the ray */
        Vector3 point, outward;
        const int along = int(rng() % 3);
        for(int k = 0; k != 3; ++k) {
            const float side = rng() % 2 ? 1.0f : -1.0f;
            if(kind == 1 && k == along) {
                point[k] = unit(rng)*e[k];
                outward[k] = 0.0f;
            } else {
                point[k] = side*e[k];
                outward[k] = side;
            }
        }
        outward = outward.normalized();
        const float offset = (rng() % 2 ? 1.0f : -1.0f)*logUniform(rng, 1.0e-3f, 3.0e-2f)*size;
        Vector3 across = cross(outward, randomUnit(rng));
        if(across.dot() < 1.0e-6f) across = cross(outward, Vector3{0.0f, 0.0f, 1.0f});
        ray.direction = toWorld(across.normalized());
        ray.origin = toWorld(point + outward*offset) - ray.direction*(logUniform(rng, 1.0f, 10.0f)*size);
    } else if(kind == 3) {
        /* From inside */
        ray.origin = toWorld(Vector3{unit(rng)*e[0], unit(rng)*e[1], unit(rng)*e[2]}*0.9f);
        ray.direction = randomUnit(rng);
    } else {
        /* Aimed at a random point of the box from outside */
        const Vector3 target = toWorld(Vector3{unit(rng)*e[0], unit(rng)*e[1], unit(rng)*e[2]}*1.2f);
        ray.origin = toWorld(randomUnit(rng)*size*logUniform(rng, 1.5f, 20.0f));
        ray.direction = (target - ray.origin).normalized();
    }
    /* Exactly zero direction components now and then */
    if(rng() % 4 == 0) {
        ray.direction[rng() % 3] = 0.0f;
        if(rng() % 3 == 0) ray.direction[rng() % 3] = 0.0f;
        if(ray.direction.dot() < 1.0e-6f) ray.direction = Vector3{1.0f, 0.0f, 0.0f};
        ray.direction = ray.direction.normalized();
    }
    return ray;
}

struct Tally {
    int hits = 0, misses = 0, undecided = 0;
};

/* Compares a line test with the sampled verdict; the distance to a relative 1e-5, more where
   the ray meets the face at a flat angle */
void expectVerdict(const Verdict verdict, const bool hit, const float distance, const double entry, const double slope, const double scale, Tally& tally, const Ray& ray, const Vector3& e) {
    SCOPED_TRACE(testing::Message{} << "origin " << ray.origin << ", direction " << ray.direction << ", half-extents " << e);
    if(verdict == Verdict::Undecided) {
        ++tally.undecided;
        return;
    }
    if(verdict == Verdict::Miss) {
        ++tally.misses;
        EXPECT_FALSE(hit);
        return;
    }
    ++tally.hits;
    ASSERT_TRUE(hit);
    EXPECT_NEAR(distance, entry, 1.0e-5*scale/std::max(slope, 1.0e-2));
}

/* ------------------------------------------------------------------------------------------ */

TEST(IntersectionTest, lineAABBAgainstSampling) {
    std::mt19937 rng{14};
    const double identity[3][3]{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    Tally tally;
    for(int i = 0; i != 4000; ++i) {
        const Vector3 e = randomExtents(rng);
        const Ray ray = randomRay(rng, e, identity);
        const ModelBox box = modelBox({}, {}, e);
        const double scale = ray.origin.length() + e.length();
        double entry = 0.0, slope = 1.0;
        const Verdict verdict = sampleRay(box, ray.origin, ray.direction, 1.0e-5*scale, entry, slope);
        float distance = -1.0f;
        const bool hit = lineAABB(ray.origin, ray.direction, e, distance);
        expectVerdict(verdict, hit, distance, entry, slope, scale, tally, ray, e);
        if(!hit) {
            EXPECT_EQ(distance, -1.0f);
        }
        if(::testing::Test::HasFailure()) break;
    }
    /* The sampling decides most cases, and both ways */
    EXPECT_GT(tally.hits, 1000);
    EXPECT_GT(tally.misses, 2000);
    EXPECT_LT(tally.undecided, 300);
}

TEST(IntersectionTest, lineAABBRayInFacePlane) {
    /* Origin exactly on a slab plane and the direction parallel to it: t1 or t2 is 0/0 and
       the axis is left out, so the other two axes decide, which a sampling of the ray's
       shadow on the face decides too */
    std::mt19937 rng{1414};
    std::uniform_real_distribution<float> unit{-1.0f, 1.0f};
    Tally tally;
    for(int i = 0; i != 3000; ++i) {
        const Vector3 e = randomExtents(rng);
        const int axis = int(rng() % 3);
        Ray ray;
        ray.origin = Vector3{unit(rng), unit(rng), unit(rng)}*2.0f*e.length();
        if(rng() % 2) ray.origin = Vector3{unit(rng)*e[0], unit(rng)*e[1], unit(rng)*e[2]}*1.3f;
        ray.origin[axis] = rng() % 2 ? e[axis] : -e[axis];
        ray.direction = randomUnit(rng);
        ray.direction[axis] = rng() % 2 ? 0.0f : -0.0f;
        if(ray.direction.dot() < 1.0e-6f) continue;
        ray.direction = ray.direction.normalized();
        ASSERT_EQ(ray.direction[axis], 0.0f);

        bool skip[3]{};
        skip[axis] = true;
        const ModelBox box = modelBox({}, {}, e);
        const double scale = ray.origin.length() + e.length();
        double entry = 0.0, slope = 1.0;
        const Verdict verdict = sampleRay(box, ray.origin, ray.direction, 1.0e-5*scale, entry, slope, skip);
        float distance = -1.0f;
        const bool hit = lineAABB(ray.origin, ray.direction, e, distance);
        expectVerdict(verdict, hit, distance, entry, slope, scale, tally, ray, e);
        if(::testing::Test::HasFailure()) break;
    }
    EXPECT_GT(tally.hits, 250);
    EXPECT_GT(tally.misses, 2000);
}

TEST(IntersectionTest, lineAABBEdgeCases) {
    const Vector3 e{1.0f, 1.0f, 1.0f};
    float distance = -1.0f;
    /* Straight in, and from exactly on the face: distance 0 counts */
    EXPECT_TRUE(lineAABB({-5.0f, 0.0f, 0.0f}, {1.0f, 0.0f, 0.0f}, e, distance));
    EXPECT_EQ(distance, 4.0f);
    EXPECT_TRUE(lineAABB({-1.0f, 0.5f, 0.0f}, {1.0f, 0.0f, 0.0f}, e, distance));
    EXPECT_EQ(distance, 0.0f);
    /* From the face outwards, from inside, and away from the box: no hit, nothing written */
    distance = -1.0f;
    EXPECT_FALSE(lineAABB({-1.0f, 0.5f, 0.0f}, {-1.0f, 0.0f, 0.0f}, e, distance));
    EXPECT_FALSE(lineAABB({0.2f, 0.3f, -0.4f}, {0.0f, 1.0f, 0.0f}, e, distance));
    EXPECT_FALSE(lineAABB({-5.0f, 0.0f, 0.0f}, {-1.0f, 0.0f, 0.0f}, e, distance));
    EXPECT_EQ(distance, -1.0f);
    /* Parallel to a slab but outside it: both values infinite with the same sign */
    EXPECT_FALSE(lineAABB({-5.0f, 1.5f, 0.0f}, {1.0f, 0.0f, 0.0f}, e, distance));
    EXPECT_FALSE(lineAABB({-5.0f, 1.5f, 0.0f}, {1.0f, -0.0f, 0.0f}, e, distance));
    /* Lying in a face plane (y = 1): the y axis is left out and the ray hits the face's edge
       at x = -1; lying in two face planes at once, along an edge, likewise */
    EXPECT_TRUE(lineAABB({-5.0f, 1.0f, 0.0f}, {1.0f, 0.0f, 0.0f}, e, distance));
    EXPECT_EQ(distance, 4.0f);
    EXPECT_TRUE(lineAABB({-5.0f, -1.0f, 1.0f}, {1.0f, 0.0f, 0.0f}, e, distance));
    EXPECT_EQ(distance, 4.0f);
    /* In the face plane but passing beside the face */
    EXPECT_FALSE(lineAABB({-5.0f, 1.0f, 1.5f}, {1.0f, 0.0f, 0.0f}, e, distance));
    /* Grazing an edge diagonally: tNear == tFar, no hit */
    const float s = std::sqrt(0.5f);
    EXPECT_FALSE(lineAABB({2.0f, 0.0f, 0.0f}, {-s, s, 0.0f}, e, distance));
    /* A hair further inside it hits */
    EXPECT_TRUE(lineAABB({1.999f, 0.0f, 0.0f}, {-s, s, 0.0f}, e, distance));
    /* Grazing a corner: all three slabs give tNear == tFar at (1, 1, 1) */
    const float t = std::sqrt(1.0f/3.0f);
    EXPECT_FALSE(lineAABB({2.0f, 0.0f, 2.0f}, {-t, t, -t}, e, distance));
    /* Moved a hair towards the box it cuts the corner, a hair away it passes by */
    EXPECT_TRUE(lineAABB({1.999f, 0.0f, 1.999f}, {-t, t, -t}, e, distance));
    EXPECT_FALSE(lineAABB({2.0f, 0.001f, 2.0f}, {-t, t, -t}, e, distance));
    /* Huge and tiny extents */
    EXPECT_TRUE(lineAABB({0.0f, 0.0f, -2.0e4f}, {0.0f, 0.0f, 1.0f}, {1.0e-6f, 1.0e-6f, 1.0e4f}, distance));
    EXPECT_EQ(distance, 1.0e4f);
    EXPECT_FALSE(lineAABB({0.0f, 2.0e-6f, -2.0e4f}, {0.0f, 0.0f, 1.0f}, {1.0e-6f, 1.0e-6f, 1.0e4f}, distance));
    /* A degenerate box of zero size is never entered: tNear == tFar */
    EXPECT_FALSE(lineAABB({-5.0f, 0.0f, 0.0f}, {1.0f, 0.0f, 0.0f}, {}, distance));
}

TEST(IntersectionTest, lineAABBNormals) {
    const Vector3 e{1.0f, 2.0f, 3.0f};
    float distance;
    Vector3 normal;
    /* Each face from outside */
    const struct { Vector3 origin, direction, normal; float distance; } cases[]{
        {{-5.0f, 0.0f, 0.0f}, {1.0f, 0.0f, 0.0f}, {-1.0f, 0.0f, 0.0f}, 4.0f},
        {{5.0f, 0.0f, 0.0f}, {-1.0f, 0.0f, 0.0f}, {1.0f, 0.0f, 0.0f}, 4.0f},
        {{0.0f, -5.0f, 0.0f}, {0.0f, 1.0f, 0.0f}, {0.0f, -1.0f, 0.0f}, 3.0f},
        {{0.0f, 5.0f, 0.0f}, {0.0f, -1.0f, 0.0f}, {0.0f, 1.0f, 0.0f}, 3.0f},
        {{0.0f, 0.0f, -5.0f}, {0.0f, 0.0f, 1.0f}, {0.0f, 0.0f, -1.0f}, 2.0f},
        {{0.0f, 0.0f, 5.0f}, {0.0f, 0.0f, -1.0f}, {0.0f, 0.0f, 1.0f}, 2.0f},
    };
    for(const auto& c: cases) {
        ASSERT_TRUE(lineAABB(c.origin, c.direction, e, distance, normal));
        EXPECT_EQ(distance, c.distance);
        EXPECT_EQ(normal, c.normal);
    }
    /* Entering through an edge the first of the tied axes is taken */
    const float s = std::sqrt(0.5f);
    ASSERT_TRUE(lineAABB({-2.0f, -3.0f, 0.0f}, {s, s, 0.0f}, e, distance, normal));
    EXPECT_EQ(normal, (Vector3{-1.0f, 0.0f, 0.0f}));
    /* No hit, nothing written */
    normal = Vector3{7.0f};
    EXPECT_FALSE(lineAABB({-5.0f, 5.0f, 0.0f}, {1.0f, 0.0f, 0.0f}, e, distance, normal));
    EXPECT_EQ(normal, Vector3{7.0f});
}

TEST(IntersectionTest, lineBoxAgainstSampling) {
    std::mt19937 rng{4141};
    std::uniform_real_distribution<float> unit{-1.0f, 1.0f};
    Tally tally;
    for(int i = 0; i != 4000; ++i) {
        const Vector3 e = randomExtents(rng);
        const Quaternion rotation = randomRotation(rng);
        const Vector3 centre = Vector3{unit(rng), unit(rng), unit(rng)}*logUniform(rng, 0.1f, 1.0e3f);
        const ModelBox box = modelBox(centre, rotation, e);
        Ray ray = randomRay(rng, e, box.axes);
        ray.origin += centre;
        const double scale = (ray.origin - centre).length() + e.length() + centre.length()*0.1;
        double entry = 0.0, slope = 1.0;
        const Verdict verdict = sampleRay(box, ray.origin, ray.direction, 1.0e-5*scale, entry, slope);

        const DualQuaternion transform = DualQuaternion::from(rotation, centre);
        float distance = -1.0f, distanceMatrix = -2.0f, distanceNormal = -3.0f;
        Vector3 normal;
        const bool hit = lineBox(ray.origin, ray.direction, e, transform, distance);
        /* Both forms, with and without the normal, agree exactly */
        EXPECT_EQ(lineBox(ray.origin, ray.direction, e, transform.translation(), transform.rotation().toMatrix(), distanceMatrix), hit);
        EXPECT_EQ(lineBox(ray.origin, ray.direction, e, transform.translation(), transform.rotation().toMatrix(), distanceNormal, normal), hit);
        if(hit) {
            EXPECT_EQ(distanceMatrix, distance);
            EXPECT_EQ(distanceNormal, distance);
        }
        expectVerdict(verdict, hit, distance, entry, slope, scale, tally, ray, e);
        if(::testing::Test::HasFailure()) break;
    }
    EXPECT_GT(tally.hits, 900);
    EXPECT_GT(tally.misses, 2000);
    EXPECT_LT(tally.undecided, 300);
}

TEST(IntersectionTest, lineBoxNormalsAgainstFiniteDifferences) {
    /* Two neighbouring rays hit the same face near the first hit; the points span the face,
       whose normal the cross product gives. Hits near an edge are left out. */
    std::mt19937 rng{9};
    std::uniform_real_distribution<float> unit{-1.0f, 1.0f};
    int checked = 0;
    for(int i = 0; i != 2000; ++i) {
        const Vector3 e{logUniform(rng, 0.2f, 5.0f), logUniform(rng, 0.2f, 5.0f), logUniform(rng, 0.2f, 5.0f)};
        const Quaternion rotation = randomRotation(rng);
        const Vector3 centre = Vector3{unit(rng), unit(rng), unit(rng)}*5.0f;
        const Matrix3x3 matrix = rotation.toMatrix();
        const Vector3 target = centre + matrix*Vector3{unit(rng)*e[0], unit(rng)*e[1], unit(rng)*e[2]};
        const Vector3 origin = centre + randomUnit(rng)*e.length()*3.0f;
        const Vector3 direction = (target - origin).normalized();
        float distance;
        Vector3 normal;
        if(!lineBox(origin, direction, e, centre, matrix, distance, normal)) continue;
        const Vector3 hitPoint = origin + direction*distance;
        const Vector3 local = matrix.transposed()*(hitPoint - centre);
        int atEdge = 0;
        for(int k = 0; k != 3; ++k) atEdge += std::abs(std::abs(local[k]) - e[k]) < 0.02f;
        if(atEdge > 1) continue;

        const float h = 1.0e-3f;
        Vector3 u = cross(direction, Vector3{0.0f, 0.0f, 1.0f});
        if(u.dot() < 1.0e-3f) u = cross(direction, Vector3{1.0f, 0.0f, 0.0f});
        u = u.normalized();
        const Vector3 v = cross(direction, u);
        float du, dv;
        ASSERT_TRUE(lineBox(origin + u*h, direction, e, centre, matrix, du));
        ASSERT_TRUE(lineBox(origin + v*h, direction, e, centre, matrix, dv));
        Vector3 estimate = cross(origin + u*h + direction*du - hitPoint, origin + v*h + direction*dv - hitPoint).normalized();
        if(dot(estimate, direction) > 0.0f) estimate = -estimate;
        EXPECT_NEAR(dot(estimate, normal), 1.0f, 1.0e-3f) << "estimate " << estimate << ", normal " << normal;
        EXPECT_LT(dot(normal, direction), 0.0f);
        EXPECT_NEAR(normal.length(), 1.0f, 1.0e-5f);
        ++checked;
    }
    EXPECT_GT(checked, 1500);
}

/* Distance from a point to the box by sampling its surface: a grid on every face, the edges
   and the corners. Returns the smallest sampled distance; the true one is at most the grid's
   half-diagonal less. 0 for a point inside. */
double sampledDistance(const ModelBox& box, const double* p, double& slack) {
    if(outside(box, p) <= 0.0) {
        slack = 0.0;
        return 0.0;
    }
    constexpr int Grid = 48;
    double best = std::numeric_limits<double>::infinity();
    slack = 0.0;
    for(int face = 0; face != 6; ++face) {
        const int normalAxis = face/2, a = (normalAxis + 1) % 3, b = (normalAxis + 2) % 3;
        const double sa = 2.0*box.e[a]/(Grid - 1), sb = 2.0*box.e[b]/(Grid - 1);
        slack = std::max(slack, 0.5*std::sqrt(sa*sa + sb*sb));
        for(int i = 0; i != Grid; ++i) for(int j = 0; j != Grid; ++j) {
            double local[3];
            local[normalAxis] = face % 2 ? box.e[normalAxis] : -box.e[normalAxis];
            local[a] = -box.e[a] + i*sa;
            local[b] = -box.e[b] + j*sb;
            double distance = 0.0;
            for(int k = 0; k != 3; ++k) {
                const double world = box.c[k] + local[0]*box.axes[0][k] + local[1]*box.axes[1][k] + local[2]*box.axes[2][k];
                distance += (world - p[k])*(world - p[k]);
            }
            best = std::min(best, distance);
        }
    }
    return std::sqrt(best);
}

TEST(IntersectionTest, sphereBoxAgainstSampling) {
    std::mt19937 rng{777};
    std::uniform_real_distribution<float> unit{-1.0f, 1.0f};
    int overlapping = 0, apart = 0, undecided = 0;
    for(int i = 0; i != 3000; ++i) {
        const Vector3 e{logUniform(rng, 0.05f, 2.0f), logUniform(rng, 0.05f, 2.0f), logUniform(rng, 0.05f, 2.0f)};
        const Quaternion rotation = rng() % 5 ? randomRotation(rng) : Quaternion{};
        const Vector3 centre = Vector3{unit(rng), unit(rng), unit(rng)}*10.0f;
        const ModelBox box = modelBox(centre, rotation, e);
        /* A sphere centre near a random surface point, at a distance around the radius */
        Vector3 local{unit(rng)*e[0], unit(rng)*e[1], unit(rng)*e[2]};
        const int faceAxis = int(rng() % 3);
        local[faceAxis] = rng() % 2 ? e[faceAxis] : -e[faceAxis];
        const float radius = logUniform(rng, 0.3f, 3.0f);
        const Vector3 sphere = centre + rotation.toMatrix()*local + randomUnit(rng)*radius*std::uniform_real_distribution<float>{0.0f, 2.0f}(rng);

        const double p[3]{sphere[0], sphere[1], sphere[2]};
        double slack;
        const double distance = sampledDistance(box, p, slack);
        const double tolerance = 1.0e-5*(e.length() + radius + centre.length());
        const bool result = sphereBox(sphere, radius, DualQuaternion::from(rotation, centre), e);
        EXPECT_EQ(sphereBox(sphere, radius, centre, rotation.toMatrix(), e), result);
        if(distance < radius - tolerance) {
            ++overlapping;
            EXPECT_TRUE(result) << sphere << radius;
        } else if(distance - slack > radius + tolerance) {
            ++apart;
            EXPECT_FALSE(result) << sphere << radius;
        } else ++undecided;
    }
    EXPECT_GT(overlapping, 1800);
    EXPECT_GT(apart, 600);
}

TEST(IntersectionTest, sphereBoxTouching) {
    const DualQuaternion box = DualQuaternion::from(Quaternion::rotation(0.5f, Vector3{0.0f, 0.0f, 1.0f}), {1.0f, 2.0f, 3.0f});
    const Vector3 e{1.0f, 2.0f, 0.5f};
    /* Above the top face (local z = 0.5) by exactly the radius: touching counts */
    EXPECT_TRUE(sphereBox({1.0f, 2.0f, 4.5f}, 1.0f, box, e));
    EXPECT_FALSE(sphereBox({1.0f, 2.0f, 4.5f}, 0.999f, box, e));
    /* Centre inside: always, even with radius 0 */
    EXPECT_TRUE(sphereBox({1.0f, 2.0f, 3.0f}, 0.0f, box, e));
    /* Axis-aligned twin, touching an edge exactly: distance² 3² + 4² */
    EXPECT_TRUE(sphereAABB({4.0f, 6.0f, 0.0f}, 5.0f, {0.0f, 0.0f, 0.0f}, {1.0f, 2.0f, 1.0f}));
    EXPECT_FALSE(sphereAABB({4.0f, 6.0f, 0.0f}, 4.99f, {0.0f, 0.0f, 0.0f}, {1.0f, 2.0f, 1.0f}));
    EXPECT_TRUE(sphereAABB({0.0f, 4.0f, 0.0f}, 2.0f, {0.0f, 0.0f, 0.0f}, {1.0f, 2.0f, 1.0f}));
    EXPECT_FALSE(sphereAABB({0.0f, 4.0f, 0.0f}, 1.99f, {0.0f, 0.0f, 0.0f}, {1.0f, 2.0f, 1.0f}));
}

TEST(IntersectionTest, sphereSphereAndAABBAABBAreStrict) {
    EXPECT_TRUE(sphereSphere({0.0f, 0.0f, 0.0f}, 1.0f, {2.9f, 0.0f, 0.0f}, 2.0f));
    EXPECT_FALSE(sphereSphere({0.0f, 0.0f, 0.0f}, 1.0f, {3.0f, 0.0f, 0.0f}, 2.0f));
    EXPECT_FALSE(sphereSphere({0.0f, 0.0f, 0.0f}, 0.0f, {0.0f, 0.0f, 0.0f}, 0.0f));
    EXPECT_TRUE(aabbAABB({0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f}, {2.9f, 1.0f, -1.0f}, {2.0f, 1.0f, 1.0f}));
    /* Touching on one axis is enough to fail */
    EXPECT_FALSE(aabbAABB({0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f}, {3.0f, 1.0f, -1.0f}, {2.0f, 1.0f, 1.0f}));
    EXPECT_FALSE(aabbAABB({0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f}, {2.9f, 2.0f, -1.0f}, {2.0f, 1.0f, 1.0f}));
    EXPECT_FALSE(aabbAABB({0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f}, {0.0f, 0.0f, 5.0f}, {1.0f, 1.0f, 1.0f}));
}

/* The twelve edges of a box as corner pairs */
void corners(const ModelBox& box, double out[8][3]) {
    for(int i = 0; i != 8; ++i)
        for(int k = 0; k != 3; ++k) {
            out[i][k] = box.c[k];
            for(int a = 0; a != 3; ++a) out[i][k] += (i >> a & 1 ? box.e[a] : -box.e[a])*box.axes[a][k];
        }
}

/* Smallest "outside" measure of the sampled edge points of a against b, and the sample step */
double edgesAgainst(const ModelBox& a, const ModelBox& b, double& step) {
    double c[8][3];
    corners(a, c);
    constexpr int Samples = 250;
    double lowest = std::numeric_limits<double>::infinity();
    step = 0.0;
    for(int i = 0; i != 8; ++i) for(int axis = 0; axis != 3; ++axis) {
        if(i >> axis & 1) continue;
        const int j = i | 1 << axis;
        step = std::max(step, 2.0*a.e[axis]/Samples);
        for(int s = 0; s <= Samples; ++s) {
            const double f = double(s)/Samples;
            const double p[3]{c[i][0] + (c[j][0] - c[i][0])*f, c[i][1] + (c[j][1] - c[i][1])*f, c[i][2] + (c[j][2] - c[i][2])*f};
            lowest = std::min(lowest, outside(b, p));
        }
    }
    return lowest;
}

/* The separating-axis test with the six face axes alone, in double */
bool faceAxesOverlap(const ModelBox& a, const ModelBox& b) {
    const double d[3]{b.c[0] - a.c[0], b.c[1] - a.c[1], b.c[2] - a.c[2]};
    for(const ModelBox* box: {&a, &b}) for(int k = 0; k != 3; ++k) {
        const double* axis = box->axes[k];
        double reach = 0.0;
        for(int m = 0; m != 3; ++m)
            reach += a.e[m]*std::abs(dot3(a.axes[m], axis)) + b.e[m]*std::abs(dot3(b.axes[m], axis));
        if(std::abs(dot3(d, axis)) > reach) return false;
    }
    return true;
}

TEST(IntersectionTest, boxBoxAgainstVertexAndEdgeSampling) {
    /* Two boxes intersect exactly when an edge point (corners included) of one lies in the
       other. Sampled edges decide every pair that is not within a sample step of touching. */
    std::mt19937 rng{2024};
    std::uniform_real_distribution<float> unit{-1.0f, 1.0f};
    int overlapping = 0, apart = 0, undecided = 0, faceAxesWrong = 0;
    for(int i = 0; i != 4000; ++i) {
        const Vector3 ea{logUniform(rng, 0.05f, 5.0f), logUniform(rng, 0.05f, 5.0f), logUniform(rng, 0.05f, 5.0f)};
        Vector3 eb{logUniform(rng, 0.05f, 5.0f), logUniform(rng, 0.05f, 5.0f), logUniform(rng, 0.05f, 5.0f)};
        if(rng() % 8 == 0) eb[rng() % 3] = 1.0e-3f;
        const Quaternion ra = randomRotation(rng);
        /* Parallel edges: the same rotation, or one a tiny turn away */
        const unsigned kind = rng() % 10;
        const Quaternion rb = kind == 0 ? ra :
            kind == 1 ? (Quaternion::rotation(1.0e-4f, randomUnit(rng))*ra).normalized() : randomRotation(rng);
        const Vector3 ca = Vector3{unit(rng), unit(rng), unit(rng)}*20.0f;
        const Vector3 cb = ca + randomUnit(rng)*(ea.length() + eb.length())*std::uniform_real_distribution<float>{0.2f, 1.0f}(rng);
        const ModelBox a = modelBox(ca, ra, ea), b = modelBox(cb, rb, eb);

        const DualQuaternion ta = DualQuaternion::from(ra, ca), tb = DualQuaternion::from(rb, cb);
        const bool result = boxBox(ta, ea, tb, eb);
        /* Symmetric, and both forms agree */
        EXPECT_EQ(boxBox(tb, eb, ta, ea), result);
        EXPECT_EQ(boxBox(ta.translation(), ta.rotation().toMatrix(), ea, tb.translation(), tb.rotation().toMatrix(), eb), result);

        double stepA, stepB;
        const double lowest = std::min(edgesAgainst(a, b, stepA), edgesAgainst(b, a, stepB));
        const double tolerance = 1.0e-5*(ea.length() + eb.length() + ca.length());
        if(lowest < -tolerance) {
            ++overlapping;
            EXPECT_TRUE(result) << ta << ea << tb << eb;
        } else if(lowest > 0.5*std::max(stepA, stepB) + tolerance) {
            ++apart;
            EXPECT_FALSE(result) << ta << ea << tb << eb;
            faceAxesWrong += faceAxesOverlap(a, b);
        } else ++undecided;
        if(::testing::Test::HasFailure()) break;
    }
    EXPECT_GT(overlapping, 900);
    EXPECT_GT(apart, 2500);
    /* The edge axes matter: the face axes alone call a share of the separated pairs
       overlapping */
    EXPECT_GT(faceAxesWrong, 50);
}

TEST(IntersectionTest, boxBoxTouchingAndParallel) {
    const Vector3 e{1.0f, 1.0f, 1.0f};
    /* Face to face at exactly 2 apart: no strictly positive gap, so they overlap */
    EXPECT_TRUE(boxBox(DualQuaternion{}, e, DualQuaternion::translation({2.0f, 0.0f, 0.0f}), e));
    EXPECT_FALSE(boxBox(DualQuaternion{}, e, DualQuaternion::translation({2.01f, 0.0f, 0.0f}), e));
    /* Identical orientation: all parallel cross products are skipped, the face axes decide */
    const DualQuaternion turned = DualQuaternion::rotation(0.7f, Vector3{0.0f, 1.0f, 0.0f});
    EXPECT_TRUE(boxBox(turned, e, DualQuaternion::translation({0.0f, 1.9f, 0.0f})*turned, e));
    EXPECT_FALSE(boxBox(turned, e, DualQuaternion::translation({0.0f, 2.1f, 0.0f})*turned, e));
    /* Edge against edge: A's edge along z at (1, 1) faces B's edge along (-1, 1, 0), B being
       turned 45 degrees about z and then 45 degrees about that edge direction. Only their
       cross product (1, 1, 0) separates the boxes; every face axis sees overlapping
       projections */
    const float quarter = 0.7853982f;
    const Quaternion edgeOn = Quaternion::rotation(quarter, Vector3{-1.0f, 1.0f, 0.0f}.normalized())*Quaternion::rotation(quarter, Vector3{0.0f, 0.0f, 1.0f});
    for(const float gap: {0.05f, -0.05f}) {
        const Vector3 centre = Vector3{1.0f, 1.0f, 0.0f}*(2.0f + gap/std::sqrt(2.0f));
        EXPECT_EQ(boxBox(DualQuaternion{}, e, DualQuaternion::from(edgeOn, centre), e), gap < 0.0f);
        EXPECT_TRUE(faceAxesOverlap(modelBox({}, {}, e), modelBox(centre, edgeOn, e)));
    }
}

TEST(IntersectionTest, interval) {
    std::mt19937 rng{5};
    std::uniform_real_distribution<float> unit{-1.0f, 1.0f};
    for(int i = 0; i != 500; ++i) {
        const Vector3 e{logUniform(rng, 0.01f, 10.0f), logUniform(rng, 0.01f, 10.0f), logUniform(rng, 0.01f, 10.0f)};
        const Quaternion rotation = randomRotation(rng);
        const Vector3 centre = Vector3{unit(rng), unit(rng), unit(rng)}*10.0f;
        const Vector3 axis = randomUnit(rng)*logUniform(rng, 0.1f, 10.0f);
        double c[8][3];
        corners(modelBox(centre, rotation, e), c);
        const double l[3]{axis[0], axis[1], axis[2]};
        double low = std::numeric_limits<double>::infinity(), high = -low;
        for(const auto& corner: c) {
            low = std::min(low, dot3(corner, l));
            high = std::max(high, dot3(corner, l));
        }
        const Range1D projection = interval(DualQuaternion::from(rotation, centre), e, axis);
        const double tolerance = 1.0e-5*(centre.length() + e.length())*axis.length();
        EXPECT_NEAR(projection.min(), low, tolerance);
        EXPECT_NEAR(projection.max(), high, tolerance);
    }
}

}}
