#include "simulated_mac/machine/Scheduler.h"

#include <cstdio>
#include <cstdlib>

namespace simulated_mac {

namespace {

// The task of the calling thread; nullptr where that is none of the Mac's.
thread_local void* currentTask = nullptr;

}  // namespace

Scheduler::Scheduler(Options options) : options_(options) {
    main_.running = true;
    currentTask = &main_;
}

Scheduler::~Scheduler() {
    currentTask = nullptr;
    for (std::thread& thread : threads_) {
        // In a stuck run a thread may wait forever.
        if (startedTasks_ == 0) {
            thread.join();
        } else {
            thread.detach();
        }
    }
}

Time Scheduler::now() const {
    const Lock lock(*this);
    return now_;
}

bool Scheduler::onMainThread() const {
    return currentTask == &main_;
}

std::string Scheduler::threadName() const {
    return currentTask != nullptr ? static_cast<Task*>(currentTask)->name : "unknown";
}

void Scheduler::startThread(std::string name, std::function<void()> body) {
    auto task = std::make_unique<Task>(std::move(name));
    orderBefore(task.get());
    Lock lock(*this);
    makeReady(*task);
    ++startedTasks_;
    threads_.emplace_back([this, owned = std::move(task), work = std::move(body)] {
        orderAfter(owned.get());
        currentTask = owned.get();
        {
            Lock own(*this);
            owned->granted.wait(own, [&] { return owned->running; });
        }
        work();
        orderBefore(&threads_);
        Lock own(*this);
        --running_;
        --startedTasks_;
        handOver(own);
    });
    handOver(lock);
}

void Scheduler::sleep(Time duration) {
    Lock lock(*this);
    auto& task = *static_cast<Task*>(currentTask);
    addDeadline(now_ + duration, &task);
    yield(lock, task);
}

void Scheduler::wait(Semaphore& semaphore, std::string call) {
    Lock lock(*this);
    if (semaphore.value_ > 0) {
        --semaphore.value_;
    } else {
        auto& task = *static_cast<Task*>(currentTask);
        semaphore.waiting_.push_back(&task);
        task.waits = {task.name, std::move(call), now_};
        waiting_.push_back(&task);
        yield(lock, task);
        std::erase(waiting_, &task);
    }
    orderAfter(&semaphore);
}

std::vector<Scheduler::Waiting> Scheduler::waiting() const {
    const Lock lock(*this);
    std::vector<Waiting> all;
    for (const Task* const task : waiting_) all.push_back(*task->waits);
    return all;
}

void Scheduler::signal(Semaphore& semaphore) {
    Lock lock(*this);
    orderBefore(&semaphore);
    if (semaphore.waiting_.empty()) {
        ++semaphore.value_;
        return;
    }
    makeReady(*semaphore.waiting_.front());
    semaphore.waiting_.pop_front();
    handOver(lock);
}

void Scheduler::onMain(std::function<void()> work) {
    HandedOverWork handedOver(std::move(work));
    Lock lock(*this);
    postToMain(std::move(handedOver));
    handOver(lock);
}

void Scheduler::onMainAt(Time time, std::function<void()> work) {
    HandedOverWork handedOver(std::move(work));
    const Lock lock(*this);
    lastPlanned_ = std::max(lastPlanned_, time);
    addDeadline(time, std::move(handedOver));
}

Scheduler::Outcome Scheduler::runUntilQuiet() {
    return runUntil(Time::max());
}

Scheduler::Outcome Scheduler::runUntil(Time time) {
    {
        const Lock lock(*this);
        runsUntil_ = time;
        runFinished_ = false;
    }
    const Outcome outcome = runLoop();
    // The threads that have ended by now are as good as joined.
    orderAfter(&threads_);
    const Lock lock(*this);
    if (time != Time::max() && outcome != Outcome::outOfTime) now_ = std::max(now_, time);
    return outcome;
}

Scheduler::Outcome Scheduler::runLoop() {
    while (const auto work = nextMainWork()) (*work)();
    return outcome_;
}

std::optional<HandedOverWork> Scheduler::nextMainWork() {
    Lock lock(*this);
    while (mainWork_.empty() && !runFinished_) {
        mainWaitsForWork_ = true;
        yield(lock, main_);
        mainWaitsForWork_ = false;
    }
    if (runFinished_) return std::nullopt;
    std::optional<HandedOverWork> work(std::move(mainWork_.front()));
    mainWork_.pop_front();
    return work;
}

void Scheduler::makeReady(Task& task) {
    ready_.push_back(&task);
}

void Scheduler::postToMain(HandedOverWork work) {
    mainWork_.push_back(std::move(work));
    if (mainWaitsForWork_) {
        mainWaitsForWork_ = false;
        makeReady(main_);
    }
}

void Scheduler::addDeadline(Time time, Wake wake) {
    deadlines_.emplace(Deadline{time, deadlinesMade_++}, std::move(wake));
}

void Scheduler::yield(Lock& lock, Task& task) {
    task.running = false;
    --running_;
    handOver(lock);
    task.granted.wait(lock, [&] { return task.running; });
}

void Scheduler::handOver(Lock& lock) {
    for (;;) {
        while (running_ < options_.threadsAtOnce && !ready_.empty()) {
            Task& next = *ready_.front();
            ready_.pop_front();
            next.running = true;
            ++running_;
            next.granted.notify_one();
        }
        if (running_ > 0) return;
        passTime(lock);
    }
}

void Scheduler::passTime(Lock& lock) {
    if (deadlines_.empty()) {
        return finishRun(startedTasks_ == 0 ? Outcome::quiet : Outcome::stuck);
    }
    const auto next = deadlines_.begin();
    const Time time = next->first.first;
    if (time > lastPlanned_ + options_.longestRun) return finishRun(Outcome::outOfTime);
    if (time > runsUntil_) return finishRun(Outcome::waiting);
    if (options_.realtime && time > now_) {
        // No other thread can run meanwhile: all of them wait.
        lock.unlock();
        std::this_thread::sleep_until(start_ + time);
        lock.lock();
    }
    now_ = std::max(now_, time);
    Wake wake = std::move(next->second);
    deadlines_.erase(next);
    if (auto* const task = std::get_if<Task*>(&wake)) {
        makeReady(**task);
    } else {
        postToMain(std::get<HandedOverWork>(std::move(wake)));
    }
}

void Scheduler::finishRun(Outcome outcome) {
    if (!mainWaitsForWork_) mainIsStuck();
    mainWaitsForWork_ = false;
    outcome_ = outcome;
    runFinished_ = true;
    makeReady(main_);
}

void Scheduler::mainIsStuck() const {
    std::fputs("the Mac's main thread waits for what can't happen any more\n", stderr);
    std::_Exit(EXIT_FAILURE);
}

}  // namespace simulated_mac
