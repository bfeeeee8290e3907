#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "simulated_mac/file/MacFile.h"
#include "torture/Torture.h"

// Runs the pane on each Mac as often as it makes platform calls, another one failing each time, and
// then once more with that and all later uses failing.

namespace {

using simulated_mac::MacDescription;

struct Tally {
    std::uint64_t calls = 0;
    std::uint64_t runs = 0;
    std::uint64_t failures = 0;
};

/// Counts a run, and prints what was wrong with it.
void count(Tally& tally, const std::string& file, const std::string& failure,
           const torture::RunResult& result) {
    ++tally.runs;
    if (!result.problems.empty()) ++tally.failures;
    for (const std::string& problem : result.problems) {
        fmt::print("{}: {}: {}\n", file, failure, problem);
    }
}

/// Lets a call fail at its first use, its second, ... until a run passes untouched.
void tryCall(Tally& tally, const std::string& file, const MacDescription& description,
             const std::string& call, bool andLater, std::uint64_t every) {
    for (std::uint64_t nth = 1;; nth += every) {
        MacDescription failing = description;
        failing.faults.push_back(torture::failureOf(call, nth, andLater));
        const auto result = torture::runOn(failing);
        count(tally, file, torture::textOf(failing.faults.back()), result);
        const auto uses = result.uses.find(call);
        if (uses == result.uses.end() || uses->second < nth) return;
    }
}

Tally tryMac(const std::string& file, std::uint64_t every) {
    const auto description = torture::trimmed(simulated_mac::readMacFile(file));
    Tally tally;
    const auto untouched = torture::runOn(description);
    count(tally, file, "without a failure", untouched);
    for (const auto& [call, uses] : untouched.uses) {
        ++tally.calls;
        for (const bool andLater : {false, true}) {
            tryCall(tally, file, description, call, andLater, every);
        }
    }
    return tally;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Lets every platform call of the pane's run on a Mac fail, one run each.",
                 "torture");
    std::vector<std::string> files;
    std::uint64_t every = 1;
    app.add_option("FILE", files, "Mac files (YAML)")->required();
    app.add_option("--every", every, "Only the first use of a call and every so many behind it")
        ->check(CLI::PositiveNumber);
    CLI11_PARSE(app, argc, argv);

    bool good = true;
    try {
        for (const std::string& file : files) {
            const Tally tally = tryMac(file, every);
            good = good && tally.failures == 0;
            fmt::print("{}: {} calls, {} runs, {} failures\n", file, tally.calls, tally.runs,
                       tally.failures);
            std::fflush(stdout);
        }
    } catch (const std::exception& error) {
        fmt::print(stderr, "torture: {}\n", error.what());
        return 2;
    }
    return good ? 0 : 1;
}
