#include "QuillmarshEngine/JobSystem.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "QuillmarshEngine/Assert.h"
#include "QuillmarshEngine/Logging.h"
#include "QuillmarshEngine/LoggingScope.h"

namespace QuillmarshEngine {

namespace {

constexpr int RingMask = JobSystem::Capacity - 1;
static_assert((JobSystem::Capacity & RingMask) == 0, "the ring capacity must be a power of two");

/* Worker threads set their index 1..N; every other thread is worker 0 */
thread_local int WorkerId = 0;
/* The job the thread executes, -1 outside a job; restored (not reset) after a nested job */
thread_local int JobId = -1;
/* How many jobs are on this thread's stack (nested through the waiting functions) */
thread_local int JobDepth = 0;
/* Slot of the last job that returned Repeat on this thread: the next scan starts after it, so a
   repeating job cannot starve the ones behind it */
thread_local int RepeatSlot = -1;

/* The ring lock. It is only ever held for a scan and some bookkeeping, so a contended lock spins
   briefly and then yields its core until the holder is done. Nobody ever sleeps on it, so
   unlocking is a plain releasing store: a lock that lets waiters sleep has to read-modify-write
   on unlock too, to learn whether it must wake one, and that costs as much as the locking itself
   with the two or three critical sections every job needs. With workers, the main thread and
   dispatching threads sharing few cores, yielding also hands the core to a holder that was
   preempted. */
class RingMutex {
    public:
        void lock() { lockCounting(); }

        /* Locks and returns how many times the lock was found taken */
        int lockCounting() {
            for(int i = 0; ; ++i) {
                if(!_locked.load(std::memory_order_relaxed) &&
                   !_locked.exchange(true, std::memory_order_acquire))
                    return i;
                if(i < SpinCount) pause();
                else std::this_thread::yield();
            }
        }

        void unlock() {
            _locked.store(false, std::memory_order_release);
        }

        static void pause() {
            #if defined(__x86_64__) || defined(__i386__)
            __builtin_ia32_pause();
            #endif
        }

    private:
        static constexpr int SpinCount = 64;

        std::atomic<bool> _locked{false};
};

/* Checks of the queue an idle worker makes before it goes to sleep */
constexpr int IdleSpinCount = 2048;

/* A worker that found the ring lock taken every time it came back with a finished job, this many
   jobs in a row, stops taking jobs for a while (see JobSystem::step()) */
constexpr int ContendedStreak = 4;
constexpr std::chrono::microseconds ContendedBackoff{200};

/* How many jobs in a row the thread found the ring lock taken when it came back with them */
thread_local int LockContention = 0;

/* A worker that found only jobs waiting for dependencies yields this many times in a row, then
   polls with pauses of ContendedBackoff */
constexpr int DependencyYields = 4;
thread_local int DependencyWaits = 0;

}

struct JobSystem::State {
    std::vector<std::thread> threads;
    std::condition_variable condition;
    std::mutex waitMutex;
    /* The lock shares its cache line with everything a critical section writes here (the
       counters, the count copy, the sleepers) and with the flag the workers check in it: taking
       the lock brings the line along, so a critical section that follows one on another core
       pays for one line transfer instead of three. With the workers busy, that is what a job
       costs; pollers of the counters outside the lock are rarer. */
    alignas(64) RingMutex jobsMutex;
    std::atomic<bool> running{true};
    std::atomic<std::int32_t> runningJobs{0};
    std::atomic<std::int32_t> queuedMainJobs{0};
    std::atomic<std::int32_t> queuedJobs{0};
    /* Queued jobs of both kinds plus running ones, changed in the same critical sections as the
       three counters above. idle() and waitForIdle() read this one value: reading the separate
       counters one after another could see a job that moves between queued and running in
       neither. */
    std::atomic<std::int32_t> activeJobs{0};
    /* Copy of JobSystem::_count for the checks compact() and dispatchFunc() make without the
       lock */
    std::atomic<std::int32_t> count{0};
    /* Workers going to sleep or asleep, and how many of them were already sent a wake-up they
       have not answered yet, both guarded by the ring lock. A worker registers in the critical
       section in which it saw queuedJobs at zero and unregisters in the first one after its wait
       ended; a dispatcher reads both in the critical section that raises queuedJobs. Whichever
       comes second sees the other, and a dispatch only wakes a worker nobody woke yet: with the
       sleepers slow to get a core, every dispatch would otherwise pay for a wake-up of its own
       until the first woken worker runs. */
    std::int32_t sleepers = 0;
    std::int32_t wakesPending = 0;
    alignas(64) int threadCount = 0;
};

namespace {

/* The counters are only changed with the ring lock held, so a plain load and a releasing store
   suffice there; readers without the lock acquire */
inline void add(std::atomic<std::int32_t>& counter, const std::int32_t delta) {
    counter.store(counter.load(std::memory_order_relaxed) + delta, std::memory_order_release);
}

/* Called after raising queuedJobs with the ring lock held, or after releasing it, when a worker
   was seen asleep in that critical section. Taking waitMutex orders the wake-up after the
   sleeper's predicate check: a worker that checked queuedJobs but has not started waiting still
   holds the mutex. */
void wake(std::mutex& waitMutex, std::condition_variable& condition) {
    { std::lock_guard<std::mutex> lock{waitMutex}; }
    condition.notify_one();
}
}

Debug& operator<<(Debug& debug, JobFlag value) {
    switch(value) {
        case JobFlag::MainThread: return Implementation::printEnumValue(debug, "JobFlag", "MainThread");
        case JobFlag::Running: return Implementation::printEnumValue(debug, "JobFlag", "Running");
        case JobFlag::Finished: return Implementation::printEnumValue(debug, "JobFlag", "Finished");
        case JobFlag::Succeeded: return Implementation::printEnumValue(debug, "JobFlag", "Succeeded");
        case JobFlag::Cancelled: return Implementation::printEnumValue(debug, "JobFlag", "Cancelled");
        case JobFlag::IgnoreFailedDependencies: return Implementation::printEnumValue(debug, "JobFlag", "IgnoreFailedDependencies");
    }
    return Implementation::printUnknownEnum(debug, "JobFlag", std::uint8_t(value));
}

Debug& operator<<(Debug& debug, JobFlags value) {
    return Implementation::enumSetDebugOutput(debug, value, "JobFlags{}", {
        JobFlag::MainThread, JobFlag::Running, JobFlag::Finished, JobFlag::Succeeded,
        JobFlag::Cancelled, JobFlag::IgnoreFailedDependencies});
}

Debug& operator<<(Debug& debug, JobResult value) {
    switch(value) {
        case JobResult::Failed: return Implementation::printEnumValue(debug, "JobResult", "Failed");
        case JobResult::Succeeded: return Implementation::printEnumValue(debug, "JobResult", "Succeeded");
        case JobResult::Repeat: return Implementation::printEnumValue(debug, "JobResult", "Repeat");
    }
    return Implementation::printUnknownEnum(debug, "JobResult", std::uint8_t(value));
}

JobSystem::JobSystem(int threads, bool start): _flags{new JobFlags[Capacity]{}}, _functions{new Job[Capacity]}, _dependencies{new std::vector<int>[Capacity]}, _head{0}, _count{0}, _scanStart{0}, _state{new State} {
    QUILLMARSH_ASSERT(threads >= 1, "JobSystem::JobSystem(): too few threads", );
    _state->threadCount = threads;
    setCurrentThreadName("Main");
    if(start) this->start();
}

JobSystem::~JobSystem() {
    State& s = *_state;
    {
        std::lock_guard<std::mutex> lock{s.waitMutex};
        s.running.store(false);
    }
    cancelAll();
    s.condition.notify_all();
    for(std::thread& thread: s.threads) thread.join();
}

void JobSystem::start() {
    State& s = *_state;
    s.threads.reserve(std::size_t(s.threadCount));
    for(int i = 1; i <= s.threadCount; ++i)
        s.threads.emplace_back([this, i] { threadRun(i); });
    Debug{} << "Async jobs threads started with" << s.threadCount << "threads";
}

bool JobSystem::threadsSupported() { return true; }

int JobSystem::workerCount() const { return _state->threadCount + 1; }

int JobSystem::workerId() { return WorkerId; }

int JobSystem::currentJobId() { return JobId; }

void JobSystem::threadRun(const int id) {
    WorkerId = id;
    setCurrentThreadName("Worker " + std::to_string(id));
    LoggingScope scope;
    while(_state->running.load()) step(id, false, true, true);
}

int JobSystem::addJob() {
    if(_count == MaxInFlight) return -1;
    const int id = (_head + _count) & RingMask;
    ++_count;
    _state->count.store(_count, std::memory_order_relaxed);
    return id;
}

void JobSystem::popJobs(const int n) {
    _head = (_head + n) & RingMask;
    _count -= n;
    _scanStart = _scanStart > n ? _scanStart - n : 0;
    _state->count.store(_count, std::memory_order_relaxed);
}

void JobSystem::freeJob(const int id) {
    _functions[id].reset();
}

bool JobSystem::isIndexValidUnsafe(const int id) const {
    if(id < 0 || id >= Capacity) return false;
    return ((id - _head) & RingMask) < _count;
}

bool JobSystem::isIndexValid(const int id) const {
    std::lock_guard<RingMutex> lock{_state->jobsMutex};
    return isIndexValidUnsafe(id);
}

int JobSystem::dispatchFunc(Job&& job, const std::span<const int> dependencies, JobFlags flags) {
    State& s = *_state;
    flags = flags & (JobFlag::MainThread|JobFlag::IgnoreFailedDependencies);
    const bool main = bool(flags & JobFlag::MainThread);

    /* A host dispatching in waves tries again and again while the ring is full; that answer
       needs no lock. The count only drops under the lock, so a full ring seen here was full at
       the moment of the read, and a retirement this thread made or synchronised with is seen. */
    if(s.count.load(std::memory_order_relaxed) == MaxInFlight) return -1;

    int id;
    bool sleeping;
    {
        std::lock_guard<RingMutex> lock{s.jobsMutex};
        id = addJob();
        if(id == -1) return -1;

        add(main ? s.queuedMainJobs : s.queuedJobs, 1);
        add(s.activeJobs, 1);
        sleeping = !main && s.sleepers > s.wakesPending;
        if(sleeping) ++s.wakesPending;
        _functions[id] = std::move(job);
        _flags[id] = flags;

        /* Only ids naming an occupied entry are kept; the new job's own slot was free when the
           caller named it, so it cannot be meant */
        /* Only written when it changes, so that dispatching jobs without dependencies does not
           take the cache line of the neighbouring slots' lists away from a scanning worker */
        std::vector<int>& list = _dependencies[id];
        if(!list.empty()) list.clear();
        if(!dependencies.empty()) {
            list.reserve(dependencies.size());
            for(const int dependency: dependencies)
                if(dependency != id && isIndexValidUnsafe(dependency))
                    list.push_back(dependency);
        }
    }

    if(sleeping) wake(s.waitMutex, s.condition);
    return id;
}

int JobSystem::acquireJob(const int worker, const bool mainOnly) {
    const JobFlags mask = JobFlag::Running|JobFlag::Finished|JobFlag::Cancelled|
        (worker != 0 || mainOnly ? JobFlags{JobFlag::MainThread} : JobFlags{});
    const JobFlags expected = worker == 0 && mainOnly ? JobFlags{JobFlag::MainThread} : JobFlags{};

    /* No scan takes a finished or running entry, so the run of them at the head is skipped for
       good instead of being walked by every scan; only a Repeat puts an entry back before it */
    while(_scanStart < _count && (_flags[(_head + _scanStart) & RingMask] & (JobFlag::Finished|JobFlag::Running)))
        ++_scanStart;
    const int begin = _scanStart;
    const int span = _count - begin;

    int first = begin;
    if(RepeatSlot != -1) {
        const int offset = (RepeatSlot - _head) & RingMask;
        if(offset >= begin && offset < _count) first = offset + 1;
        RepeatSlot = -1;
    }

    for(int i = 0; i != span; ++i) {
        int offset = first + i;
        if(offset >= _count) offset -= span;
        const int id = (_head + offset) & RingMask;
        const JobFlags flags = _flags[id];
        if((flags & mask) != expected) continue;

        JobFlags state = JobFlag::Finished|JobFlag::Succeeded;
        /* One unfinished dependency decides, so the walk stops at the first; it goes newest
           first, as lists usually name the jobs just dispatched last and those are the ones
           still pending. With a chain of dependent jobs queued, a scan checks one dependency per
           entry instead of all of them. */
        const std::vector<int>& dependencies = _dependencies[id];
        for(std::size_t d = dependencies.size(); d-- && (state & JobFlag::Finished); ) {
            const int dependency = dependencies[d];
            /* A dependency is always older than its dependant. An id at or past the dependant's
               own position is no longer in the ring, or names a newer job that reused the slot
               after the named one was retired; either way the named job is done with. */
            if(((dependency - _head) & RingMask) >= offset) continue;
            state &= _flags[dependency];
        }
        if(!(state & JobFlag::Finished)) continue;
        if(!(state & JobFlag::Succeeded) && !(flags & JobFlag::IgnoreFailedDependencies)) {
            cancelUnsafe(id);
            continue;
        }

        _flags[id] = flags|JobFlag::Running;
        return id;
    }

    return -1;
}

bool JobSystem::step(const int worker, const bool mainOnly, const bool mayBlock, const bool chain) {
    State& s = *_state;
    std::unique_lock<RingMutex> lock{s.jobsMutex};
    int id = acquireJob(worker, mainOnly);

    if(id == -1) {
        if(worker == 0 || !mayBlock) return false;
        /* Queued jobs waiting for running dependencies: try again soon. Not at once for long:
           on an otherwise idle core a yield returns at once, and a worker scanning again and
           again keeps the lock from the threads finishing the dependencies (with a chain of
           dependent jobs, only one thread at a time can do anything anyway) */
        if(s.queuedJobs.load() > 0) {
            lock.unlock();
            if(++DependencyWaits <= DependencyYields) std::this_thread::yield();
            else std::this_thread::sleep_for(ContendedBackoff);
            return false;
        }
        DependencyWaits = 0;
        /* Nothing queued. A host dispatching a stream of jobs keeps the queue short, so stay
           awake briefly: a dispatch that finds every worker asleep pays for a futex wake-up */
        lock.unlock();
        for(int i = 0; i != IdleSpinCount && s.queuedJobs.load(std::memory_order_relaxed) <= 0 && s.running.load(std::memory_order_relaxed); ++i) {
            if(i < IdleSpinCount/2) RingMutex::pause();
            else std::this_thread::yield();
        }
        lock.lock();
        if(s.queuedJobs.load(std::memory_order_relaxed) > 0) return false;
        ++s.sleepers;
        {
            /* Lock order: jobsMutex, then waitMutex */
            std::unique_lock<std::mutex> waitLock{s.waitMutex};
            lock.unlock();
            /* One wait only: whatever ended it, the worker unregisters below, so a wake-up
               counted as pending is always answered and never swallowed by a worker that found
               the job taken and went back to sleep */
            if(s.running.load() && s.queuedJobs.load() <= 0)
                s.condition.wait(waitLock);
        }
        lock.lock();
        --s.sleepers;
        if(s.wakesPending) --s.wakesPending;
        /* Look for work in the same critical section */
        if(!s.running.load(std::memory_order_relaxed) || (id = acquireJob(worker, mainOnly)) == -1)
            return false;
    }

    DependencyWaits = 0;
    /* A worker thread goes on with the next acceptable job without releasing the lock in
       between, which saves one lock round trip per job */
    do run(id);
    while(chain && s.running.load(std::memory_order_relaxed) && LockContention < ContendedStreak && (id = acquireJob(worker, mainOnly)) != -1);

    /* When a worker finds the lock taken every time it hands a job back, the lock is the
       bottleneck: the jobs are too short for the threads to do anything but queue for it, and
       every extra thread in that queue only adds the cache-line transfers that make each
       critical section longer. The worker steps aside for a moment and leaves the jobs to the
       threads already at the lock. With longer jobs the lock is free often enough that such a
       streak is rare and the workers do not pause. */
    if(chain && LockContention >= ContendedStreak) {
        LockContention = 0;
        lock.unlock();
        std::this_thread::sleep_for(ContendedBackoff);
    }
    return true;
}

void JobSystem::run(const int id) {
    State& s = *_state;
    RingMutex& lock = s.jobsMutex;
    const bool main = bool(_flags[id] & JobFlag::MainThread);
    std::atomic<std::int32_t>& queued = main ? s.queuedMainJobs : s.queuedJobs;
    /* Counted as running before it stops being counted as queued */
    add(s.runningJobs, 1);
    add(queued, -1);
    lock.unlock();

    /* A running slot's callable is touched by nobody else: dispatch only reuses retired slots
       and cancelling a running job only marks it */
    const int previousJobId = JobId;
    JobId = id;
    ++JobDepth;
    const JobResult result = _functions[id](*this, id);
    --JobDepth;
    JobId = previousJobId;
    if(result != JobResult::Repeat) freeJob(id);

    /* A repeating job cancelled meanwhile is destroyed after the lock is released */
    Job cancelledRepeat;
    if(lock.lockCounting()) ++LockContention;
    else LockContention = 0;
    const JobFlags flags = _flags[id];
    if(result == JobResult::Repeat && !(flags & JobFlag::Cancelled)) {
        _flags[id] = flags & ~JobFlags{JobFlag::Running};
        add(queued, 1);
        add(s.runningJobs, -1);
        RepeatSlot = id;
        const int offset = (id - _head) & RingMask;
        if(offset < _scanStart) _scanStart = offset;
        /* Lock order: jobsMutex, then waitMutex */
        if(!main && s.sleepers > s.wakesPending) {
            ++s.wakesPending;
            wake(s.waitMutex, s.condition);
        }
    } else {
        if(result == JobResult::Repeat) {
            cancelledRepeat = std::move(_functions[id]);
            lock.unlock();
            cancelledRepeat.reset();
            lock.lock();
        }
        JobFlags finished = (flags & ~JobFlags{JobFlag::Running})|JobFlag::Finished;
        if(result == JobResult::Succeeded && !(flags & JobFlag::Cancelled))
            finished |= JobFlag::Succeeded;
        _flags[id] = finished;
        add(s.runningJobs, -1);
        add(s.activeJobs, -1);
    }
}

bool JobSystem::threadStep(const int worker, const bool mainOnly) {
    return step(worker, mainOnly, true, false);
}

void JobSystem::compact() {
    State& s = *_state;
    if(s.count.load(std::memory_order_relaxed) <= RetainedTail - 1) return;

    std::lock_guard<RingMutex> lock{s.jobsMutex};
    compactLocked();
}

void JobSystem::compactLocked() {
    if(_count <= RetainedTail) return;

    const int max = _count - RetainedTail;
    int n = 0;
    bool unsuccessful = false;
    for(; n != max; ++n) {
        const JobFlags flags = _flags[(_head + n) & RingMask];
        if(!(flags & JobFlag::Finished) && !((flags & JobFlag::Cancelled) && !(flags & JobFlag::Running)))
            break;
        if(!(flags & JobFlag::Succeeded)) unsuccessful = true;
    }
    if(!n) return;

    /* Once retired, a failed or cancelled job would count as satisfied: cancel the dependants
       that have not been examined yet now, while the failure is still known */
    if(unsuccessful) for(int offset = n; offset != _count; ++offset) {
        const int id = (_head + offset) & RingMask;
        const JobFlags flags = _flags[id];
        if(flags & (JobFlag::Finished|JobFlag::Running|JobFlag::IgnoreFailedDependencies))
            continue;
        for(const int dependency: _dependencies[id]) {
            if(((dependency - _head) & RingMask) < n && !(_flags[dependency] & JobFlag::Succeeded)) {
                cancelUnsafe(id);
                break;
            }
        }
    }

    popJobs(n);
}

bool JobSystem::update(const bool mainOnly) {
    State& s = *_state;
    std::unique_lock<RingMutex> lock{s.jobsMutex};
    const int id = acquireJob(0, mainOnly);
    if(id != -1) run(id);
    /* Compaction follows in the same critical section instead of taking the lock again */
    compactLocked();
    return id != -1;
}

void JobSystem::cancelUnsafe(const int id) {
    if(!isIndexValidUnsafe(id)) return;
    JobFlags flags = _flags[id];
    if(flags & JobFlag::Finished) return;

    flags |= JobFlag::Cancelled;
    if(!(flags & JobFlag::Running)) {
        State& s = *_state;
        add(flags & JobFlag::MainThread ? s.queuedMainJobs : s.queuedJobs, -1);
        add(s.activeJobs, -1);
        flags |= JobFlag::Finished;
        freeJob(id);
    }
    _flags[id] = flags;
}

void JobSystem::cancel(const int id) {
    std::lock_guard<RingMutex> lock{_state->jobsMutex};
    cancelUnsafe(id);
}

void JobSystem::cancelAll() {
    std::lock_guard<RingMutex> lock{_state->jobsMutex};
    const int own = JobId;
    for(int offset = 0; offset != _count; ++offset) {
        const int id = (_head + offset) & RingMask;
        if(id != own) cancelUnsafe(id);
    }
}

int JobSystem::runningJobCount() const { return _state->runningJobs.load(); }

int JobSystem::queuedJobCount() const { return _state->queuedJobs.load() + _state->queuedMainJobs.load(); }

int JobSystem::queuedNonMainJobCount() const { return _state->queuedJobs.load(); }

std::int32_t JobSystem::head() const {
    std::lock_guard<RingMutex> lock{_state->jobsMutex};
    return _head;
}

std::int32_t JobSystem::count() const {
    std::lock_guard<RingMutex> lock{_state->jobsMutex};
    return _count;
}

bool JobSystem::idle() const { return _state->activeJobs.load() == 0; }

bool JobSystem::pump() {
    /* Inside a job on a worker thread the step must not sleep (the jobs still running would not
       wake it) and must not take main-thread jobs */
    const int worker = WorkerId;
    if(worker == 0) return update(false);
    const bool ran = step(worker, false, false, false);
    compact();
    return ran;
}

void JobSystem::waitForIdle() {
    /* Every job on this thread's stack is running and waits here; they are not waited for */
    const int own = JobDepth;
    while(_state->activeJobs.load() > own)
        if(!pump()) std::this_thread::yield();
}

JobFlags JobSystem::readFlags(const int id) const {
    std::lock_guard<RingMutex> lock{_state->jobsMutex};
    return _flags[id];
}

JobFlags JobSystem::jobFlags(const int id) const {
    QUILLMARSH_ASSERT(id >= 0 && id < Capacity, "JobSystem::jobFlags(): invalid job id" << id, {});
    return readFlags(id);
}

void JobSystem::updateUntilTerminated(const int id) {
    QUILLMARSH_ASSERT(id >= 0 && id < Capacity, "JobSystem::updateUntilTerminated(): invalid job id" << id, );
    while(!(readFlags(id) & JobFlag::Finished)) {
        pump();
        std::this_thread::sleep_for(std::chrono::nanoseconds{1000000});
    }
}

void JobSystem::waitForTermination(const int id) {
    QUILLMARSH_ASSERT(id >= 0 && id < Capacity, "JobSystem::waitForTermination(): invalid job id" << id, );
    while(!(readFlags(id) & JobFlag::Finished))
        std::this_thread::sleep_for(std::chrono::nanoseconds{1000000});
}

}
