#include "Platform/Dispatch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "Cocoa/ThreadSleep.h"
#include "tests/support/PaneOnMac.h"

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
    EXPECT_THAT(mac.misuses(), IsEmpty());
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

}  // namespace dispatch_test
