/* Animation records and sampling: encoding and decoding throughput of plain and compressed
   records in keys per second, their size ratio, and the cost of sampling 100 tracks at 1,000
   points of one playthrough with the runtime layout and its cache, beside a plain loop that
   finds and interpolates the same keys by binary search on every sample */

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <random>
#include <string>

#include "QuillmarshEngine/Animation/Offline/AnimationBuilder.h"
#include "QuillmarshEngine/Animation/SamplingJob.h"
#include "QuillmarshEngine/Data/AnimationData.h"

using namespace QuillmarshEngine;

namespace {

constexpr int TrackCount = 100;
constexpr int SampleCount = 1000;
constexpr float Duration = 10.0f;

/* 100 tracks, each channel with 20 to 60 keys at jittered times over ten seconds */
const Animation::Offline::RawAnimation& rawAnimation() {
    static const Animation::Offline::RawAnimation raw = [] {
        std::mt19937 rng{1};
        std::uniform_real_distribution<float> unit{0.0f, 1.0f};
        const auto times = [&] {
            const int count = 20 + int(rng() % 41);
            std::vector<float> out;
            for(int i = 0; i != count; ++i) out.push_back(std::min(Duration, (float(i) + 0.8f*unit(rng))*Duration/float(count - 1)));
            out.back() = Duration;
            return out;
        };
        Animation::Offline::RawAnimation out;
        out.duration = Duration;
        out.tracks.resize(TrackCount);
        for(Animation::Offline::JointTrack& track: out.tracks) {
            for(const float time: times()) track.translations.push_back({time, Vector3{unit(rng), unit(rng), unit(rng)}*4.0f});
            for(const float time: times()) track.rotations.push_back({time, Quaternion{{unit(rng) - 0.5f, unit(rng) - 0.5f, unit(rng) - 0.5f}, 1.0f}.normalized()});
            for(const float time: times()) track.scales.push_back({time, Vector3{0.5f + unit(rng), 0.5f + unit(rng), 0.5f + unit(rng)}});
        }
        return out;
    }();
    return raw;
}

double keyCount() {
    std::size_t keys = 0;
    for(const Animation::Offline::JointTrack& track: rawAnimation().tracks)
        keys += track.translations.size() + track.rotations.size() + track.scales.size();
    return double(keys);
}

void encode(benchmark::State& state) {
    const bool compressed = state.range(0);
    for(auto _: state) {
        std::vector<char> record = Data::createAnimationData(rawAnimation(), {}, StringArrayView{}, compressed);
        benchmark::DoNotOptimize(record.data());
    }
    state.counters["keys/s"] = benchmark::Counter(keyCount()*double(state.iterations()), benchmark::Counter::kIsRate);
    state.counters["bytes"] = double(Data::createAnimationData(rawAnimation(), {}, StringArrayView{}, compressed).size());
}
BENCHMARK(encode)->Arg(0)->Arg(1)->ArgNames({"compressed"})->Unit(benchmark::kMicrosecond);

void decode(benchmark::State& state) {
    const std::vector<char> record = Data::createAnimationData(rawAnimation(), {}, StringArrayView{}, state.range(0));
    const Data::AnimationData view{record};
    for(auto _: state) {
        Animation::Offline::RawAnimation raw = view.rawAnimation();
        benchmark::DoNotOptimize(raw.tracks.data());
    }
    state.counters["keys/s"] = benchmark::Counter(keyCount()*double(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(decode)->Arg(0)->Arg(1)->ArgNames({"compressed"})->Unit(benchmark::kMicrosecond);

void sampleRuntime(benchmark::State& state) {
    const std::unique_ptr<Animation::Animation> animation = Animation::Offline::AnimationBuilder{}(rawAnimation());
    Animation::SamplingJob::Context context{TrackCount};
    std::vector<Animation::SoaTransform> output(std::size_t(animation->numSoaTracks()));
    Animation::SamplingJob job;
    job.animation = animation.get();
    job.context = &context;
    job.output = output;
    for(auto _: state) {
        for(int s = 0; s != SampleCount; ++s) {
            job.ratio = float(s)/float(SampleCount - 1);
            job.Run();
            benchmark::ClobberMemory();
        }
    }
    state.counters["ns/track/sample"] = benchmark::Counter(double(state.iterations())*TrackCount*SampleCount, benchmark::Counter::kIsRate|benchmark::Counter::kInvert);
}
BENCHMARK(sampleRuntime)->Unit(benchmark::kMicrosecond);

/* The peer: per track and channel the key times and values of the raw animation, searched for
   every sample and interpolated the same way (lerp, nlerp), holding the ends */
template<class Key> struct Channel {
    std::vector<float> times;
    std::vector<typename Key::Value> values;
};

template<class Key> Channel<Key> channelOf(const std::vector<Key>& keys) {
    Channel<Key> out;
    for(const Key& key: keys) {
        out.times.push_back(key.time);
        out.values.push_back(key.value);
    }
    return out;
}

template<class Key, class F> typename Key::Value sampleChannel(const Channel<Key>& channel, float time, F interpolate) {
    const std::size_t right = std::size_t(std::upper_bound(channel.times.begin(), channel.times.end(), time) - channel.times.begin());
    if(right == 0) return channel.values.front();
    if(right == channel.times.size()) return channel.values.back();
    const float alpha = (time - channel.times[right - 1])/(channel.times[right] - channel.times[right - 1]);
    return interpolate(channel.values[right - 1], channel.values[right], alpha);
}

void samplePlainLoop(benchmark::State& state) {
    struct Track {
        Channel<Animation::Offline::TranslationKey> translations;
        Channel<Animation::Offline::RotationKey> rotations;
        Channel<Animation::Offline::ScaleKey> scales;
    };
    std::vector<Track> tracks;
    for(const Animation::Offline::JointTrack& track: rawAnimation().tracks)
        tracks.push_back({channelOf(track.translations), channelOf(track.rotations), channelOf(track.scales)});
    const auto lerp = [](const Vector3& a, const Vector3& b, float alpha) { return a + (b - a)*alpha; };
    const auto nlerp = [](const Quaternion& a, const Quaternion& b, float alpha) {
        const Quaternion q = a + (b - a)*alpha;
        return q*(1.0f/std::sqrt(q.dot()));
    };
    std::vector<Animation::Transform> output(TrackCount);
    for(auto _: state) {
        for(int s = 0; s != SampleCount; ++s) {
            const float time = float(s)/float(SampleCount - 1)*Duration;
            for(std::size_t t = 0; t != tracks.size(); ++t) {
                output[t].translation = sampleChannel(tracks[t].translations, time, lerp);
                output[t].rotation = sampleChannel(tracks[t].rotations, time, nlerp);
                output[t].scale = sampleChannel(tracks[t].scales, time, lerp);
            }
            benchmark::ClobberMemory();
        }
    }
    state.counters["ns/track/sample"] = benchmark::Counter(double(state.iterations())*TrackCount*SampleCount, benchmark::Counter::kIsRate|benchmark::Counter::kInvert);
}
BENCHMARK(samplePlainLoop)->Unit(benchmark::kMicrosecond);

/* Keeps the counters so the ratios can be printed at the end */
class RatioReporter: public benchmark::ConsoleReporter {
    public:
        void ReportRuns(const std::vector<Run>& runs) override {
            for(const Run& run: runs)
                for(const auto& counter: run.counters) counters[run.benchmark_name() + " " + counter.first] = counter.second;
            ConsoleReporter::ReportRuns(runs);
        }
        double get(const std::string& name) const {
            const auto found = counters.find(name);
            return found == counters.end() ? 0.0 : double(found->second);
        }
        std::map<std::string, benchmark::Counter> counters;
};

}

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::printf("%d tracks, %.0f keys\n", TrackCount, keyCount());
    for(const char* kind: {"0", "1"}) {
        const double encoded = reporter.get(std::string{"encode/compressed:"} + kind + " keys/s");
        const double decoded = reporter.get(std::string{"decode/compressed:"} + kind + " keys/s");
        if(encoded || decoded)
            std::printf("%s records: encode %.1f M keys/s, decode %.1f M keys/s\n", *kind == '1' ? "compressed" : "plain", encoded/1e6, decoded/1e6);
    }
    const double plainBytes = reporter.get("encode/compressed:0 bytes"), compressedBytes = reporter.get("encode/compressed:1 bytes");
    if(plainBytes && compressedBytes)
        std::printf("record size: plain %.0f bytes, compressed %.0f bytes, ratio %.3f\n", plainBytes, compressedBytes, compressedBytes/plainBytes);
    const double runtime = reporter.get("sampleRuntime ns/track/sample"), plain = reporter.get("samplePlainLoop ns/track/sample");
    if(runtime && plain)
        std::printf("sampling %d tracks x %d samples: runtime layout %.2f ns per track per sample, plain loop %.2f ns, plain/runtime %.2fx\n",
            TrackCount, SampleCount, runtime*1e9, plain*1e9, plain/runtime);
    benchmark::Shutdown();
}
