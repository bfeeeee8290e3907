#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

#include "simulated_mac/description/Time.h"
#include "simulated_mac/machine/RaceDetection.h"

namespace simulated_mac {

/// The Mac's threads and its clock. Threads are real, but at most `threadsAtOnce` run at a time:
/// each runs until it waits, and then the next in a fixed order follows. With one at a time, every
/// run is therefore the same. The clock stands still while any of them runs and jumps to the next
/// deadline when all of them wait.
class Scheduler {
    struct Task;

  public:
    struct Options {
        unsigned threadsAtOnce = 1;
        /// Wait for deadlines in real time.
        bool realtime = false;
        /// A run that continues for longer after the last onMainAt is taken for endless.
        Time longestRun = std::chrono::hours(1);
        /// A race detector assumes only the order of two threads that every Mac guarantees: work
        /// runs after its submission, a wait ends after the signal. Otherwise it also assumes the
        /// order of the turns.
        bool hidesTurns = false;
    };

    enum class Outcome {
        quiet,      ///< nothing is left to do
        stuck,      ///< threads wait for something that can no longer happen
        outOfTime,  ///< the longest run is over
        waiting,    ///< the next thing to do is after the requested time
    };

    /// A counting semaphore: threads wait for it to be above 0, first come, first served.
    class Semaphore {
      public:
        explicit Semaphore(std::int64_t value) : first_(value), value_(value) {}

        /// Whether it is below its initial value or a thread waits for it.
        bool isTaken() const { return value_ < first_ || !waiting_.empty(); }

      private:
        friend class Scheduler;
        const std::int64_t first_;
        std::int64_t value_;
        std::deque<Task*> waiting_;
    };

    /// A thread that waits for a semaphore.
    struct Waiting {
        std::string thread;
        std::string call;  ///< the platform call that waits
        Time since{0};
    };

    /// The calling thread becomes the Mac's main thread.
    explicit Scheduler(Options options);
    ~Scheduler();
    Scheduler(const Scheduler&) = delete;
    Scheduler& operator=(const Scheduler&) = delete;

    Time now() const;
    bool onMainThread() const;
    /// "main", or the name that the calling thread was started with.
    std::string threadName() const;
    bool hidesTurns() const { return options_.hidesTurns; }

    void startThread(std::string name, std::function<void()> body);
    void sleep(Time duration);
    /// `call` says for waiting() in which platform call it waits.
    void wait(Semaphore& semaphore, std::string call = "a semaphore");
    void signal(Semaphore& semaphore);

    /// The threads that wait for semaphores, the longest wait first.
    std::vector<Waiting> waiting() const;

    /// Has the main thread's run loop do something, now or at a later time.
    void onMain(std::function<void()> work);
    void onMainAt(Time time, std::function<void()> work);

    /// Runs the main thread's run loop until nothing is left to do. Main thread only.
    Outcome runUntilQuiet();
    /// Runs it up to a time, for a host with a real-time loop of its own: afterwards the Mac's
    /// clock is at `time`, unless something is still due before. Main thread only.
    Outcome runUntil(Time time);

  private:
    struct Task {
        explicit Task(std::string taskName) : name(std::move(taskName)) {}
        std::string name;
        std::condition_variable granted;
        bool running = false;
        std::optional<Waiting> waits;
    };
    using Deadline = std::pair<Time, std::uint64_t>;
    using Wake = std::variant<Task*, HandedOverWork>;

    struct Lock : HiddenFromRaceDetection, std::unique_lock<std::mutex> {
        explicit Lock(const Scheduler& scheduler)
            : HiddenFromRaceDetection(scheduler.hidesTurns()),
              std::unique_lock<std::mutex>(scheduler.mutex_) {}
    };

    Outcome runLoop();
    /// The next work for the main thread; nothing at the end of the run.
    std::optional<HandedOverWork> nextMainWork();
    void makeReady(Task& task);
    void postToMain(HandedOverWork work);
    void addDeadline(Time time, Wake wake);
    /// Gives up the calling thread's turn until its task is made ready.
    void yield(Lock& lock, Task& task);
    /// Lets ready threads run; if there are none, advances the clock.
    void handOver(Lock& lock);
    /// Lets the next deadline come, or ends the run.
    void passTime(Lock& lock);
    void finishRun(Outcome outcome);
    [[noreturn]] void mainIsStuck() const;

    const Options options_;
    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    mutable std::mutex mutex_;
    Time now_{0};
    Time runsUntil_ = Time::max();
    Time lastPlanned_{0};
    Task main_{"main"};
    std::deque<Task*> ready_;
    std::vector<const Task*> waiting_;
    unsigned running_ = 1;
    std::size_t startedTasks_ = 0;
    std::map<Deadline, Wake> deadlines_;
    std::uint64_t deadlinesMade_ = 0;
    std::deque<HandedOverWork> mainWork_;
    bool mainWaitsForWork_ = false;
    bool runFinished_ = false;
    Outcome outcome_ = Outcome::quiet;
    std::vector<std::thread> threads_;
};

}  // namespace simulated_mac
