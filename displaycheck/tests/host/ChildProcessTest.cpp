#include "displaycheck/host/ChildProcess.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <utility>
#include <vector>

namespace displaycheck {
namespace child_process_test {

using namespace std::chrono_literals;

TEST(RunInChild, HandsOutputAndStatusOver) {
    const std::string output = std::string(300'000, 'x') + std::string("\0\n", 2);
    const auto result = runInChild([&](const ChildEnd& end) { end.finish(output, 1); }, 30s);
    EXPECT_FALSE(result.failure);
    EXPECT_EQ(result.output, output);
    EXPECT_EQ(result.status, 1);
}

TEST(RunInChild, ReportsACrash) {
    const auto result = runInChild(
        [](const ChildEnd&) {
            std::signal(SIGSEGV, SIG_DFL);
            std::raise(SIGSEGV);
        },
        30s);
    ASSERT_TRUE(result.failure);
    EXPECT_EQ(*result.failure, "crashed: Segmentation fault");
    EXPECT_EQ(result.output, "");
}

TEST(RunInChild, KillsAChildThatNeverEnds) {
    const auto result = runInChild(
        [](const ChildEnd&) {
            for (;;) pause();
        },
        200ms);
    ASSERT_TRUE(result.failure);
    EXPECT_EQ(*result.failure, "timed out: killed after 0.2 s");
}

TEST(RunInChild, ReportsAnEarlyExit) {
    const auto failing = runInChild([](const ChildEnd&) { _exit(3); }, 30s);
    EXPECT_EQ(failing.failure, "ended early, with exit status 3");
    const auto quiet = runInChild([](const ChildEnd&) { _exit(0); }, 30s);
    EXPECT_EQ(quiet.failure, "ended early, with exit status 0");
    const auto returned = runInChild([](const ChildEnd&) {}, 30s);
    EXPECT_EQ(returned.failure, "ended without a report");
}

TEST(RunInChild, ReportsAnException) {
    const auto result =
        runInChild([](const ChildEnd&) { throw std::runtime_error("no room"); }, 30s);
    EXPECT_EQ(result.failure, "failed: no room");
}

TEST(RunInChildren, GivesEachOnesResultAsItEnds) {
    // The first child ends only after the second one has.
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    const auto first = [&](const ChildEnd& end) {
        char byte = 0;
        end.finish(read(ends[0], &byte, 1) == 1 ? "first" : "", 0);
    };
    const auto second = [&](const ChildEnd& end) {
        const bool told = write(ends[1], "x", 1) == 1;
        end.finish(told ? "second" : "", 0);
    };
    std::vector<std::pair<std::size_t, std::string>> results;
    runInChildren({first, second}, 2, 30s, [&](std::size_t index, ChildResult result) {
        results.emplace_back(index, result.output);
    });
    ASSERT_EQ(results.size(), 2U);
    for (const auto& [index, output] : results) EXPECT_EQ(output, index == 0 ? "first" : "second");
    for (const int end : ends) close(end);
}

TEST(RunInChildren, RunsNoMoreAtATimeThanItMay) {
    // Each child writes when it begins; nothing but its end lets the next one begin.
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_NONBLOCK), 0);
    const auto body = [&](const ChildEnd& end) {
        const bool told = write(ends[1], "x", 1) == 1;
        end.finish("", told ? 0 : 1);
    };
    std::size_t taken = 0;
    runInChildren({body, body, body}, 1, 30s, [&](std::size_t index, const ChildResult& result) {
        EXPECT_EQ(index, taken++);
        EXPECT_EQ(result.status, 0);
        std::array<char, 8> begun{};
        EXPECT_EQ(read(ends[0], begun.data(), begun.size()), 1);
    });
    EXPECT_EQ(taken, 3U);
    for (const int end : ends) close(end);
}

TEST(RunInChildren, KillsOnlyTheOneThatNeverEnds) {
    const auto endless = [](const ChildEnd&) {
        for (;;) pause();
    };
    const auto good = [](const ChildEnd& end) { end.finish("good", 0); };
    std::vector<ChildResult> results(2);
    runInChildren({endless, good}, 2, 200ms, [&](std::size_t index, ChildResult result) {
        results[index] = std::move(result);
    });
    EXPECT_EQ(results[0].failure, "timed out: killed after 0.2 s");
    EXPECT_EQ(results[1].output, "good");
}

}  // namespace child_process_test
}  // namespace displaycheck
