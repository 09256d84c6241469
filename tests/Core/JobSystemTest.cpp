#include <pthread.h>
#include <atomic>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "QuillmarshEngine/JobSystem.h"
#include "QuillmarshEngine/Logging.h"

namespace QuillmarshEngine { namespace {

constexpr JobFlags Done = JobFlag::Finished|JobFlag::Succeeded;
constexpr JobFlags CancelledDone = JobFlag::Finished|JobFlag::Cancelled;

/* Most cases drive the ring from this thread alone: a job system whose workers are never started
   runs jobs only inside update() and the waiting functions, in ring order */

TEST(JobSystemTest, construction) {
    std::ostringstream out;
    Debug redirect{&out};
    {
        JobSystem jobs{3};
        EXPECT_TRUE(JobSystem::threadsSupported());
        EXPECT_EQ(jobs.workerCount(), 4);
        EXPECT_EQ(JobSystem::workerId(), 0);
        EXPECT_EQ(JobSystem::currentJobId(), -1);
        EXPECT_TRUE(jobs.idle());
        char name[16];
        pthread_getname_np(pthread_self(), name, sizeof(name));
        EXPECT_STREQ(name, "Main");
    }
    EXPECT_EQ(out.str(), "Async jobs threads started with 3 threads\n");
}

TEST(JobSystemTest, ringFullAndReusedAfterUpdate) {
    JobSystem jobs{1, false};
    for(int i = 0; i != JobSystem::MaxInFlight; ++i)
        ASSERT_EQ(jobs.dispatch([] {}), i);
    EXPECT_EQ(jobs.queuedJobCount(), 4095);
    EXPECT_EQ(jobs.head(), 0);
    EXPECT_EQ(jobs.count(), 4095);

    /* The 4096th is refused and the callable stays with the caller */
    auto owned = std::make_shared<int>();
    JobSystem::Job job{[owned](JobSystem&, int) { return JobResult::Succeeded; }};
    EXPECT_EQ(jobs.dispatchFunc(std::move(job)), -1);
    EXPECT_TRUE(job);
    EXPECT_EQ(owned.use_count(), 2);
    EXPECT_EQ(jobs.queuedJobCount(), 4095);

    /* Running everything retires all but the newest 64 */
    jobs.waitForIdle();
    EXPECT_TRUE(jobs.idle());
    EXPECT_FALSE(jobs.isIndexValid(0));
    EXPECT_FALSE(jobs.isIndexValid(4030));
    EXPECT_TRUE(jobs.isIndexValid(4031));
    EXPECT_TRUE(jobs.isIndexValid(4094));
    EXPECT_EQ(jobs.jobFlags(4094), Done);
    EXPECT_EQ(jobs.head(), 4031);
    EXPECT_EQ(jobs.count(), 64);

    /* Dispatching works again, wrapping past 4095 to 0 */
    EXPECT_EQ(jobs.dispatchFunc(std::move(job)), 4095);
    EXPECT_FALSE(job);
    EXPECT_EQ(jobs.dispatch([] {}), 0);
    EXPECT_TRUE(jobs.isIndexValid(0));
    /* The occupied entries run from the head past 4095 to 0 */
    EXPECT_EQ(jobs.head(), 4031);
    EXPECT_EQ(jobs.count(), 66);
    for(int i = 1; i != 4095 - 64 - 1; ++i)
        ASSERT_EQ(jobs.dispatch([] {}), i);
    EXPECT_EQ(jobs.dispatch([] {}), -1);
    EXPECT_EQ(jobs.count(), 4095);
    jobs.waitForIdle();
    /* The finished callables were destroyed */
    EXPECT_EQ(owned.use_count(), 1);
}

TEST(JobSystemTest, invalidIds) {
    JobSystem jobs{1, false};
    jobs.dispatch([] {});
    EXPECT_TRUE(jobs.isIndexValid(0));
    EXPECT_FALSE(jobs.isIndexValid(1));
    EXPECT_FALSE(jobs.isIndexValid(-1));
    EXPECT_FALSE(jobs.isIndexValid(-4095));
    EXPECT_FALSE(jobs.isIndexValid(-4096));
    EXPECT_FALSE(jobs.isIndexValid(-4097));
    EXPECT_FALSE(jobs.isIndexValid(4096));
    /* Ignored */
    jobs.cancel(-1);
    jobs.cancel(4096);
    jobs.cancelUnsafe(-4096);
    EXPECT_EQ(jobs.queuedJobCount(), 1);
}

TEST(JobSystemTest, noRetirementUpTo64Entries) {
    JobSystem jobs{1, false};
    for(int i = 0; i != 64; ++i) jobs.dispatch([] {});
    jobs.waitForIdle();
    for(int i = 0; i != 10; ++i) jobs.update();
    for(int i = 0; i != 64; ++i) ASSERT_TRUE(jobs.isIndexValid(i)) << i;
    EXPECT_EQ(jobs.count(), 64);

    /* The 65th entry lets exactly the oldest one go */
    jobs.dispatch([] {});
    jobs.waitForIdle();
    jobs.update();
    EXPECT_FALSE(jobs.isIndexValid(0));
    EXPECT_TRUE(jobs.isIndexValid(1));
    EXPECT_TRUE(jobs.isIndexValid(64));
    EXPECT_EQ(jobs.head(), 1);
    EXPECT_EQ(jobs.count(), 64);
}

TEST(JobSystemTest, dependencies) {
    JobSystem jobs{1, false};
    std::vector<int> order;
    const int a = jobs.dispatch([&] { order.push_back(0); }, {}, JobFlag::MainThread);
    const int b = jobs.dispatch([&] { order.push_back(1); }, {a});
    const int c = jobs.dispatch([&] { order.push_back(2); }, {a, b});

    /* As a worker: b and c wait for the main-thread job a */
    EXPECT_FALSE(jobs.threadStep(1, false));
    EXPECT_EQ(jobs.jobFlags(b), JobFlags{});
    /* Main-only: a, then nothing */
    EXPECT_TRUE(jobs.update(true));
    EXPECT_FALSE(jobs.update(true));
    EXPECT_EQ(jobs.jobFlags(a), Done|JobFlag::MainThread);
    EXPECT_TRUE(jobs.threadStep(1, false));
    EXPECT_TRUE(jobs.update(false));
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2}));
    EXPECT_EQ(jobs.jobFlags(c), Done);
    EXPECT_TRUE(jobs.idle());
}

TEST(JobSystemTest, failedAndCancelledDependencies) {
    JobSystem jobs{1, false};
    std::vector<int> ran;
    const int failed = jobs.dispatch([&](JobSystem&, int) { ran.push_back(0); return JobResult::Failed; });
    const int cancelled = jobs.dispatch([&] { ran.push_back(1); });
    jobs.cancel(cancelled);
    EXPECT_EQ(jobs.jobFlags(cancelled), CancelledDone);

    const int onFailed = jobs.dispatch([&] { ran.push_back(2); }, {failed});
    const int onCancelled = jobs.dispatch([&] { ran.push_back(3); }, {cancelled});
    const int ignoring = jobs.dispatch([&] { ran.push_back(4); }, {failed, cancelled}, JobFlag::IgnoreFailedDependencies);
    /* Cancellation cascades through a dependant that got cancelled */
    const int transitive = jobs.dispatch([&] { ran.push_back(5); }, {onFailed});
    const int transitiveIgnoring = jobs.dispatch([&] { ran.push_back(6); }, {onCancelled}, JobFlag::IgnoreFailedDependencies);

    jobs.waitForIdle();
    EXPECT_EQ(ran, (std::vector<int>{0, 4, 6}));
    EXPECT_EQ(jobs.jobFlags(failed), JobFlags{JobFlag::Finished});
    EXPECT_EQ(jobs.jobFlags(onFailed), CancelledDone);
    EXPECT_EQ(jobs.jobFlags(onCancelled), CancelledDone);
    EXPECT_EQ(jobs.jobFlags(ignoring), Done|JobFlag::IgnoreFailedDependencies);
    EXPECT_EQ(jobs.jobFlags(transitive), CancelledDone);
    EXPECT_EQ(jobs.jobFlags(transitiveIgnoring), Done|JobFlag::IgnoreFailedDependencies);
    EXPECT_EQ(jobs.queuedJobCount(), 0);
}

TEST(JobSystemTest, satisfiedDependencyIds) {
    JobSystem jobs{1, false};
    for(int i = 0; i != 65; ++i) jobs.dispatch([] {});
    jobs.waitForIdle();
    ASSERT_FALSE(jobs.isIndexValid(0));

    /* Retired, negative, out of range and the job's own (then free) slot all count as satisfied */
    bool ran = false;
    const int id = jobs.dispatch([&] { ran = true; }, {0, -1, -4096, 4096, 123456, 65});
    EXPECT_EQ(id, 65);
    EXPECT_TRUE(jobs.update());
    EXPECT_TRUE(ran);
}

TEST(JobSystemTest, failureRetiredBeforeDependantIsExamined) {
    /* With more than 64 entries, the update() that runs a failing job retires it at once; its
       dependant, not examined yet, must still be cancelled */
    for(const bool cancelInstead: {false, true}) {
        SCOPED_TRACE(cancelInstead);
        JobSystem jobs{1, false};
        const int failing = jobs.dispatch([](JobSystem&, int) { return JobResult::Failed; });
        for(int i = 0; i != 64; ++i) jobs.dispatch([] {});
        bool ran = false;
        const int dependant = jobs.dispatch([&] { ran = true; }, {failing});
        if(cancelInstead) jobs.cancel(failing);

        jobs.update();
        EXPECT_FALSE(jobs.isIndexValid(failing));
        EXPECT_EQ(jobs.jobFlags(dependant), CancelledDone);
        jobs.waitForIdle();
        EXPECT_FALSE(ran);
        EXPECT_TRUE(jobs.idle());
    }
}

TEST(JobSystemTest, reusedSlotIsNotTheNamedDependency) {
    JobSystem jobs{1, false};
    std::atomic<bool> release{false};
    bool ran = false;
    const int a = jobs.dispatch([] {});
    jobs.dispatch([] {});
    const int blocker = jobs.dispatch([&] { return release ? JobResult::Succeeded : JobResult::Repeat; });
    const int dependant = jobs.dispatch([&] { ran = true; }, {a, blocker});
    for(int i = 0; i != 100; ++i) jobs.dispatch([] {});
    /* Runs everything but the dependant; retirement stops at the repeating blocker */
    for(int i = 0; i != 300; ++i) jobs.update();
    ASSERT_FALSE(jobs.isIndexValid(a));
    ASSERT_TRUE(jobs.isIndexValid(blocker));

    /* Fill the ring: its last entry reuses a's slot, with a main-thread job */
    int last = -1;
    for(int id; (id = jobs.dispatch([] {}, {}, JobFlag::MainThread)) != -1; ) last = id;
    ASSERT_EQ(last, a);

    /* Once the blocker finishes, a worker may run the dependant: the queued main-thread job in
       a's slot is not what it waits for */
    release = true;
    for(int i = 0; i != 10 && !ran; ++i) jobs.threadStep(1, false);
    EXPECT_TRUE(ran);
    EXPECT_EQ(jobs.jobFlags(dependant), Done);
}

TEST(JobSystemTest, mainThreadOnly) {
    JobSystem jobs{1, false};
    std::vector<int> order;
    jobs.dispatch([&] { order.push_back(0); });
    jobs.dispatch([&] { order.push_back(1); }, {}, JobFlag::MainThread);
    EXPECT_EQ(jobs.queuedJobCount(), 2);
    EXPECT_EQ(jobs.queuedNonMainJobCount(), 1);

    /* A worker skips the main-thread job, main-only mode skips the other one */
    EXPECT_TRUE(jobs.update(true));
    EXPECT_FALSE(jobs.update(true));
    EXPECT_EQ(order, (std::vector<int>{1}));
    jobs.dispatch([&] { order.push_back(2); }, {}, JobFlag::MainThread);
    EXPECT_TRUE(jobs.threadStep(1, false));
    EXPECT_EQ(jobs.queuedNonMainJobCount(), 0);
    EXPECT_EQ(order, (std::vector<int>{1, 0}));
    EXPECT_TRUE(jobs.update(false));
    EXPECT_EQ(order, (std::vector<int>{1, 0, 2}));
}

TEST(JobSystemTest, callerFlagsAreMasked) {
    JobSystem jobs{1, false};
    const int id = jobs.dispatch([] {}, {}, JobFlag::Running|JobFlag::Finished|JobFlag::Succeeded|JobFlag::Cancelled|JobFlag::IgnoreFailedDependencies);
    EXPECT_EQ(jobs.jobFlags(id), JobFlags{JobFlag::IgnoreFailedDependencies});
    EXPECT_EQ(jobs.queuedJobCount(), 1);
    EXPECT_TRUE(jobs.update());
    EXPECT_EQ(jobs.jobFlags(id), Done|JobFlag::IgnoreFailedDependencies);
}

TEST(JobSystemTest, repeat) {
    JobSystem jobs{1, false};
    int calls = 0;
    auto owned = std::make_shared<int>();
    const int repeating = jobs.dispatch([&, owned] { return ++calls == 3 ? JobResult::Succeeded : JobResult::Repeat; });
    int other = 0;
    jobs.dispatch([&] { ++other; });

    /* A repeating job goes back to the queue and does not starve the one behind it */
    EXPECT_TRUE(jobs.update());
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(jobs.jobFlags(repeating), JobFlags{});
    EXPECT_EQ(jobs.queuedJobCount(), 2);
    EXPECT_EQ(owned.use_count(), 2);
    EXPECT_TRUE(jobs.update());
    EXPECT_EQ(other, 1);
    jobs.waitForIdle();
    EXPECT_EQ(calls, 3);
    EXPECT_EQ(jobs.jobFlags(repeating), Done);
    EXPECT_EQ(owned.use_count(), 1);

    /* Cancelled while queued between two calls */
    int cancelledCalls = 0;
    const int cancelled = jobs.dispatch([&] { ++cancelledCalls; return JobResult::Repeat; });
    EXPECT_TRUE(jobs.update());
    jobs.cancel(cancelled);
    EXPECT_EQ(jobs.jobFlags(cancelled), CancelledDone);
    EXPECT_FALSE(jobs.update());
    EXPECT_EQ(cancelledCalls, 1);
    EXPECT_TRUE(jobs.idle());
}

TEST(JobSystemTest, cancelWhileRunning) {
    JobSystem jobs{1, false};
    auto owned = std::make_shared<int>();
    /* Cancelled from inside its own call: Repeat is ignored, Succeeded is not recorded */
    const int repeating = jobs.dispatch([owned](JobSystem& system, int id) {
        system.cancel(id);
        return JobResult::Repeat;
    });
    const int succeeding = jobs.dispatch([](JobSystem& system, int id) {
        system.cancel(id);
        EXPECT_EQ(system.jobFlags(id), JobFlag::Running|JobFlag::Cancelled);
        return JobResult::Succeeded;
    });
    bool dependantRan = false;
    jobs.dispatch([&] { dependantRan = true; }, {succeeding});
    jobs.waitForIdle();
    EXPECT_EQ(jobs.jobFlags(repeating), CancelledDone);
    EXPECT_EQ(jobs.jobFlags(succeeding), CancelledDone);
    EXPECT_FALSE(dependantRan);
    EXPECT_EQ(owned.use_count(), 1);
    EXPECT_TRUE(jobs.idle());
}

TEST(JobSystemTest, cancelAll) {
    JobSystem jobs{1, false};
    auto owned = std::make_shared<int>();
    int ran = 0;
    for(int i = 0; i != 5; ++i) jobs.dispatch([&ran, owned] { ++ran; });
    jobs.dispatch([&ran, owned] { ++ran; }, {}, JobFlag::MainThread);
    /* From inside a job: every other one is cancelled, the caller goes on */
    const int canceller = jobs.dispatch([&](JobSystem& system, int) {
        system.cancelAll();
        return JobResult::Succeeded;
    }, {}, JobFlag::MainThread);
    jobs.dispatch([&ran, owned] { ++ran; });
    EXPECT_EQ(owned.use_count(), 8);

    EXPECT_TRUE(jobs.update(true));
    EXPECT_TRUE(jobs.update(true));
    EXPECT_EQ(ran, 1);
    EXPECT_EQ(jobs.jobFlags(canceller), Done|JobFlag::MainThread);
    EXPECT_TRUE(jobs.idle());
    EXPECT_EQ(owned.use_count(), 1);
    for(int id: {0, 1, 2, 3, 4, 7}) EXPECT_EQ(jobs.jobFlags(id), CancelledDone) << id;
}

TEST(JobSystemTest, waitForIdleInsideJob) {
    for(const JobFlags flags: {JobFlags{}, JobFlags{JobFlag::MainThread}}) {
        SCOPED_TRACE(flags.value());
        JobSystem jobs{2};
        std::atomic<int> children{0};
        std::atomic<bool> sawAll{false}, jobIdKept{false}, sawOwnOnly{false};
        const int parent = jobs.dispatch([&](JobSystem& system, int id) {
            for(int i = 0; i != 50; ++i) system.dispatch([&] { ++children; });
            system.waitForIdle();
            sawAll = children == 50;
            jobIdKept = JobSystem::currentJobId() == id;
            sawOwnOnly = system.runningJobCount() == 1 && system.queuedJobCount() == 0;
            return JobResult::Succeeded;
        }, {}, flags);
        jobs.updateUntilTerminated(parent);
        EXPECT_TRUE(sawAll);
        EXPECT_TRUE(jobIdKept);
        EXPECT_TRUE(sawOwnOnly);
        EXPECT_EQ(jobs.jobFlags(parent), Done|flags);
        jobs.waitForIdle();
        EXPECT_EQ(JobSystem::currentJobId(), -1);
    }
}

TEST(JobSystemTest, nestedJobsRestoreJobId) {
    JobSystem jobs{1, false};
    std::vector<int> seen;
    const int outer = jobs.dispatch([&](JobSystem& system, int) {
        const int inner = system.dispatch([&] { seen.push_back(JobSystem::currentJobId()); });
        system.waitForIdle();
        seen.push_back(inner);
        seen.push_back(JobSystem::currentJobId());
        return JobResult::Succeeded;
    });
    jobs.waitForIdle();
    EXPECT_EQ(seen, (std::vector<int>{1, 1, outer}));
    EXPECT_EQ(JobSystem::currentJobId(), -1);
}

TEST(JobSystemTest, workersAreNamedAndLog) {
    struct Lines { std::mutex mutex; std::vector<std::string> lines; } lines;
    const std::pair<LogCallback, void*> previous = getLogCallback();
    setLogCallback([](std::string_view line, void* userData) {
        Lines& l = *static_cast<Lines*>(userData);
        std::lock_guard<std::mutex> lock{l.mutex};
        l.lines.emplace_back(line);
    }, &lines);
    testing::internal::CaptureStdout();
    {
        JobSystem jobs{2};
        std::string name;
        const int id = jobs.dispatch([&] {
            char buffer[16];
            pthread_getname_np(pthread_self(), buffer, sizeof(buffer));
            name = buffer;
            Debug{} << "from worker" << JobSystem::workerId();
        });
        jobs.waitForTermination(id);
        EXPECT_TRUE(name == "Worker 1" || name == "Worker 2") << name;
    }
    testing::internal::GetCapturedStdout();
    setLogCallback(previous.first, previous.second);
    ASSERT_EQ(lines.lines.size(), 1u);
    const std::string& line = lines.lines[0];
    EXPECT_TRUE(line.ends_with("] from worker 1") || line.ends_with("] from worker 2")) << line;
}

TEST(JobSystemTest, destructionCancelsQueued) {
    auto owned = std::make_shared<int>();
    std::atomic<bool> started{false}, release{false};
    std::atomic<int> ran{0};
    std::thread releaser;
    {
        JobSystem jobs{1};
        jobs.dispatch([&] {
            started = true;
            while(!release) std::this_thread::yield();
            ++ran;
        });
        while(!started) std::this_thread::yield();
        for(int i = 0; i != 10; ++i) jobs.dispatch([&ran, owned] { ++ran; });
        jobs.dispatch([&ran, owned] { ++ran; }, {}, JobFlag::MainThread);
        releaser = std::thread{[&] {
            std::this_thread::sleep_for(std::chrono::milliseconds{20});
            release = true;
        }};
    }
    releaser.join();
    /* The running job completed, the queued ones never ran and their callables are gone */
    EXPECT_EQ(ran, 1);
    EXPECT_EQ(owned.use_count(), 1);
}

TEST(JobSystemTest, print) {
    std::ostringstream out;
    Debug{&out} << JobFlag::MainThread << JobFlag::IgnoreFailedDependencies << JobFlag(0x02)
        << (JobFlag::Running|JobFlag::Cancelled) << JobFlags{}
        << JobResult::Failed << JobResult::Succeeded << JobResult::Repeat << JobResult(9);
    EXPECT_EQ(out.str(), "JobFlag::MainThread JobFlag::IgnoreFailedDependencies JobFlag(0x2) "
        "JobFlag::Running|JobFlag::Cancelled JobFlags{} "
        "JobResult::Failed JobResult::Succeeded JobResult::Repeat JobResult(0x9)\n");
}

TEST(JobSystemDeathTest, contracts) {
    EXPECT_DEATH(JobSystem(0), "^JobSystem::JobSystem\\(\\): too few threads\n$");
    JobSystem jobs{1, false};
    EXPECT_DEATH(jobs.updateUntilTerminated(-1), "^JobSystem::updateUntilTerminated\\(\\): invalid job id -1\n$");
    EXPECT_DEATH(jobs.waitForTermination(4096), "^JobSystem::waitForTermination\\(\\): invalid job id 4096\n$");
    EXPECT_DEATH(static_cast<void>(jobs.jobFlags(-5)), "^JobSystem::jobFlags\\(\\): invalid job id -5\n$");
}

}}
