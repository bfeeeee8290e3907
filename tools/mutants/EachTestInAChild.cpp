#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <thread>

// A test program's main function for the mutants beside it: runs the tests whose names come on standard
// input, each in a child process of its own, and so does in one process start what else takes one a
// test. Prints "passed" or "failed", milliseconds of processor time and name of each, and ends at
// the first failure unless the first argument is "all".
//
// Where the code under test was compiled with -fsanitize-coverage=trace-pc, the places that a test
// ran follow, as hexadecimal offsets from the program's start.

extern "C" {
extern const char __executable_start;
extern const char etext;

void __sanitizer_cov_trace_pc();
}

namespace {

constexpr rlim_t processorSeconds = 5;
constexpr std::chrono::seconds longest(30);
constexpr rlim_t memory = rlim_t{4} << 30;
constexpr rlim_t fileSize = rlim_t{64} << 20;

/// One byte for each byte of the program's code; children write it, their parent reads it.
std::uint8_t* ran = nullptr;

std::size_t codeSize() {
    return static_cast<std::size_t>(&etext - &__executable_start);
}

void limit(int resource, rlim_t most) {
    const rlimit both{most, most};
    setrlimit(resource, &both);
}

[[noreturn]] void runInChild(const std::string& name) {
    setpgid(0, 0);
    limit(RLIMIT_CPU, processorSeconds);
    limit(RLIMIT_AS, memory);
    limit(RLIMIT_FSIZE, fileSize);
    limit(RLIMIT_CORE, 0);
    if (std::freopen("/dev/null", "w", stdout) == nullptr ||
        std::freopen("/dev/null", "w", stderr) == nullptr) {
        std::abort();
    }
    testing::GTEST_FLAG(filter) = name;
    const int status = RUN_ALL_TESTS();
    // A filter that fits nothing is no success.
    const bool one = testing::UnitTest::GetInstance()->test_to_run_count() == 1;
    std::exit(one ? status : 2);
}

struct Outcome {
    bool passed;
    std::chrono::microseconds processorTime;
};

/// Ends within the longest time that a test may take.
Outcome run(const std::string& name) {
    const pid_t child = fork();
    if (child == 0) runInChild(name);
    const auto end = std::chrono::steady_clock::now() + longest;
    int status = 0;
    rusage used = {};
    auto pause = std::chrono::microseconds(200);
    while (wait4(child, &status, WNOHANG, &used) == 0) {
        if (std::chrono::steady_clock::now() > end) {
            kill(-child, SIGKILL);
            wait4(child, &status, 0, &used);
            break;
        }
        std::this_thread::sleep_for(pause);
        if (pause < std::chrono::milliseconds(20)) pause += pause / 4;
    }
    kill(-child, SIGKILL);  // what the test may have started and left
    const auto microseconds = [](const timeval& time) {
        return std::chrono::seconds(time.tv_sec) + std::chrono::microseconds(time.tv_usec);
    };
    return {WIFEXITED(status) && WEXITSTATUS(status) == 0,
            microseconds(used.ru_utime) + microseconds(used.ru_stime)};
}

void printAndForgetPlaces() {
    for (std::size_t at = 0; at < codeSize(); ++at) {
        if (ran[at] == 0) continue;
        std::printf(" %zx", at);
        ran[at] = 0;
    }
}

}  // namespace

void __sanitizer_cov_trace_pc() {
    if (ran == nullptr) return;
    ran[static_cast<const char*>(__builtin_return_address(0)) - &__executable_start] = 1;
}

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (testing::GTEST_FLAG(list_tests)) return RUN_ALL_TESTS();
    const bool all = argc > 1 && argv[1] == std::string("all");
    if (all) {
        void* const shared =
            mmap(nullptr, codeSize(), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (shared != MAP_FAILED) ran = static_cast<std::uint8_t*>(shared);
    }
    for (std::string name; std::getline(std::cin, name);) {
        const auto [passed, time] = run(name);
        std::printf("%s %lld %s", passed ? "passed" : "failed",
                    static_cast<long long>(time / std::chrono::milliseconds(1)), name.c_str());
        if (ran != nullptr) printAndForgetPlaces();
        std::printf("\n");
        std::fflush(stdout);
        if (!passed && !all) return 1;
    }
    return 0;
}
