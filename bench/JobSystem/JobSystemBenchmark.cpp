/* End-to-end cost per trivial job: dispatch from the main thread, run on the workers and the
   main thread, wait for idle. The peer is oneTBB's task_group in an arena of the same number of
   threads (workers plus the waiting main thread), on the same jobs in the same process. The
   ratio printed at the end is this library's time over the peer's. */

#include <atomic>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>
#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/task_arena.h>
#include <oneapi/tbb/task_group.h>

#include "QuillmarshEngine/JobSystem.h"

namespace {

using namespace QuillmarshEngine;

constexpr int JobCount = 100000;
constexpr int FanInCount = 1000;
constexpr int FanInDepth = 8;

/* The ring holds at most 4095 entries and only update() retires them, so the host dispatches in
   waves: when the ring is full it pumps update() (running a job itself) and tries again. When the
   pump found nothing to run, the host yields, as the job system's own waiting functions do: the
   ring is full of jobs the workers are running, and the oldest of them, which has to finish
   before anything is retired, may be on a worker waiting for the very core the host would spin
   on. */
int dispatchPumping(JobSystem& jobs, JobSystem::Job&& job, std::span<const int> dependencies = {}) {
    for(;;) {
        const int id = jobs.dispatchFunc(std::move(job), dependencies);
        if(id != -1) return id;
        if(!jobs.update()) std::this_thread::yield();
    }
}

void quillmarshTrivial(benchmark::State& state) {
    const int workers = int(state.range(0));
    std::unique_ptr<JobSystem> jobs;
    {
        Debug silence{nullptr};
        jobs.reset(new JobSystem{workers});
    }
    for(auto _: state) {
        for(int i = 0; i != JobCount; ++i)
            dispatchPumping(*jobs, [](JobSystem&, int id) {
                benchmark::DoNotOptimize(id);
                return JobResult::Succeeded;
            });
        jobs->waitForIdle();
    }
    state.SetItemsProcessed(state.iterations()*JobCount);
}

void tbbTrivial(benchmark::State& state) {
    const int workers = int(state.range(0));
    /* Without this oneTBB caps its workers at the core count minus one */
    tbb::global_control parallelism{tbb::global_control::max_allowed_parallelism, std::size_t(workers + 1)};
    tbb::task_arena arena{workers + 1};
    for(auto _: state) {
        arena.execute([&] {
            tbb::task_group group;
            for(int i = 0; i != JobCount; ++i)
                group.run([i] { benchmark::DoNotOptimize(i); });
            group.wait();
        });
    }
    state.SetItemsProcessed(state.iterations()*JobCount);
}

/* Each job depends on the previous eight */
void quillmarshFanIn(benchmark::State& state) {
    const int workers = int(state.range(0));
    std::unique_ptr<JobSystem> jobs;
    {
        Debug silence{nullptr};
        jobs.reset(new JobSystem{workers});
    }
    std::vector<int> ids(FanInCount);
    for(auto _: state) {
        for(int i = 0; i != FanInCount; ++i) {
            const int first = i < FanInDepth ? 0 : i - FanInDepth;
            ids[std::size_t(i)] = dispatchPumping(*jobs, [](JobSystem&, int id) {
                benchmark::DoNotOptimize(id);
                return JobResult::Succeeded;
            }, std::span<const int>{ids.data() + first, std::size_t(i - first)});
        }
        jobs->waitForIdle();
    }
    state.SetItemsProcessed(state.iterations()*FanInCount);
}

/* The same graph on task_group: a job is spawned when the last of its dependencies finishes */
void tbbFanIn(benchmark::State& state) {
    const int workers = int(state.range(0));
    tbb::global_control parallelism{tbb::global_control::max_allowed_parallelism, std::size_t(workers + 1)};
    tbb::task_arena arena{workers + 1};
    std::unique_ptr<std::atomic<int>[]> pending{new std::atomic<int>[FanInCount]};
    for(auto _: state) {
        for(int i = 0; i != FanInCount; ++i) pending[i] = i < FanInDepth ? i : FanInDepth;
        arena.execute([&] {
            tbb::task_group group;
            struct Run {
                tbb::task_group& group;
                std::atomic<int>* pending;
                int i;
                void operator()() const {
                    benchmark::DoNotOptimize(i);
                    for(int j = i + 1; j <= i + FanInDepth && j < FanInCount; ++j)
                        if(--pending[j] == 0) group.run(Run{group, pending, j});
                }
            };
            group.run(Run{group, pending.get(), 0});
            group.wait();
        });
    }
    state.SetItemsProcessed(state.iterations()*FanInCount);
}

/* Both sides run in several repetitions, interleaved at random (see main()), and the ratio takes
   the best repetition of each: on a machine shared with other work the best run is the one least
   disturbed by it */
constexpr int Repetitions = 5;
BENCHMARK(quillmarshTrivial)->Arg(1)->Arg(2)->UseRealTime()->Unit(benchmark::kMillisecond)->MinTime(0.2)->Repetitions(Repetitions);
BENCHMARK(tbbTrivial)->Arg(1)->Arg(2)->UseRealTime()->Unit(benchmark::kMillisecond)->MinTime(0.2)->Repetitions(Repetitions);
BENCHMARK(quillmarshFanIn)->Arg(1)->Arg(2)->UseRealTime()->Unit(benchmark::kMicrosecond)->MinTime(0.2)->Repetitions(Repetitions);
BENCHMARK(tbbFanIn)->Arg(1)->Arg(2)->UseRealTime()->Unit(benchmark::kMicrosecond)->MinTime(0.2)->Repetitions(Repetitions);

/* Keeps the best per-iteration real time of every benchmark over its repetitions */
class RatioReporter: public benchmark::ConsoleReporter {
    public:
        void ReportRuns(const std::vector<Run>& runs) override {
            for(const Run& run: runs) {
                if(run.run_type != Run::RT_Iteration || run.error_occurred) continue;
                const std::string name = run.run_name.function_name + "/" + run.run_name.args;
                const double time = run.GetAdjustedRealTime()*timeUnitToNanoseconds(run.time_unit);
                const auto found = times.find(name);
                if(found == times.end() || time < found->second) times[name] = time;
            }
            ConsoleReporter::ReportRuns(runs);
        }

        std::map<std::string, double> times;

    private:
        static double timeUnitToNanoseconds(benchmark::TimeUnit unit) {
            switch(unit) {
                case benchmark::kNanosecond: return 1.0;
                case benchmark::kMicrosecond: return 1e3;
                case benchmark::kMillisecond: return 1e6;
                case benchmark::kSecond: return 1e9;
            }
            return 1.0;
        }
};

void printRatio(const RatioReporter& reporter, const char* what, const std::string& ours, const std::string& peer, int jobs) {
    const auto a = reporter.times.find(ours), b = reporter.times.find(peer);
    if(a == reporter.times.end() || b == reporter.times.end()) return;
    std::printf("%-36s %9.1f ns/job  task_group %9.1f ns/job  ratio %.2f\n", what,
        a->second/jobs, b->second/jobs, a->second/b->second);
}

}

int main(int argc, char** argv) {
    /* Interleave the repetitions of both sides unless asked otherwise */
    std::vector<char*> arguments{argv, argv + argc};
    char interleave[] = "--benchmark_enable_random_interleaving=true";
    arguments.insert(arguments.begin() + 1, interleave);
    argc = int(arguments.size());
    argv = arguments.data();
    benchmark::Initialize(&argc, argv);
    if(benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    std::printf("\nJobSystem / oneTBB task_group, same jobs, same process, best of %d interleaved repetitions:\n", Repetitions);
    for(const char* workers: {"1", "2"}) {
        const std::string w = workers;
        printRatio(reporter, ("100000 trivial jobs, " + w + " worker(s)").c_str(),
            "quillmarshTrivial/" + w, "tbbTrivial/" + w, JobCount);
        printRatio(reporter, ("fan-in 1000 x 8 deps, " + w + " worker(s)").c_str(),
            "quillmarshFanIn/" + w, "tbbFanIn/" + w, FanInCount);
    }
    return 0;
}
