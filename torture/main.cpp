#include <fmt/format.h>
#include <getopt.h>

#include <array>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "displaycheck/host/AssumedMac.h"
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

void tryMac(Tally& tally, const std::string& file, const MacDescription& description,
            std::uint64_t every) {
    const auto untouched = torture::runOn(description);
    count(tally, file, "without a failure", untouched);
    for (const auto& [call, uses] : untouched.uses) {
        ++tally.calls;
        for (const bool andLater : {false, true}) {
            tryCall(tally, file, description, call, andLater, every);
        }
    }
}

/// A Mac with unknown monitors once for each assumption about them.
Tally tryFile(const std::string& file, std::uint64_t every) {
    const auto description = torture::trimmed(simulated_mac::readMacFile(file));
    Tally tally;
    for (const auto& assumption : displaycheck::assumptionsFor(description)) {
        tryMac(tally, file, displaycheck::assumedMac(description, assumption), every);
    }
    return tally;
}

struct Options {
    std::uint64_t every = 1;
    std::vector<std::string> files;
};

constexpr auto usage = R"(Usage: torture [--every N] FILE...

Runs the pane on each Mac file once for every use of a platform call, with that use failing.
With --every N only the first use of a call and every Nth after it.
)";

/// Nothing where the command line is wrong.
std::optional<Options> optionsOf(int argc, char** argv) {
    const std::array<option, 2> known{{{"every", required_argument, nullptr, 'e'}, {}}};
    Options options;
    for (int found; (found = getopt_long(argc, argv, "", known.data(), nullptr)) != -1;) {
        if (found != 'e') return std::nullopt;
        const std::string_view digits = optarg;
        const auto [end, error] =
            std::from_chars(digits.data(), digits.data() + digits.size(), options.every);
        if (error != std::errc() || end != digits.data() + digits.size() || options.every == 0) {
            fmt::print(stderr, "torture: --every {}: expected a number above 0\n", digits);
            return std::nullopt;
        }
    }
    options.files.assign(argv + optind, argv + argc);
    if (options.files.empty()) return std::nullopt;
    return options;
}

/// Whether every run was good.
bool tryMacs(const Options& options) {
    bool good = true;
    for (const std::string& file : options.files) {
        const Tally tally = tryFile(file, options.every);
        good = good && tally.failures == 0;
        fmt::print("{}: {} calls, {} runs, {} failures\n", file, tally.calls, tally.runs,
                   tally.failures);
        std::fflush(stdout);
    }
    return good;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const auto options = optionsOf(argc, argv);
        if (!options) {
            std::fputs(usage, stderr);
            return 2;
        }
        return tryMacs(*options) ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "torture: %s\n", error.what());
        return 2;
    }
}
