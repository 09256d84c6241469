/* The demo's animation part: a five-segment arm in a scene of its own, driven by the animation
   manager from records that went through the asset format, checked against the keys */

#include "AnimationDemo.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <vector>

#include "QuillmarshEngine/Animation/Offline/RawAnimation.h"
#include "QuillmarshEngine/Data/AnimationData.h"
#include "QuillmarshEngine/Data/AnimationManager.h"
#include "QuillmarshEngine/Data/AssetValidation.h"
#include "QuillmarshEngine/Data/SceneGraph.h"
#include "QuillmarshEngine/Math/DualQuaternion.h"

using namespace QuillmarshEngine;

namespace {

constexpr std::uint32_t Segments = 5;
constexpr float Duration = 2.0f;
constexpr std::uint32_t KeyCount = 9;

/* Segment i swings about Z by amplitude*sin(2 pi t/duration + i*phase); a fixed offset of one
   unit along Y holds the segments apart */
double swing(std::uint32_t segment, double time, double amplitude, double phase) {
    return amplitude*std::sin(2.0*3.14159265358979*time/Duration + segment*phase);
}

Animation::Offline::RawAnimation arm(double amplitude, double phase) {
    Animation::Offline::RawAnimation raw;
    raw.duration = Duration;
    raw.tracks.resize(Segments);
    for(std::uint32_t s = 0; s != Segments; ++s) {
        raw.tracks[s].translations = {{0.0f, Vector3{0.0f, s ? 1.0f : 0.0f, 0.0f}}};
        for(std::uint32_t k = 0; k != KeyCount; ++k) {
            const float time = Duration*float(k)/float(KeyCount - 1);
            raw.tracks[s].rotations.push_back({time, Quaternion::rotation(float(swing(s, time, amplitude, phase)), Vector3::zAxis())});
        }
    }
    return raw;
}

/* The angle the keys give at `time`: normalized lerp of the two keys around it, in double */
double keyedAngle(std::uint32_t segment, double time, double amplitude, double phase) {
    const double step = Duration/(KeyCount - 1);
    const std::uint32_t left = std::min(std::uint32_t(time/step), KeyCount - 2);
    const double alpha = (time - left*step)/step;
    const double a = swing(segment, left*step, amplitude, phase)/2.0, b = swing(segment, (left + 1)*step, amplitude, phase)/2.0;
    const double z = std::sin(a)*(1.0 - alpha) + std::sin(b)*alpha, w = std::cos(a)*(1.0 - alpha) + std::cos(b)*alpha;
    return 2.0*std::atan2(z, w);
}

}

std::uint32_t animationDemo(const std::uint32_t frames) {
    /* Two animations and the targets of the arm written as records into one data file, the way
       an asset tool stores them, and read back through the validating reader */
    Data::SceneGraph graph{Segments + 1, 1, Segments + 1};
    Data::AnimationManager animations{1};
    graph.setComponentManager(0, "animation", &animations);
    std::vector<Data::Id> segments;
    for(std::uint32_t s = 0; s != Segments; ++s) segments.push_back(graph.addObject(s ? segments.back() : Data::Id{0}));

    std::vector<char> file;
    Data::appendHeaderData(file);
    const std::vector<char> slow = Data::createAnimationData(arm(0.6, 0.5), {}, StringArrayView{}, true);
    const std::vector<char> fast = Data::createAnimationData(arm(0.3, 1.2), {}, StringArrayView{}, true);
    const std::vector<char> plain = Data::createAnimationData(arm(0.6, 0.5), {}, StringArrayView{}, false);
    const std::vector<char> targets = Data::createAnimationTargetsData(0, segments);
    for(const std::vector<char>* record: {&slow, &fast}) {
        const std::span<const char> pieces[]{*record};
        Data::AssetChunk::create(Data::Magic::Animation, pieces, file);
    }
    const std::span<const char> targetPieces[]{targets};
    Data::AssetChunk::create(Data::Magic::AnimationTargets, targetPieces, file);
    Data::updateHeaderData(file);
    const Utils::Result<std::vector<Data::AssetChunkEntry>> chunks = Data::validateAssetData(file);
    if(!chunks) {
        std::printf("  animation:  the data file is refused: %s\n", chunks.error().c_str());
        return 1;
    }
    Data::Id component{};
    for(const Data::AssetChunkEntry& entry: *chunks) {
        const Data::AssetChunkView view{std::span<const char>{file}.subspan(std::size_t(entry.offset))};
        if(entry.magic == Data::Magic::Animation && !animations.addAnimation(view.as<Data::AnimationData>())) return 1;
        if(entry.magic == Data::Magic::AnimationTargets)
            component = animations.addAnimationComponent(Data::Id{0}, view.as<Data::AnimationTargetsData>());
    }
    graph.activate();
    animations.play(component);

    /* The second animation fades in over the second quarter of the frames and takes over */
    std::vector<double> updateTimes;
    updateTimes.reserve(frames);
    const std::uint32_t fadeStart = frames/4, fadeEnd = frames/2;
    for(std::uint32_t frame = 1; frame <= frames; ++frame) {
        if(frame == fadeStart) animations.crossFade(component, 1, animations.playbackTime(component));
        if(frame > fadeStart && frame < fadeEnd) animations.setBlendWeight(component, float(frame - fadeStart)/float(fadeEnd - fadeStart));
        if(frame == fadeEnd) animations.finishCrossFade(component);
        const auto start = std::chrono::steady_clock::now();
        animations.update(1.0/60.0);
        graph.computeAbsoluteTransformations();
        updateTimes.push_back(std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count());
    }
    std::sort(updateTimes.begin(), updateTimes.end());

    const bool faded = frames >= 4 && fadeEnd > fadeStart;
    const double amplitude = faded ? 0.3 : 0.6, phase = faded ? 1.2 : 0.5;
    const double time = animations.playbackTime(component);
    std::printf("  animation:  %u-segment arm, %u animations of %u tracks from compressed records (%zu bytes, plain %zu), cross-faded over frames %u to %u\n",
        Segments, std::uint32_t(animations.animationCount()), Segments, slow.size(), plain.size(), fadeStart, fadeEnd);
    std::printf("              update and sweep: median %.2f us per frame; at %.3f s into the %s animation:\n",
        updateTimes.empty() ? 0.0 : updateTimes[updateTimes.size()/2], time, faded ? "second" : "first");
    std::uint32_t failed = 0;
    for(std::uint32_t s = 0; s != Segments; ++s) {
        const Quaternion rotation = graph.localTransformation(graph.indexOf(segments[s])).rotation();
        const double actual = 2.0*std::atan2(double(rotation.z()), double(rotation.w()));
        const double expected = keyedAngle(s, time, amplitude, phase);
        /* Compressed rotations are within a few thousandths of a radian */
        const bool ok = std::abs(actual - expected) < 0.01;
        failed += !ok;
        std::printf("    segment %u  angle %8.4f rad, keys give %8.4f  %s\n", s, actual, expected, ok ? "ok" : "MISMATCH");
    }
    return failed;
}
