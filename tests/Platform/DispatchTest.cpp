#include "plugin/Platform/Dispatch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <new>
#include <system_error>

#include "plugin/Cocoa/ThreadSleep.h"
#include "simulated_mac/platform/Running.h"
#include "tests/support/PaneOnMac.h"

using namespace vorn;

using namespace std::chrono_literals;

namespace dispatch_test {

using test::Mac;
using test::Scheduler;
using test::Time;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

test::MacDescription macWithoutQueues() {
    auto description = test::macWith({});
    description.faults = {{"dispatch_queue_create", 1, true, {}}};
    return description;
}

TEST(QueueOfItsOwn, RunsItsWorkInOrderOnAThreadOfItsName) {
    Mac mac(test::macWith({}));
    const SerialQueue queue("SerialQueue");
    std::vector<std::string> steps;
    queue.async([&] {
        steps.push_back("first on " + mac.scheduler.threadName());
        Cocoa::sleepThread(1s);
        steps.push_back("first ends");
    });
    queue.async([&] { steps.push_back("second on " + mac.scheduler.threadName()); });
    EXPECT_THAT(steps, IsEmpty());
    EXPECT_EQ(mac.scheduler.runUntilQuiet(), Scheduler::Outcome::quiet);
    EXPECT_THAT(steps, ElementsAre("first on SerialQueue", "first ends", "second on SerialQueue"));
    EXPECT_EQ(mac.scheduler.now(), Time(1s));
}

TEST(QueueOfItsOwn, WorkStillRunsWhenTheQueueIsLetGo) {
    Mac mac(test::macWith({}));
    int runs = 0;
    SerialQueue("SerialQueue").async([&] { ++runs; });
    mac.scheduler.runUntilQuiet();
    EXPECT_EQ(runs, 1);
    EXPECT_THAT(mac.ledger.heldByCall(), IsEmpty());
}

TEST(QueueOfItsOwn, TwoQueuesDoNotWaitForEachOther) {
    Mac mac(test::macWith({}));
    const SerialQueue slow("slow");
    const SerialQueue quick("quick");
    std::vector<std::string> ends;
    slow.async([&] {
        Cocoa::sleepThread(2s);
        ends.push_back("slow");
    });
    quick.async([&] {
        Cocoa::sleepThread(1s);
        ends.push_back("quick");
    });
    mac.scheduler.runUntilQuiet();
    EXPECT_THAT(ends, ElementsAre("quick", "slow"));
    EXPECT_EQ(mac.scheduler.now(), Time(2s));
}

TEST(QueueOfItsOwn, WhereNoneCanBeMadeTheWorkIsDoneAtOnce) {
    Mac mac(macWithoutQueues());
    const SerialQueue queue("SerialQueue");
    std::string thread;
    queue.async([&] { thread = mac.scheduler.threadName(); });
    EXPECT_EQ(thread, "main");
    EXPECT_THAT(mac.ledger.heldByCall(), IsEmpty());
    EXPECT_THAT(mac.journal.misuses(), IsEmpty());
}

TEST(QueueOfItsOwn, WhereNoneCouldBeMadeNoneIsLetGo) {
    Mac mac(macWithoutQueues());
    mac.trace.keepOnly({"dispatch_release"});
    { const SerialQueue queue("SerialQueue"); }
    EXPECT_THAT(mac.trace.calls(), IsEmpty());
}

TEST(MainThread, RunsAnothersWorkWhileThatOneWaits) {
    Mac mac(test::macWith({}));
    std::vector<std::string> steps;
    SerialQueue("SerialQueue").async([&] {
        runOnMainThread([&] {
            steps.push_back(mac.scheduler.threadName());
            Cocoa::sleepThread(3s);
        });
        EXPECT_EQ(mac.scheduler.now(), Time(3s));
        steps.push_back(mac.scheduler.threadName());
    });
    EXPECT_EQ(mac.scheduler.runUntilQuiet(), Scheduler::Outcome::quiet);
    EXPECT_THAT(steps, ElementsAre("main", "SerialQueue"));
}

TEST(MainThread, RunsItsOwnWorkAtOnce) {
    Mac mac(test::macWith({}));
    mac.trace.keepOnly({"dispatch_sync_f"});
    int runs = 0;
    runOnMainThread([&] { ++runs; });
    EXPECT_EQ(runs, 1);
    EXPECT_THAT(mac.trace.calls(), IsEmpty());
}

// Exceptions

/// Work of each kind that a queue might meet, and what the log says of it.
struct Thrower {
    std::string name;
    std::function<void()> work;
    std::string logged;
};

void PrintTo(const Thrower& thrower, std::ostream* out) {
    *out << thrower.name;
}

class ExceptionOfWork : public ::testing::TestWithParam<Thrower> {
  protected:
    const std::vector<std::string> logged = {"the work of a queue failed: " + GetParam().logged};
};

TEST_P(ExceptionOfWork, LeavesNoQueue) {
    Mac mac(test::macWith({}));
    const SerialQueue queue("SerialQueue");
    bool next = false;
    queue.async(GetParam().work);
    queue.async([&next] { next = true; });
    EXPECT_EQ(mac.scheduler.runUntilQuiet(), Scheduler::Outcome::quiet);
    EXPECT_EQ(mac.journal.systemLog(), logged);
    EXPECT_TRUE(next);
}

TEST_P(ExceptionOfWork, DoesNotLeaveTheMainThreadEither) {
    Mac mac(test::macWith({}));
    bool goesOn = false;
    SerialQueue("SerialQueue").async([&] {
        runOnMainThread(GetParam().work);
        goesOn = true;
    });
    EXPECT_EQ(mac.scheduler.runUntilQuiet(), Scheduler::Outcome::quiet);
    EXPECT_EQ(mac.journal.systemLog(), logged);
    EXPECT_TRUE(goesOn);
}

TEST_P(ExceptionOfWork, DoesNotLeaveTheThreadThatDoesItAtOnce) {
    Mac mac(macWithoutQueues());
    SerialQueue("SerialQueue").async(GetParam().work);
    EXPECT_EQ(mac.journal.systemLog(), logged);
    runOnMainThread(GetParam().work);
    EXPECT_EQ(mac.journal.systemLog().size(), 2u);
}

INSTANTIATE_TEST_SUITE_P(
    Of, ExceptionOfWork,
    ::testing::Values(
        Thrower{"bad_alloc", [] { throw std::bad_alloc(); }, "std::bad_alloc"},
        Thrower{"system_error",
                [] { throw std::system_error(std::make_error_code(std::errc::io_error)); },
                "Input/output error"},
        Thrower{"int", [] { throw 1; }, "an exception of another kind"}),
    [](const auto& thrower) { return thrower.param.name; });

TEST(QueueOfItsOwn, WorkThatCannotBeHandedOverIsTheCallersToTell) {
    auto description = test::macWith({});
    description.faults = {{"operator new", 1, true, {}}};
    Mac mac(description);
    bool ran = false;
    bool thrown = false;
    simulated_mac::runPlugin("test", [&] {
        const SerialQueue queue("SerialQueue");
        try {
            queue.async([&ran] { ran = true; });
        } catch (const std::bad_alloc&) {
            thrown = true;
        }
    });
    mac.scheduler.runUntilQuiet();
    EXPECT_TRUE(thrown);
    EXPECT_FALSE(ran);
    EXPECT_THAT(mac.ledger.heldByCall(), IsEmpty());
}

}  // namespace dispatch_test
