#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>

#include "displaycheck/commands/DumpFiles.h"
#include "displaycheck/dumps/ImportedMac.h"
#include "displaycheck/host/CapturedOutput.h"
#include "displaycheck/host/ChildProcess.h"
#include "displaycheck/host/PaneHost.h"
#include "displaycheck/host/WholeFile.h"
#include "simulated_mac/description/RecordedRegistry.h"
#include "simulated_mac/file/MacFile.h"
#include "simulated_mac/tools/RegistryText.h"

// A whole run of the pane, each in a process of its own: what the plug-in makes once lives as long
// as its process. The time is that of the processor, in the run and in the system's tools that it
// starts, not of the Mac's clock.

namespace {

using simulated_mac::Mac;
using simulated_mac::MacDescription;

/// Of one child process.
struct Cost {
    double own = 0;      ///< seconds of the processor
    double tools = 0;    ///< in the processes that it started
    double peakMiB = 0;  ///< resident, above what it began with
};

double processorSeconds(const rusage& usage) {
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

rusage usageOf(int who) {
    rusage usage{};
    getrusage(who, &usage);
    return usage;
}

double peakMiB(const rusage& usage) {
#ifdef __APPLE__
    constexpr double unitsInMiB = 1024 * 1024;
#else
    constexpr double unitsInMiB = 1024;
#endif
    return static_cast<double>(usage.ru_maxrss) / unitsInMiB;
}

Cost costOf(const std::function<void()>& work) {
    const auto result = displaycheck::runInChild(
        [&](const displaycheck::ChildEnd& end) {
            const rusage before = usageOf(RUSAGE_SELF);
            work();
            const rusage after = usageOf(RUSAGE_SELF);
            const Cost cost{processorSeconds(after) - processorSeconds(before),
                            processorSeconds(usageOf(RUSAGE_CHILDREN)),
                            peakMiB(after) - peakMiB(before)};
            std::array<char, sizeof cost> bytes{};
            std::memcpy(bytes.data(), &cost, sizeof cost);
            end.finish({bytes.data(), bytes.size()}, 0);
        },
        std::chrono::minutes(1));
    Cost cost;
    if (result.failure || result.output.size() != sizeof cost) {
        throw std::runtime_error(result.failure.value_or("a child process says nothing"));
    }
    std::memcpy(&cost, result.output.data(), sizeof cost);
    return cost;
}

void enterPane(const MacDescription& description) {
    Mac mac(description);
    const displaycheck::CapturedOutput output;
    displaycheck::PaneHost host(mac);
    if (host.run() != simulated_mac::Scheduler::Outcome::quiet) {
        throw std::runtime_error("the run did not end");
    }
}

void measure(benchmark::State& state, const std::function<void()>& work) {
    Cost total;
    for (auto iteration : state) {
        const Cost cost = costOf(work);
        state.SetIterationTime(cost.own + cost.tools);
        total.own += cost.own;
        total.tools += cost.tools;
        total.peakMiB = std::max(total.peakMiB, cost.peakMiB);
    }
    state.counters["tools_share"] = total.tools / (total.own + total.tools);
    state.counters["peak_MiB"] = total.peakMiB;
}

void switchOn(benchmark::State& state, const char* example) {
    const auto description = simulated_mac::readMacFile(std::string(EXAMPLES) + example);
    measure(state, [&] { const Mac mac(description); });
}

void run(benchmark::State& state, const char* example) {
    const auto description = simulated_mac::readMacFile(std::string(EXAMPLES) + example);
    measure(state, [&] { enterPane(description); });
}

constexpr auto intel = "/intel-first-look.yaml";
constexpr auto appleSilicon = "/apple-listed-answers.yaml";

/// A made-up Mac whose registry has as many entries as a recorded one, each with as much text.
constexpr std::uint32_t recordedEntries = 2200;
constexpr int propertiesOfEntry = 20;

MacDescription madeUpMac() {
    auto description =
        simulated_mac::readMacFile(std::string(EXAMPLES) + "/apple-listed-answers.yaml");
    description.otherRegistryEntries = recordedEntries;
    return description;
}

/// What ioreg prints on it, with properties added to every entry: 3.6 MB.
std::string recordedText() {
    const Mac mac(madeUpMac());
    simulated_mac::RegistryQuery query;
    query.allProperties = true;
    std::istringstream printed(simulated_mac::registryText(mac.registry, query));
    std::string text;
    for (std::string line; std::getline(printed, line);) {
        text += line + "\n";
        const std::size_t column = line.find_first_not_of(" |");
        if (column == std::string::npos || line[column] != '{') continue;
        for (int property = 0; property < propertiesOfEntry; ++property) {
            text += fmt::format("{}  \"IOProperty {}\" = \"{:x>40}\"\n", line.substr(0, column),
                                property, "");
        }
    }
    return text;
}

/// The same Mac with that registry.
MacDescription recordedMac() {
    auto description = madeUpMac();
    const auto registry = std::make_shared<simulated_mac::RecordedRegistry>(recordedText());
    auto screen = description.screens.begin();
    for (const simulated_mac::RecordedEntry& entry : registry->entries()) {
        if (entry.className == "AppleCLCD2") {
            screen->displayService.entry = fmt::format("{:#x}", entry.id.value());
        } else if (entry.className == "DCPAVServiceProxy") {
            screen->displayService.proxies.at(0).entry = fmt::format("{:#x}", entry.id.value());
            ++screen;
        }
    }
    description.registry = registry;
    return description;
}

void import(benchmark::State& state) {
    const std::string file =
        (std::filesystem::temp_directory_path() / fmt::format("import-{}.txt", getpid())).string();
    displaycheck::writeWholeFile(file, recordedText());
    measure(state, [&] {
        const displaycheck::MacRecord record = displaycheck::readMacRecord({file});
        displaycheck::importMac(record, {}, "registry.txt");
    });
    std::filesystem::remove(file);
}

// Enough that noise evens out.
constexpr int runs = 100;

BENCHMARK_CAPTURE(switchOn, intel, intel)
    ->Name("Intel Mac, switched on and off")
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->Iterations(runs);
BENCHMARK_CAPTURE(run, intel, intel)
    ->Name("Intel Mac, run of the pane")
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->Iterations(runs);
BENCHMARK_CAPTURE(switchOn, appleSilicon, appleSilicon)
    ->Name("Apple-silicon Mac, switched on and off")
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->Iterations(runs);
BENCHMARK_CAPTURE(run, appleSilicon, appleSilicon)
    ->Name("Apple-silicon Mac, run of the pane")
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->Iterations(runs);

// With what reading its file takes, as `displaycheck run` does it.
void runMadeUp(benchmark::State& state) {
    measure(state, [] { enterPane(madeUpMac()); });
}

void runRecorded(benchmark::State& state) {
    const std::string text = recordedText();
    MacDescription description = recordedMac();
    measure(state, [&] {
        description.registry = std::make_shared<simulated_mac::RecordedRegistry>(text);
        enterPane(description);
    });
}

BENCHMARK(import)
    ->Name("Registry of 3.6 MB, imported")
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->Iterations(runs);
BENCHMARK(runMadeUp)
    ->Name("Apple-silicon Mac, run on a made-up registry of as many entries")
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->Iterations(runs);
BENCHMARK(runRecorded)
    ->Name("Apple-silicon Mac, run on a recorded registry of 3.6 MB")
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->Iterations(runs);

}  // namespace
