#ifndef QuillmarshEngine_JobSystem_h
#define QuillmarshEngine_JobSystem_h

/** @file
 * @brief Class @ref QuillmarshEngine::JobSystem, enums @ref QuillmarshEngine::JobFlag,
 *      @ref QuillmarshEngine::JobResult, enum set @ref QuillmarshEngine::JobFlags
 */

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>
#include <type_traits>
#include <utility>
#include <vector>

#include "QuillmarshEngine/EnumSet.h"
#include "QuillmarshEngine/Function.h"
#include "QuillmarshEngine/visibility.h"

namespace QuillmarshEngine {

/**
 * @brief State bit of a job slot
 *
 * The caller sets @ref JobFlag::MainThread and @ref JobFlag::IgnoreFailedDependencies; the job
 * system manages the others.
 */
enum class JobFlag: std::uint8_t {
    MainThread = 0x01,                  /**< Runs only on worker 0, the thread that calls @ref JobSystem::update() */
    Running = 0x04,                     /**< Acquired and executing */
    Finished = 0x08,                    /**< Terminated (completed, failed or cancelled); its callable is destroyed */
    Succeeded = 0x10,                   /**< Returned @ref JobResult::Succeeded */
    Cancelled = 0x20,                   /**< Cancellation was requested */
    IgnoreFailedDependencies = 0x80     /**< Runs even when a dependency did not succeed */
};

/** @brief Set of @ref JobFlag values, one byte */
typedef EnumSet<JobFlag, 0xbd> JobFlags;
QUILLMARSH_ENUMSET_OPERATORS(JobFlags)

/** @brief Prints `JobFlag::MainThread` etc. */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, JobFlag value);
/** @brief Prints `JobFlag::Running|JobFlag::Cancelled`, or `JobFlags{}` for an empty set */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, JobFlags value);

/** @brief What a job's call asks for */
enum class JobResult: std::uint8_t {
    Failed = 0,     /**< Finished without success; dependants are cancelled unless they ignore failures */
    Succeeded = 1,  /**< Finished with success */
    Repeat = 2      /**< Back to the queue, run again later unless cancelled meanwhile */
};

/** @brief Prints `JobResult::Failed` etc. */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, JobResult value);

/**
 * @brief Jobs on a fixed pool of worker threads and the main thread
 *
 * A job is a callable that receives the job system and its own job id and returns a
 * @ref JobResult. All bookkeeping lives in one ring of @ref Capacity slots guarded by one mutex: a
 * job id is a slot index, and at most @ref MaxInFlight entries are occupied at once (dispatch
 * returns -1 beyond that). Entries are retired from the ring only by @ref update(), which always
 * keeps the newest @ref RetainedTail entries so that recent ids stay queryable; a host that never
 * calls @ref update() fills the ring after 4095 dispatches. A retired id is reused by a later
 * dispatch once the ring wraps, so ids are only meaningful while their entry is in the ring.
 *
 * Threads: the constructing thread is worker 0 and is named `Main`; worker threads 1..N are named
 * `Worker N` and each holds a @ref LoggingScope. Jobs carrying @ref JobFlag::MainThread only run
 * on worker 0, inside @ref update() or one of the waiting functions. Any thread may dispatch,
 * cancel and query. Idle workers sleep; while queued jobs wait for running dependencies they
 * yield a few times and then poll every 200 microseconds. A worker that finds the ring lock taken
 * every time it hands a job back (jobs so short that the threads only queue for the lock) pauses
 * for 200 microseconds and leaves the jobs to the threads already at the lock.
 *
 * Costs: one lock per dispatch and one or two per executed job (a worker finishes a job and takes
 * the next in one critical section); a dispatch that finds the ring full takes no lock; a scan
 * skips the finished and running entries at the head of the ring. The lock spins and then yields
 * and never sleeps, so releasing it costs a plain store. No allocation per job except a
 * dependency list (when dependencies are given and the slot's earlier list was shorter) and what
 * the callable owns. The callable of a job cancelled while queued is destroyed with the ring
 * locked, so a callable's destructor must not call into the job system.
 */
class QUILLMARSH_EXPORT JobSystem {
    public:
        /** @brief Job callable */
        typedef Function<JobResult(JobSystem&, int)> Job;

        /** @brief Slots in the ring */
        static constexpr int Capacity = 0x1000;
        /** @brief Most entries occupied at once; one slot always stays free */
        static constexpr int MaxInFlight = Capacity - 1;
        /** @brief Newest entries @ref update() never retires */
        static constexpr int RetainedTail = 64;

        /**
         * @brief Constructor
         *
         * Allocates the ring, names the calling thread `Main` and, if @p start is set, starts
         * @p threads worker threads. Expects @p threads to be at least 1.
         */
        explicit JobSystem(int threads, bool start = true);

        JobSystem(const JobSystem&) = delete;
        JobSystem& operator=(const JobSystem&) = delete;

        /**
         * @brief Destructor
         *
         * Stops the workers, cancels every queued job (except the calling thread's own), wakes the
         * workers and joins them; jobs running at that moment complete their current call first.
         */
        ~JobSystem();

        /**
         * @brief Start the worker threads
         *
         * Spawns the workers with ids 1..N and logs the count. Call it once, unless the
         * constructor already did.
         */
        void start();

        /** @brief Whether threads are supported; always true */
        [[nodiscard]] static bool threadsSupported();

        /** @brief Number of workers, the main thread included */
        [[nodiscard]] int workerCount() const;

        /** @brief Worker id of the calling thread: 1..N on worker threads, 0 elsewhere */
        [[nodiscard]] static int workerId();

        /** @brief Id of the job the calling thread executes, -1 outside a job */
        [[nodiscard]] static int currentJobId();

        /**
         * @brief Queue a job
         * @param job           Callable; moved into the ring on success, left untouched when
         *      the ring is full
         * @param dependencies  Jobs that must finish first. Ids that do not name an occupied
         *      entry (retired, negative, out of range, or the new job's own slot) count as
         *      satisfied and are dropped.
         * @param flags         Only @ref JobFlag::MainThread and
         *      @ref JobFlag::IgnoreFailedDependencies are taken, other bits are ignored
         * @return The job id, or -1 when @ref MaxInFlight entries are occupied
         *
         * When a dependency fails or is cancelled, the job is cancelled unless it carries
         * @ref JobFlag::IgnoreFailedDependencies. Wakes one sleeping worker for a job a worker may
         * run.
         */
        int dispatchFunc(Job&& job, std::span<const int> dependencies = {}, JobFlags flags = {});

        /**
         * @brief Queue a callable
         *
         * Wraps @p callable into a @ref Job and calls @ref dispatchFunc(). The callable is
         * invocable as `JobResult(JobSystem&, int)`, as `JobResult()`, or as `void()` (which
         * counts as @ref JobResult::Succeeded). The callable is consumed even when the ring is
         * full and -1 is returned.
         */
        template<class F> int dispatch(F&& callable, std::span<const int> dependencies, JobFlags flags = {}) {
            return dispatchFunc(wrap(std::forward<F>(callable)), dependencies, flags);
        }

        /** @overload */
        template<class F> int dispatch(F&& callable, std::initializer_list<int> dependencies = {}, JobFlags flags = {}) {
            return dispatchFunc(wrap(std::forward<F>(callable)), std::span<const int>{dependencies.begin(), dependencies.size()}, flags);
        }

        /**
         * @brief Whether @p id names an occupied ring entry
         *
         * Negative, out-of-range and retired ids are invalid.
         */
        [[nodiscard]] bool isIndexValid(int id) const;

        /**
         * @brief One scheduling step
         *
         * Takes the first acceptable job in ring order, oldest first, and runs it. Worker threads
         * (@p worker not 0) take only jobs without @ref JobFlag::MainThread; worker 0 takes any
         * job, or only main-thread ones when @p mainOnly is set. Jobs whose dependency failed or
         * was cancelled are cancelled on the way unless they ignore failures. When nothing is
         * acceptable, worker 0 returns at once and a worker thread sleeps until a job it may take
         * is queued or the system stops.
         * @return Whether a job ran
         */
        bool threadStep(int worker, bool mainOnly);

        /**
         * @brief Main-thread pump
         *
         * One @ref threadStep() as worker 0, then retires the terminated entries at the head of
         * the ring, keeping the newest @ref RetainedTail; nothing is retired while 64 or fewer
         * entries are occupied. Retiring a job that did not succeed cancels the queued jobs that
         * depend on it (unless they ignore failures).
         * @return Whether a job ran
         */
        bool update(bool mainOnly = false);

        /**
         * @brief Cancel a job
         *
         * Ignores invalid ids and finished jobs. A queued job is finished at once and its
         * callable destroyed; a running job only gets the mark: it completes its current call,
         * is then finished without @ref JobFlag::Succeeded, and a @ref JobResult::Repeat is
         * ignored. Dependants of a cancelled job are cancelled in turn.
         */
        void cancel(int id);

        /**
         * @brief Cancel a job without taking the ring lock
         *
         * Same as @ref cancel(), for code that already holds the ring lock or when no other thread
         * uses the job system. Inside a job use @ref cancel().
         */
        void cancelUnsafe(int id);

        /** @brief Cancel every job in the ring except the calling thread's current one */
        void cancelAll();

        /** @brief Jobs executing now */
        [[nodiscard]] int runningJobCount() const;
        /** @brief Jobs queued, main-thread ones included */
        [[nodiscard]] int queuedJobCount() const;
        /** @brief Queued jobs a worker thread may take */
        [[nodiscard]] int queuedNonMainJobCount() const;
        /** @brief Whether nothing is queued and nothing running */
        [[nodiscard]] bool idle() const;

        /**
         * @brief Ring position of the oldest occupied entry, 0..4095
         *
         * Read under the ring lock, so the value is consistent with @ref count() read right
         * after it only while no other thread dispatches or pumps. Not for code that holds the
         * ring lock (it would wait for itself); not lock-free.
         */
        [[nodiscard]] std::int32_t head() const;

        /**
         * @brief Number of occupied ring entries, 0..4095
         *
         * Occupied entries are the positions head, head + 1, ... modulo 4096: queued, running
         * and finished jobs not yet retired by @ref update(). Read under the ring lock, like
         * @ref head().
         */
        [[nodiscard]] std::int32_t count() const;

        /**
         * @brief Run jobs until the system is idle
         *
         * Pumps on the calling thread: worker 0 runs any job, a worker thread only jobs without
         * @ref JobFlag::MainThread. Called from inside a job, returns once the only jobs left
         * running are the ones on the calling thread's own stack; two jobs on different threads
         * that wait for idle at the same time therefore wait for each other forever.
         */
        void waitForIdle();

        /**
         * @brief Run jobs until job @p id is finished
         *
         * Pumps like @ref waitForIdle(), sleeping 1 ms between steps. Expects @p id in 0..4095;
         * the slot is polled, so it must not be retired and reused meanwhile.
         */
        void updateUntilTerminated(int id);

        /**
         * @brief Sleep until job @p id is finished, without running jobs
         *
         * Polls every 1 ms. A main-thread job only finishes if another thread pumps. Expects
         * @p id in 0..4095.
         */
        void waitForTermination(int id);

        /** @brief State bits of slot @p id; expects @p id in 0..4095 */
        [[nodiscard]] JobFlags jobFlags(int id) const;

    private:
        struct State;

        template<class F> static Job wrap(F&& callable) {
            using T = std::decay_t<F>;
            if constexpr(std::is_invocable_r_v<JobResult, T&, JobSystem&, int>)
                return Job{std::forward<F>(callable)};
            else if constexpr(std::is_invocable_r_v<JobResult, T&>)
                return Job{[f = T{std::forward<F>(callable)}](JobSystem&, int) mutable { return f(); }};
            else {
                static_assert(std::is_invocable_v<T&>, "JobSystem::dispatch(): the callable takes (JobSystem&, int) or nothing");
                return Job{[f = T{std::forward<F>(callable)}](JobSystem&, int) mutable { f(); return JobResult::Succeeded; }};
            }
        }

        void threadRun(int id);
        /* One step; with chain set, goes on with further jobs while any is acceptable */
        bool step(int worker, bool mainOnly, bool mayBlock, bool chain);
        /* Runs an acquired job; expects the ring lock held and returns with it held */
        void run(int id);
        void compact();
        void compactLocked();
        bool pump();
        int addJob();
        void popJobs(int n);
        void freeJob(int id);
        int acquireJob(int worker, bool mainOnly);
        bool isIndexValidUnsafe(int id) const;
        JobFlags readFlags(int id) const;

        std::unique_ptr<JobFlags[]> _flags;
        std::unique_ptr<Job[]> _functions;
        std::unique_ptr<std::vector<int>[]> _dependencies;
        std::int32_t _head;
        std::int32_t _count;
        /* Entries [head, head + _scanStart) are known to be Finished or Running, so scans start
           after them */
        std::int32_t _scanStart;
        std::unique_ptr<State> _state;
};

}

#endif
