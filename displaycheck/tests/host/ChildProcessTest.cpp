#include "displaycheck/host/ChildProcess.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <stdexcept>

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
    EXPECT_EQ(result.failure, "no room");
}

}  // namespace child_process_test
}  // namespace displaycheck
