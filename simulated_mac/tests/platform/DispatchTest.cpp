#include <dispatch/dispatch.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "simulated_mac/machine/Mac.h"

namespace simulated_mac {
namespace dispatch_test {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using Outcome = Scheduler::Outcome;
using Work = std::function<void()>;

void call(void* work) {
    (*static_cast<Work*>(work))();
}

class Dispatch : public testing::Test {
  protected:
    /// Submits work that lives as long as the test.
    void async(dispatch_queue_t queue, Work work) {
        works_.push_back(std::make_unique<Work>(std::move(work)));
        dispatch_async_f(queue, works_.back().get(), call);
    }
    void sync(dispatch_queue_t queue, Work work) { dispatch_sync_f(queue, &work, call); }
    void note(const std::string& what) { notes_.push_back(what); }
    std::int64_t held(const std::string& kind) const { return mac_.ledger.held()[kind]; }

    Mac mac_{MacDescription{}};
    Scheduler& scheduler_ = mac_.scheduler;
    std::vector<std::string> notes_;

  private:
    std::vector<std::unique_ptr<Work>> works_;
};

// Queues

TEST_F(Dispatch, AQueueDoesItsWorkInOrderOnePieceAtATime) {
    const auto queue = dispatch_queue_create("queue", nullptr);
    for (const char* const name : {"a", "b", "c"}) {
        async(queue, [this, name] {
            note(std::string(name) + " begins");
            scheduler_.sleep(1s);
            note(std::string(name) + " ends");
        });
    }
    EXPECT_THAT(notes_, IsEmpty()) << "submitting returns at once";
    EXPECT_EQ(scheduler_.runUntilQuiet(), Outcome::quiet);
    EXPECT_THAT(notes_,
                ElementsAre("a begins", "a ends", "b begins", "b ends", "c begins", "c ends"));
    EXPECT_EQ(scheduler_.now(), Time(3s));
}

TEST_F(Dispatch, QueuesWorkBesideOneAnother) {
    const auto one = dispatch_queue_create("one", nullptr);
    const auto two = dispatch_queue_create("two", nullptr);
    for (const auto queue : {one, two}) {
        async(queue, [this] { scheduler_.sleep(1s); });
    }
    EXPECT_EQ(scheduler_.runUntilQuiet(), Outcome::quiet);
    EXPECT_EQ(scheduler_.now(), Time(1s));
}

TEST_F(Dispatch, AQueuesWorkRunsOnAThreadOfItsName) {
    async(dispatch_queue_create("SerialQueue", nullptr), [this] {
        note(scheduler_.threadName());
        note(scheduler_.onMainThread() ? "main" : "background");
    });
    scheduler_.runUntilQuiet();
    EXPECT_THAT(notes_, ElementsAre("SerialQueue", "background"));
}

TEST_F(Dispatch, WorkMaySubmitWorkToItsOwnQueue) {
    const auto queue = dispatch_queue_create("queue", nullptr);
    async(queue, [&] {
        async(queue, [this] { note("second"); });
        note("first");
    });
    EXPECT_EQ(scheduler_.runUntilQuiet(), Outcome::quiet);
    EXPECT_THAT(notes_, ElementsAre("first", "second"));
}

TEST_F(Dispatch, AQueueThatRanOutOfWorkTakesMore) {
    const auto queue = dispatch_queue_create("queue", nullptr);
    async(queue, [this] { note("first"); });
    scheduler_.runUntilQuiet();
    async(queue, [this] { note("second"); });
    scheduler_.runUntilQuiet();
    EXPECT_THAT(notes_, ElementsAre("first", "second"));
}

TEST_F(Dispatch, AReleasedQueueStillDoesItsWork) {
    const auto queue = dispatch_queue_create("queue", nullptr);
    EXPECT_EQ(held("dispatch_queue_t"), 1);
    async(queue, [this] { note("first"); });
    async(queue, [this] { note("second"); });
    dispatch_release(queue);
    EXPECT_EQ(held("dispatch_queue_t"), 0);
    scheduler_.runUntilQuiet();
    EXPECT_THAT(notes_, ElementsAre("first", "second"));
}

// The main queue

TEST_F(Dispatch, TheMainQueueIsTheMainThreads) {
    async(dispatch_get_main_queue(), [this] { note(scheduler_.threadName()); });
    EXPECT_THAT(notes_, IsEmpty());
    scheduler_.runUntilQuiet();
    EXPECT_THAT(notes_, ElementsAre("main"));
}

TEST_F(Dispatch, ASynchronousCallFromTheBackgroundWaitsForTheMainThread) {
    async(dispatch_queue_create("queue", nullptr), [this] {
        sync(dispatch_get_main_queue(), [this] {
            note(scheduler_.threadName());
            scheduler_.sleep(2s);
            note("main is done");
        });
        note(scheduler_.threadName());
    });
    EXPECT_EQ(scheduler_.runUntilQuiet(), Outcome::quiet);
    EXPECT_THAT(notes_, ElementsAre("main", "main is done", "queue"));
}

TEST_F(Dispatch, ASynchronousCallFromTheMainThreadWaitsForAQueue) {
    const auto queue = dispatch_queue_create("queue", nullptr);
    scheduler_.onMain([&] {
        async(queue, [this] {
            scheduler_.sleep(1s);
            note("submitted before");
        });
        sync(queue, [this] { note("waited for"); });
        note("main goes on");
    });
    EXPECT_EQ(scheduler_.runUntilQuiet(), Outcome::quiet);
    EXPECT_THAT(notes_, ElementsAre("submitted before", "waited for", "main goes on"));
}

// Once

TEST_F(Dispatch, SomethingIsDoneOnceForEveryPredicate) {
    dispatch_once_t first = 0;
    dispatch_once_t second = 0;
    int done = 0;
    const auto count = [](void* counter) { ++*static_cast<int*>(counter); };
    for (int time = 0; time < 3; ++time) dispatch_once_f(&first, &done, count);
    EXPECT_EQ(done, 1);
    dispatch_once_f(&second, &done, count);
    EXPECT_EQ(done, 2);
}

// Semaphores

TEST_F(Dispatch, ASemaphoreOfOneIsALock) {
    const auto lock = dispatch_semaphore_create(1);
    for (const char* const name : {"a", "b", "c"}) {
        async(dispatch_queue_create(name, nullptr), [this, lock] {
            EXPECT_EQ(dispatch_semaphore_wait(lock, DISPATCH_TIME_FOREVER), 0);
            note(scheduler_.threadName() + " takes it");
            scheduler_.sleep(1s);
            note(scheduler_.threadName() + " gives it");
            dispatch_semaphore_signal(lock);
        });
    }
    EXPECT_EQ(scheduler_.runUntilQuiet(), Outcome::quiet);
    EXPECT_THAT(notes_, ElementsAre("a takes it", "a gives it", "b takes it", "b gives it",
                                    "c takes it", "c gives it"));
}

TEST_F(Dispatch, ASemaphoreIsHeldUntilItIsReleased) {
    const auto semaphore = dispatch_semaphore_create(1);
    EXPECT_EQ(held("dispatch_semaphore_t"), 1);
    dispatch_release(semaphore);
    EXPECT_EQ(held("dispatch_semaphore_t"), 0);
    EXPECT_EQ(held("dispatch_queue_t"), 0);
}

// Faults

TEST(DispatchWithFaults, AnswersNoneWhereOneCannotBeMade) {
    MacDescription description;
    description.faults = {
        {.call = "dispatch_queue_create", .nth = 1, .andLater = false, .result = {}},
        {.call = "dispatch_semaphore_create", .nth = 1, .andLater = false, .result = {}}};
    const Mac mac(description);
    EXPECT_EQ(dispatch_queue_create("queue", nullptr), nullptr);
    EXPECT_EQ(dispatch_semaphore_create(1), nullptr);
    EXPECT_EQ(mac.ledger.held()["dispatch_queue_t"], 0);
    EXPECT_NE(dispatch_queue_create("queue", nullptr), nullptr);
    EXPECT_NE(dispatch_semaphore_create(1), nullptr);
}

}  // namespace dispatch_test
}  // namespace simulated_mac
