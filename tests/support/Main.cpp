#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

// The test programs' main function. The pane's process-wide objects live as long as the process, so
// each test gets one of its own: where more than one is chosen, each runs in a child. One alone
// runs here, where a debugger sees it.

namespace {

/// Runs `body` in a child process, whose status it gives; what the child prints goes to `output`.
int inChild(int output, const std::function<int()>& body) {
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        dup2(output, STDOUT_FILENO);
        const int status = body();
        std::fflush(nullptr);
        _Exit(status);
    }
    int status = 0;
    if (child == -1 || waitpid(child, &status, 0) != child) return EXIT_FAILURE;
    if (WIFSIGNALED(status)) fmt::print("the test ended by signal {}\n", WTERMSIG(status));
    return WIFEXITED(status) ? WEXITSTATUS(status) : EXIT_FAILURE;
}

/// The status of a child process, and all that it printed.
struct ChildRun {
    int status;
    std::string text;
};

ChildRun readChild(const std::function<int()>& body) {
    std::FILE* const file = std::tmpfile();
    if (file == nullptr) return {EXIT_FAILURE, "no temporary file"};
    ChildRun run{inChild(fileno(file), body), {}};
    std::rewind(file);
    std::array<char, 4096> piece;
    while (const auto count = std::fread(piece.data(), 1, piece.size(), file)) {
        run.text.append(piece.data(), count);
    }
    std::fclose(file);
    return run;
}

/// The full names in a listing: a suite a line, and its tests indented below it.
std::vector<std::string> chosenTests() {
    std::vector<std::string> names;
    std::string suite;
    const std::string text = readChild([] {
                                 GTEST_FLAG_SET(list_tests, true);
                                 return RUN_ALL_TESTS();
                             }).text;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        std::string line = text.substr(at, end - at);
        at = end + 1;
        const bool isTest = line.starts_with("  ");
        line = line.substr(isTest ? 2 : 0, line.find("  #") - (isTest ? 2 : 0));
        if (isTest) {
            names.push_back(suite + line);
        } else {
            suite = line;
        }
    }
    return names;
}

int runEachInAChild(const std::vector<std::string>& names) {
    std::vector<std::string> failed;
    for (const std::string& name : names) {
        const ChildRun run = readChild([&name] {
            GTEST_FLAG_SET(filter, name);
            return RUN_ALL_TESTS();
        });
        if (run.status == 0) continue;
        failed.push_back(name);
        fmt::print("{}", run.text);
    }
    fmt::print("{} of {} tests passed\n", names.size() - failed.size(), names.size());
    for (const std::string& name : failed) fmt::print("failed: {}\n", name);
    return failed.empty() ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    const bool isOne = GTEST_FLAG_GET(filter).find_first_of("*?:-") == std::string::npos;
    if (isOne || GTEST_FLAG_GET(list_tests)) return RUN_ALL_TESTS();
    const auto names = chosenTests();
    return names.size() > 1 ? runEachInAChild(names) : RUN_ALL_TESTS();
}
