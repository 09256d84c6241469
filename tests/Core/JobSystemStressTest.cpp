#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "QuillmarshEngine/JobSystem.h"

namespace QuillmarshEngine { namespace {

/* Several threads dispatch jobs with random dependencies, failures, repeats, main-thread jobs and
   cancellations while the workers and the main thread run them. Every outcome is then checked
   against what the plans imply. Dependencies are picked among the newest 32 dispatches under a
   test-side lock, so every named dependency is still in the ring when its dependant is queued
   (the ring always keeps its newest 64 entries) and the expected outcome does not depend on
   timing. */

struct Plan {
    int repeats;
    bool fails;
    bool ignoreFailures;
    bool mainThread;
    /* Only these are cancelled by the test; they always end with Failed, so that whether the
       cancellation arrives before, during or after their run, they never succeed */
    bool cancellable;
    int dependencyCount;
    int dependencies[3];
};

struct Record {
    std::atomic<int> calls{0};
    std::atomic<std::uint64_t> firstStart{0};
    std::atomic<std::uint64_t> lastEnd{0};
    std::atomic<int> wrongThread{0};
};

struct Recent {
    int job;
    int id;
};

void runStress(const int workerThreads, const int dispatchers, const int jobsPerDispatcher) {
    const int jobCount = dispatchers*jobsPerDispatcher;
    std::vector<Plan> plans(std::size_t(jobCount), Plan{});
    std::vector<Record> records(static_cast<std::size_t>(jobCount));
    std::atomic<std::uint64_t> sequence{1};

    JobSystem jobs{workerThreads};

    std::mutex dispatchMutex;
    int nextJob = 0;
    std::vector<Recent> recent;
    std::atomic<int> dispatchersDone{0};

    auto dispatcher = [&](const unsigned seed) {
        std::mt19937 random{seed};
        auto chance = [&](int percent) { return int(random()%100) < percent; };
        for(int k = 0; k != jobsPerDispatcher; ) {
            std::unique_lock<std::mutex> lock{dispatchMutex};
            Plan plan{};
            plan.repeats = chance(10) ? 1 + int(random()%3) : 0;
            plan.fails = chance(4);
            plan.ignoreFailures = chance(25);
            plan.mainThread = chance(10);
            plan.cancellable = chance(4);
            plan.dependencyCount = recent.empty() ? 0 : int(random()%4);
            std::vector<int> ids;
            for(int i = 0; i != plan.dependencyCount; ++i) {
                const Recent& r = recent[random()%recent.size()];
                plan.dependencies[i] = r.job;
                ids.push_back(r.id);
            }

            const int job = nextJob;
            plans[std::size_t(job)] = plan;
            Record* const record = &records[std::size_t(job)];
            const Plan* const planned = &plans[std::size_t(job)];
            std::atomic<std::uint64_t>* const seq = &sequence;
            const int id = jobs.dispatch([record, planned, seq]() {
                const std::uint64_t start = (*seq)++;
                const int call = record->calls++;
                if(call == 0) record->firstStart = start;
                if(planned->mainThread && JobSystem::workerId() != 0) ++record->wrongThread;
                record->lastEnd = (*seq)++;
                if(call < planned->repeats) return JobResult::Repeat;
                return planned->fails || planned->cancellable ? JobResult::Failed : JobResult::Succeeded;
            }, std::span<const int>{ids},
                (plan.mainThread ? JobFlags{JobFlag::MainThread} : JobFlags{})|
                (plan.ignoreFailures ? JobFlags{JobFlag::IgnoreFailedDependencies} : JobFlags{}));

            /* Ring full: let the main thread retire entries and try again */
            if(id == -1) {
                lock.unlock();
                std::this_thread::yield();
                continue;
            }

            ++nextJob;
            ++k;
            recent.push_back({job, id});
            if(recent.size() > 32) recent.erase(recent.begin());

            if(chance(10)) {
                const Recent& r = recent[random()%recent.size()];
                if(plans[std::size_t(r.job)].cancellable) jobs.cancel(r.id);
            }
        }
        ++dispatchersDone;
    };

    std::vector<std::thread> threads;
    for(int i = 0; i != dispatchers; ++i) threads.emplace_back(dispatcher, 1234u + unsigned(i));

    /* The main thread pumps like a host until everything is dispatched and done */
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds{60};
    while(dispatchersDone != dispatchers || !jobs.idle()) {
        if(!jobs.update()) std::this_thread::yield();
        ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "the jobs did not complete";
    }
    for(std::thread& thread: threads) thread.join();

    EXPECT_EQ(nextJob, jobCount);
    EXPECT_EQ(jobs.queuedJobCount(), 0);
    EXPECT_EQ(jobs.queuedNonMainJobCount(), 0);
    EXPECT_EQ(jobs.runningJobCount(), 0);
    EXPECT_TRUE(jobs.idle());

    /* Dependencies always precede their dependants, so one pass in dispatch order suffices */
    std::vector<bool> succeeded(static_cast<std::size_t>(jobCount));
    int ran = 0, cancelled = 0, failedOrCancelledDependants = 0;
    for(int j = 0; j != jobCount; ++j) {
        SCOPED_TRACE(j);
        const Plan& plan = plans[std::size_t(j)];
        const Record& record = records[std::size_t(j)];
        bool dependenciesSucceeded = true;
        for(int i = 0; i != plan.dependencyCount; ++i)
            dependenciesSucceeded = dependenciesSucceeded && succeeded[std::size_t(plan.dependencies[i])];
        const bool mayRun = plan.ignoreFailures || dependenciesSucceeded;
        if(!dependenciesSucceeded) ++failedOrCancelledDependants;

        const int calls = record.calls;
        if(plan.cancellable) {
            ASSERT_LE(calls, plan.repeats + 1);
            if(calls) { ASSERT_TRUE(mayRun); }
        } else {
            /* Every job runs once, plus its repeats, unless a dependency failed */
            ASSERT_EQ(calls, mayRun ? plan.repeats + 1 : 0);
        }
        succeeded[std::size_t(j)] = !plan.cancellable && !plan.fails && mayRun;

        if(calls) {
            ++ran;
            ASSERT_EQ(record.wrongThread, 0);
            /* Never before its dependencies finished */
            for(int i = 0; i != plan.dependencyCount; ++i) {
                const Record& dependency = records[std::size_t(plan.dependencies[i])];
                if(dependency.calls) { ASSERT_LT(dependency.lastEnd, record.firstStart) << "dependency " << plan.dependencies[i]; }
            }
        } else ++cancelled;
    }
    /* The random plans exercise both outcomes */
    EXPECT_GT(ran, jobCount/4);
    EXPECT_GT(cancelled, 0);
    EXPECT_GT(failedOrCancelledDependants, 0);
}

TEST(JobSystemStressTest, randomGraphs) {
    runStress(3, 3, 5000);
}

TEST(JobSystemStressTest, randomGraphsOneWorker) {
    runStress(1, 2, 2500);
}

/* A worker between its check for queued jobs and its sleep must not miss a dispatch: with no
   pumping on this thread, every job must be taken by a worker */
TEST(JobSystemStressTest, noLostWakeUp) {
    JobSystem jobs{2};
    std::atomic<int> done{0};
    for(int i = 0; i != 5000; ++i) {
        jobs.dispatch([&] { ++done; });
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds{10};
        while(done != i + 1) {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "job " << i << " was never taken";
            std::this_thread::yield();
        }
        /* Retire without running anything on this thread */
        jobs.update(true);
    }
    /* Repeating jobs wake a worker too */
    std::atomic<int> calls{0};
    for(int i = 0; i != 500; ++i) {
        calls = 0;
        jobs.dispatch([&] { return ++calls == 3 ? JobResult::Succeeded : JobResult::Repeat; });
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds{10};
        while(!jobs.idle()) {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "repeat " << i << " was never taken again";
            std::this_thread::yield();
        }
        ASSERT_EQ(calls, 3);
        jobs.update(true);
    }
}

}}
