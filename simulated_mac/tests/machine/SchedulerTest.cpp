#include "simulated_mac/machine/Scheduler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <latch>
#include <optional>
#include <string>
#include <vector>

namespace simulated_mac {
namespace scheduler_test {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using Outcome = Scheduler::Outcome;

class SchedulerTest : public testing::Test {
  protected:
    void note(const std::string& what) { notes_.push_back(what); }

    Scheduler scheduler_{{}};
    std::vector<std::string> notes_;
};

// The main thread

TEST_F(SchedulerTest, ARunWithoutWorkIsQuietAtOnce) {
    EXPECT_EQ(scheduler_.runUntilQuiet(), Outcome::quiet);
    EXPECT_EQ(scheduler_.now(), Time(0));
}

TEST_F(SchedulerTest, TheMainThreadDoesItsWorkInTheOrderOfPosting) {
    scheduler_.onMain([&] {
        note("first");
        scheduler_.onMain([&] { note("posted by the first"); });
    });
    scheduler_.onMain([&] { note("second"); });
    EXPECT_THAT(notes_, IsEmpty()) << "nothing is done before the run loop runs";
    scheduler_.runUntilQuiet();
    EXPECT_THAT(notes_, ElementsAre("first", "second", "posted by the first"));
}

TEST_F(SchedulerTest, WorkOfLaterTimesIsDoneInTheOrderOfTheTimes) {
    scheduler_.onMainAt(3s, [&] { note("3"); });
    scheduler_.onMainAt(1s, [&] { note("1"); });
    scheduler_.onMainAt(2s, [&] { note("2"); });
    scheduler_.runUntilQuiet();
    EXPECT_THAT(notes_, ElementsAre("1", "2", "3"));
    EXPECT_EQ(scheduler_.now(), Time(3s));
}

TEST_F(SchedulerTest, ARunUpToATimeLeavesLaterWorkForLater) {
    scheduler_.onMainAt(1s, [&] { note("1"); });
    scheduler_.onMainAt(3s, [&] { note("3"); });
    EXPECT_EQ(scheduler_.runUntil(2s), Outcome::waiting);
    EXPECT_THAT(notes_, ElementsAre("1"));
    EXPECT_EQ(scheduler_.now(), Time(2s));
    EXPECT_EQ(scheduler_.runUntil(3s), Outcome::quiet);
    EXPECT_THAT(notes_, ElementsAre("1", "3"));
}

TEST_F(SchedulerTest, TheClockGoesOnInARunUpToATimeWithoutWork) {
    EXPECT_EQ(scheduler_.runUntil(2s), Outcome::quiet);
    EXPECT_EQ(scheduler_.now(), Time(2s));
    EXPECT_EQ(scheduler_.runUntil(1s), Outcome::quiet);
    EXPECT_EQ(scheduler_.now(), Time(2s)) << "and never goes back";
}

TEST_F(SchedulerTest, AThreadThatSleepsBeyondTheTimeWakesInALaterRun) {
    scheduler_.startThread("sleeper", [&] {
        scheduler_.sleep(5s);
        scheduler_.onMain([&] { note("woke"); });
    });
    EXPECT_EQ(scheduler_.runUntil(4s), Outcome::waiting);
    EXPECT_THAT(notes_, IsEmpty());
    EXPECT_EQ(scheduler_.runUntil(6s), Outcome::quiet);
    EXPECT_THAT(notes_, ElementsAre("woke"));
}

TEST_F(SchedulerTest, ASleepBeginsAtTheTimeThatTheRunHasReached) {
    scheduler_.runUntil(10s);
    scheduler_.startThread("sleeper", [&] { scheduler_.sleep(1s); });
    EXPECT_EQ(scheduler_.runUntil(Time(11s) - Time(1)), Outcome::waiting);
    EXPECT_EQ(scheduler_.runUntilQuiet(), Outcome::quiet);
    EXPECT_EQ(scheduler_.now(), Time(11s));
}

TEST_F(SchedulerTest, WorkOfTheSameTimeIsDoneInTheOrderOfPosting) {
    scheduler_.onMainAt(1s, [&] { note("a"); });
    scheduler_.onMainAt(1s, [&] { note("b"); });
    scheduler_.onMainAt(1s, [&] { note("c"); });
    scheduler_.runUntilQuiet();
    EXPECT_THAT(notes_, ElementsAre("a", "b", "c"));
}

TEST_F(SchedulerTest, WorkOfAPastTimeIsDoneNow) {
    std::optional<Time> done;
    scheduler_.onMainAt(5s, [&] { scheduler_.onMainAt(1s, [&] { done = scheduler_.now(); }); });
    scheduler_.runUntilQuiet();
    EXPECT_EQ(done, Time(5s));
}

TEST_F(SchedulerTest, ALaterRunGoesOnAtTheSameTime) {
    scheduler_.onMainAt(2s, [&] { note("first run"); });
    scheduler_.runUntilQuiet();
    scheduler_.onMainAt(4s, [&] { note("second run"); });
    EXPECT_EQ(scheduler_.now(), Time(2s));
    EXPECT_EQ(scheduler_.runUntilQuiet(), Outcome::quiet);
    EXPECT_THAT(notes_, ElementsAre("first run", "second run"));
    EXPECT_EQ(scheduler_.now(), Time(4s));
}

TEST_F(SchedulerTest, ThreadsAreKnownByTheirNames) {
    scheduler_.startThread("worker", [&] {
        note(scheduler_.threadName());
        note(scheduler_.onMainThread() ? "main" : "background");
    });
    scheduler_.onMain([&] {
        note(scheduler_.threadName());
        note(scheduler_.onMainThread() ? "main" : "background");
    });
    scheduler_.runUntilQuiet();
    EXPECT_THAT(notes_, ElementsAre("main", "main", "worker", "background"));
}

// The clock

TEST_F(SchedulerTest, ASleepTakesItsTimeOnTheClock) {
    scheduler_.startThread("worker", [&] {
        scheduler_.sleep(21s);
        EXPECT_EQ(scheduler_.now(), Time(21s));
        scheduler_.sleep(20ms);
        EXPECT_EQ(scheduler_.now(), Time(21'020ms));
        scheduler_.sleep(Time(0));
        EXPECT_EQ(scheduler_.now(), Time(21'020ms));
        note("done");
    });
    EXPECT_EQ(scheduler_.runUntilQuiet(), Outcome::quiet);
    EXPECT_THAT(notes_, ElementsAre("done"));
}

TEST_F(SchedulerTest, SleepersWakeInTheOrderOfTheirDeadlines) {
    for (const int seconds : {3, 1, 2}) {
        scheduler_.startThread(std::to_string(seconds), [&, seconds] {
            scheduler_.sleep(std::chrono::seconds(seconds));
            EXPECT_EQ(scheduler_.now(), Time(std::chrono::seconds(seconds)));
            note(scheduler_.threadName());
        });
    }
    scheduler_.runUntilQuiet();
    EXPECT_THAT(notes_, ElementsAre("1", "2", "3"));
}

TEST_F(SchedulerTest, SleepersOfTheSameDeadlineWakeInTheOrderInWhichTheyFellAsleep) {
    for (const char* const name : {"a", "b", "c"}) {
        scheduler_.startThread(name, [&] {
            scheduler_.sleep(1s);
            note(scheduler_.threadName());
        });
    }
    scheduler_.runUntilQuiet();
    EXPECT_THAT(notes_, ElementsAre("a", "b", "c"));
}

TEST_F(SchedulerTest, TheClockStandsStillWhileAThreadWorks) {
    scheduler_.startThread("sleeper", [&] {
        scheduler_.sleep(1us);
        note("sleeper");
    });
    scheduler_.startThread("worker", [&] {
        for (int step = 0; step < 1000; ++step) EXPECT_EQ(scheduler_.now(), Time(0));
        note("worker");
    });
    scheduler_.runUntilQuiet();
    EXPECT_THAT(notes_, ElementsAre("worker", "sleeper"));
}

TEST_F(SchedulerTest, TheMainThreadMaySleepWhileOthersWork) {
    scheduler_.startThread("worker", [&] {
        scheduler_.sleep(1s);
        note("worker at 1");
    });
    scheduler_.onMain([&] {
        scheduler_.sleep(2s);
        note("main at 2");
    });
    scheduler_.runUntilQuiet();
    EXPECT_THAT(notes_, ElementsAre("worker at 1", "main at 2"));
}

// Threads

TEST_F(SchedulerTest, AThreadGoesOnUntilItWaits) {
    scheduler_.startThread("a", [&] {
        note("a1");
        note("a2");
        scheduler_.sleep(1s);
        note("a3");
    });
    scheduler_.startThread("b", [&] {
        note("b1");
        note("b2");
    });
    scheduler_.runUntilQuiet();
    EXPECT_THAT(notes_, ElementsAre("a1", "a2", "b1", "b2", "a3"));
}

TEST_F(SchedulerTest, AThreadStartedByAnotherFollowsIt) {
    scheduler_.startThread("outer", [&] {
        scheduler_.startThread("inner", [&] { note("inner"); });
        note("outer");
    });
    scheduler_.runUntilQuiet();
    EXPECT_THAT(notes_, ElementsAre("outer", "inner"));
}

TEST_F(SchedulerTest, OneThreadRunsAtATime) {
    std::atomic<int> running = 0;
    std::atomic<int> most = 0;
    for (int thread = 0; thread < 8; ++thread) {
        scheduler_.startThread("worker", [&] {
            for (int step = 0; step < 20; ++step) {
                most = std::max<int>(most, ++running);
                --running;
                scheduler_.sleep(1ms);
            }
        });
    }
    EXPECT_EQ(scheduler_.runUntilQuiet(), Outcome::quiet);
    EXPECT_EQ(most, 1);
}

TEST(SchedulerWithSeveralThreadsAtOnce, LetsThemRunBesideOneAnother) {
    Scheduler scheduler({.threadsAtOnce = 2, .realtime = false, .longestRun = 1h});
    std::latch both(2);
    std::atomic<int> met = 0;
    for (int thread = 0; thread < 2; ++thread) {
        scheduler.startThread("worker", [&] {
            both.arrive_and_wait();
            ++met;
        });
    }
    EXPECT_EQ(scheduler.runUntilQuiet(), Outcome::quiet);
    EXPECT_EQ(met, 2);
}

TEST(SchedulerWithSeveralThreadsAtOnce, KeepsTheClock) {
    Scheduler scheduler({.threadsAtOnce = 4, .realtime = false, .longestRun = 1h});
    Scheduler::Semaphore lock(1);
    int rounds = 0;
    for (int thread = 0; thread < 8; ++thread) {
        scheduler.startThread("worker", [&] {
            for (int step = 0; step < 50; ++step) {
                scheduler.wait(lock);
                ++rounds;
                scheduler.signal(lock);
                scheduler.sleep(1s);
            }
        });
    }
    EXPECT_EQ(scheduler.runUntilQuiet(), Outcome::quiet);
    EXPECT_EQ(rounds, 400);
    EXPECT_EQ(scheduler.now(), Time(50s));
}

/// The order in which threads with different work get their turns.
std::vector<std::string> orderOfABusyRun() {
    Scheduler scheduler({});
    Scheduler::Semaphore lock(1);
    std::vector<std::string> order;
    for (int thread = 0; thread < 10; ++thread) {
        scheduler.startThread(std::to_string(thread), [&, thread] {
            for (int step = 0; step < 10; ++step) {
                scheduler.sleep(Time(thread * step % 7));
                scheduler.wait(lock);
                order.push_back(scheduler.threadName());
                scheduler.sleep(Time(step % 3));
                scheduler.signal(lock);
                scheduler.onMain([&order] { order.push_back("main"); });
            }
        });
    }
    scheduler.runUntilQuiet();
    return order;
}

TEST(SchedulerOrder, IsTheSameInEveryRun) {
    const auto first = orderOfABusyRun();
    EXPECT_EQ(first.size(), 200u);
    for (int run = 0; run < 5; ++run) EXPECT_EQ(orderOfABusyRun(), first);
}

// Semaphores

TEST_F(SchedulerTest, ASemaphoreAboveZeroLetsItsWaitersPass) {
    Scheduler::Semaphore semaphore(2);
    scheduler_.startThread("worker", [&] {
        scheduler_.wait(semaphore);
        scheduler_.wait(semaphore);
        note("passed");
    });
    EXPECT_EQ(scheduler_.runUntilQuiet(), Outcome::quiet);
    EXPECT_THAT(notes_, ElementsAre("passed"));
}

TEST_F(SchedulerTest, SignalsAreCountedWhileNobodyWaits) {
    Scheduler::Semaphore semaphore(0);
    scheduler_.signal(semaphore);
    scheduler_.signal(semaphore);
    scheduler_.startThread("worker", [&] {
        scheduler_.wait(semaphore);
        scheduler_.wait(semaphore);
        note("passed");
        scheduler_.wait(semaphore);
        note("never");
    });
    EXPECT_EQ(scheduler_.runUntilQuiet(), Outcome::stuck);
    EXPECT_THAT(notes_, ElementsAre("passed"));
}

TEST_F(SchedulerTest, WaitersAreServedInTheOrderOfTheirComing) {
    Scheduler::Semaphore semaphore(0);
    for (const char* const name : {"a", "b", "c"}) {
        scheduler_.startThread(name, [&] {
            scheduler_.wait(semaphore);
            note(scheduler_.threadName() + std::to_string(scheduler_.now() / 1s));
        });
    }
    for (const Time time : {1s, 2s, 3s}) {
        scheduler_.onMainAt(time, [&] { scheduler_.signal(semaphore); });
    }
    EXPECT_EQ(scheduler_.runUntilQuiet(), Outcome::quiet);
    EXPECT_THAT(notes_, ElementsAre("a1", "b2", "c3"));
}

TEST_F(SchedulerTest, ANewcomerDoesNotOvertakeAWaiterThatWasServed) {
    Scheduler::Semaphore lock(1);
    for (const char* const name : {"a", "b"}) {
        scheduler_.startThread(name, [&] {
            for (int step = 0; step < 2; ++step) {
                scheduler_.wait(lock);
                note(scheduler_.threadName());
                scheduler_.sleep(1s);
                scheduler_.signal(lock);
            }
        });
    }
    EXPECT_EQ(scheduler_.runUntilQuiet(), Outcome::quiet);
    EXPECT_THAT(notes_, ElementsAre("a", "b", "a", "b"));
}

// Outcomes

TEST_F(SchedulerTest, ARunIsStuckWhenAThreadWaitsForWhatCannotHappen) {
    Scheduler::Semaphore never(0);
    scheduler_.startThread("waiter", [&] { scheduler_.wait(never); });
    scheduler_.startThread("worker", [&] { scheduler_.sleep(3s); });
    EXPECT_EQ(scheduler_.runUntilQuiet(), Outcome::stuck);
    EXPECT_EQ(scheduler_.now(), Time(3s));
}

TEST_F(SchedulerTest, NamesTheThreadsThatWait) {
    Scheduler::Semaphore never(0);
    Scheduler::Semaphore late(0);
    scheduler_.startThread("first", [&] {
        scheduler_.sleep(2s);
        scheduler_.wait(never, "call");
    });
    scheduler_.startThread("second", [&] { scheduler_.wait(late, "other"); });
    EXPECT_EQ(scheduler_.runUntilQuiet(), Outcome::stuck);
    const auto waiting = scheduler_.waiting();
    ASSERT_EQ(waiting.size(), 2u);
    EXPECT_EQ(waiting[0].thread, "second");
    EXPECT_EQ(waiting[0].since, Time(0));
    EXPECT_EQ(waiting[1].thread, "first");
    EXPECT_EQ(waiting[1].call, "call");
    EXPECT_EQ(waiting[1].since, Time(2s));
    scheduler_.signal(late);
    EXPECT_EQ(scheduler_.runUntilQuiet(), Outcome::stuck);
    EXPECT_EQ(scheduler_.waiting().size(), 1u);
}

TEST_F(SchedulerTest, AStuckRunGoesOnOnceTheThreadIsSignalled) {
    Scheduler::Semaphore late(0);
    scheduler_.startThread("waiter", [&] { scheduler_.wait(late); });
    EXPECT_EQ(scheduler_.runUntilQuiet(), Outcome::stuck);
    scheduler_.signal(late);
    EXPECT_EQ(scheduler_.runUntilQuiet(), Outcome::quiet);
}

TEST(SchedulerWithALongestRun, EndsARunThatGoesOnBeyond) {
    Scheduler scheduler({.threadsAtOnce = 1, .realtime = false, .longestRun = 10s});
    scheduler.startThread("restless", [&] {
        for (;;) scheduler.sleep(3s);
    });
    EXPECT_EQ(scheduler.runUntilQuiet(), Outcome::outOfTime);
    EXPECT_EQ(scheduler.now(), Time(9s));
}

TEST(SchedulerWithALongestRun, AllowsARunOfJustThatTime) {
    Scheduler scheduler({.threadsAtOnce = 1, .realtime = false, .longestRun = 10s});
    scheduler.startThread("worker", [&] { scheduler.sleep(10s); });
    EXPECT_EQ(scheduler.runUntilQuiet(), Outcome::quiet);
    EXPECT_EQ(scheduler.now(), Time(10s));
}

TEST(SchedulerWithALongestRun, CountsFromTheLastWorkThatWasPlanned) {
    Scheduler scheduler({.threadsAtOnce = 1, .realtime = false, .longestRun = 10s});
    scheduler.onMainAt(Time(25s), [&] {
        scheduler.startThread("restless", [&] {
            for (;;) scheduler.sleep(3s);
        });
    });
    scheduler.onMainAt(Time(5s), [] {});
    EXPECT_EQ(scheduler.runUntilQuiet(), Outcome::outOfTime);
    EXPECT_EQ(scheduler.now(), Time(34s));
}

TEST(SchedulerWithALongestRun, AllowsAnHourUnlessToldOtherwise) {
    Scheduler scheduler({});
    scheduler.startThread("worker", [&] { scheduler.sleep(1h); });
    EXPECT_EQ(scheduler.runUntilQuiet(), Outcome::quiet);
    scheduler.startThread("worker", [&] { scheduler.sleep(1us); });
    EXPECT_EQ(scheduler.runUntilQuiet(), Outcome::outOfTime);
}

TEST(SchedulerDeathTest, AMainThreadThatWaitsForeverEndsTheProcessWithAMessage) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            Scheduler scheduler({});
            Scheduler::Semaphore never(0);
            scheduler.onMain([&] { scheduler.wait(never); });
            scheduler.runUntilQuiet();
        },
        testing::ExitedWithCode(EXIT_FAILURE),
        "the Mac's main thread waits for what can't happen any more");
}

}  // namespace scheduler_test
}  // namespace simulated_mac
