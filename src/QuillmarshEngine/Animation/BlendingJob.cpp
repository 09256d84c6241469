#include "QuillmarshEngine/Animation/BlendingJob.h"

#include <algorithm>
#include <cmath>

#include "QuillmarshEngine/Animation/Animation.h"

namespace QuillmarshEngine { namespace Animation {

namespace {

typedef float Lanes[4];

bool isLayerValid(const BlendingJob::Layer& layer, const std::size_t size) {
    return layer.transform.size() >= size && (layer.jointWeights.empty() || layer.jointWeights.size() >= size);
}

void weightsOf(const BlendingJob::Layer& layer, const std::size_t soa, Lanes& weights) {
    for(std::size_t i = 0; i != 4; ++i)
        weights[i] = layer.jointWeights.empty() ? layer.weight : layer.weight*std::max(0.0f, layer.jointWeights[soa][i]);
}

/* Calls f(in, out, weights) for the ten groups of four floats of a pose, the four of the rotation
   with `rotationWeights` */
template<class F> void forEachGroup(const SoaTransform& in, SoaTransform& out, const Lanes& weights, const Lanes& rotationWeights, F f) {
    f(in.translation.x, out.translation.x, weights);
    f(in.translation.y, out.translation.y, weights);
    f(in.translation.z, out.translation.z, weights);
    f(in.rotation.x, out.rotation.x, rotationWeights);
    f(in.rotation.y, out.rotation.y, rotationWeights);
    f(in.rotation.z, out.rotation.z, rotationWeights);
    f(in.rotation.w, out.rotation.w, rotationWeights);
    f(in.scale.x, out.scale.x, weights);
    f(in.scale.y, out.scale.y, weights);
    f(in.scale.z, out.scale.z, weights);
}

/* The first contributing pass sets the output */
void blendFirst(const SoaTransform& in, const Lanes& w, SoaTransform& out) {
    forEachGroup(in, out, w, w, [](const float (&a)[4], float (&o)[4], const Lanes& weights) {
        for(std::size_t i = 0; i != 4; ++i) o[i] = a[i]*weights[i];
    });
}

/* Later passes add, a rotation opposed to the sum so far negated first */
void blendNext(const SoaTransform& in, const Lanes& w, SoaTransform& out) {
    Lanes rw;
    for(std::size_t i = 0; i != 4; ++i) {
        const float dot = out.rotation.x[i]*in.rotation.x[i] + out.rotation.y[i]*in.rotation.y[i] +
                          out.rotation.z[i]*in.rotation.z[i] + out.rotation.w[i]*in.rotation.w[i];
        rw[i] = dot < 0.0f ? -w[i] : w[i];
    }
    forEachGroup(in, out, w, rw, [](const float (&a)[4], float (&o)[4], const Lanes& weights) {
        for(std::size_t i = 0; i != 4; ++i) o[i] = o[i] + a[i]*weights[i];
    });
}

void normalize(SoaTransform& out, const Lanes& total) {
    for(std::size_t i = 0; i != 4; ++i) {
        const float inverse = 1.0f/total[i];
        out.translation.x[i] *= inverse;
        out.translation.y[i] *= inverse;
        out.translation.z[i] *= inverse;
        out.scale.x[i] *= inverse;
        out.scale.y[i] *= inverse;
        out.scale.z[i] *= inverse;
        out.rotation.setLane(i, out.rotation.lane(i).normalized());
    }
}

/* Adds (sign 1) or subtracts (sign -1) a layer of weights |w| */
void addLayer(const SoaTransform& in, const Lanes& w, const float sign, SoaTransform& out) {
    for(std::size_t i = 0; i != 4; ++i) {
        const float weight = w[i];
        out.translation.setLane(i, out.translation.lane(i) + sign*weight*in.translation.lane(i));

        /* From the identity toward the layer's rotation, taken with w >= 0 */
        Quaternion q = in.rotation.lane(i);
        if(std::signbit(q.w())) q = -q;
        const Quaternion delta = Quaternion{q.vector()*weight, (q.w() - 1.0f)*weight + 1.0f}.normalized();
        out.rotation.setLane(i, out.rotation.lane(i)*(sign > 0.0f ? delta : delta.conjugated()));

        const Vector3 factor = in.scale.lane(i)*weight + Vector3{1.0f - weight};
        const Vector3 s = out.scale.lane(i);
        out.scale.setLane(i, sign > 0.0f ? s*factor : s/factor);
    }
}

}

bool BlendingJob::Validate() const {
    if(!(threshold > 0.0f)) return false;
    const std::size_t size = restPose.size();
    if(!size || size > std::size_t(MaxSoaTracks) || output.size() < size) return false;
    for(const Layer& layer: layers) if(!isLayerValid(layer, size)) return false;
    for(const Layer& layer: additiveLayers) if(!isLayerValid(layer, size)) return false;
    return true;
}

bool BlendingJob::Run() const {
    if(!Validate()) return false;
    const std::size_t size = restPose.size();

    /* Per-track sums of the weights; the rest pose is at most MaxSoaTracks groups */
    Lanes accumulated[MaxSoaTracks];
    float total = 0.0f;
    int passes = 0, maskedPasses = 0;
    for(const Layer& layer: layers) {
        if(!(layer.weight > 0.0f)) continue;
        total += layer.weight;
        if(!layer.jointWeights.empty()) ++maskedPasses;
        for(std::size_t soa = 0; soa != size; ++soa) {
            Lanes w;
            weightsOf(layer, soa, w);
            if(!passes) {
                std::copy_n(w, 4, accumulated[soa]);
                blendFirst(layer.transform[soa], w, output[soa]);
            } else {
                for(std::size_t i = 0; i != 4; ++i) accumulated[soa][i] += w[i];
                blendNext(layer.transform[soa], w, output[soa]);
            }
        }
        ++passes;
    }

    if(!maskedPasses) {
        const float restWeight = threshold - total;
        if(restWeight > 0.0f) {
            if(!passes) {
                std::copy_n(restPose.begin(), size, output.begin());
                total = 1.0f;
            } else {
                const Lanes w{restWeight, restWeight, restWeight, restWeight};
                for(std::size_t soa = 0; soa != size; ++soa) blendNext(restPose[soa], w, output[soa]);
                total = threshold;
            }
        }
        const Lanes totals{total, total, total, total};
        for(std::size_t soa = 0; soa != size; ++soa) normalize(output[soa], totals);
    } else {
        for(std::size_t soa = 0; soa != size; ++soa) {
            Lanes w;
            for(std::size_t i = 0; i != 4; ++i) {
                w[i] = std::max(0.0f, threshold - accumulated[soa][i]);
                accumulated[soa][i] = std::max(threshold, accumulated[soa][i]);
            }
            blendNext(restPose[soa], w, output[soa]);
            normalize(output[soa], accumulated[soa]);
        }
    }

    for(const Layer& layer: additiveLayers) {
        if(layer.weight == 0.0f) continue;
        const float sign = layer.weight > 0.0f ? 1.0f : -1.0f;
        for(std::size_t soa = 0; soa != size; ++soa) {
            Lanes w;
            for(std::size_t i = 0; i != 4; ++i)
                w[i] = std::abs(layer.weight)*(layer.jointWeights.empty() ? 1.0f : std::max(0.0f, layer.jointWeights[soa][i]));
            addLayer(layer.transform[soa], w, sign, output[soa]);
        }
    }
    return true;
}

}}
