#include <IOKit/IOKitLib.h>
#include <benchmark/benchmark.h>

#include <vector>

#include "bench/TimePerOne.h"
#include "plugin/DDCCI/Arm64Utility.h"
#include "plugin/Platform/IOObject.h"
#include "simulated_mac/description/EDID.h"
#include "simulated_mac/machine/Mac.h"

// Finding and pairing the display services of an Apple-silicon Mac.

namespace {

using simulated_mac::Mac;
using simulated_mac::MacDescription;
using simulated_mac::ScreenDescription;

/// An Apple-silicon Mac with a built-in panel, so many monitors and so many registry entries of no
/// interest.
MacDescription macWith(std::int64_t monitors, std::int64_t entries) {
    MacDescription description;
    description.chip = simulated_mac::Chip::apple;
    description.otherRegistryEntries = static_cast<std::uint32_t>(entries);
    description.screens.emplace_back().builtIn = true;
    for (std::int64_t monitor = 0; monitor < monitors; ++monitor) {
        simulated_mac::EDIDFields fields;
        fields.name = "VORN K2422H";
        fields.serial = static_cast<std::uint32_t>(monitor + 1);
        description.screens.emplace_back().monitor.edid = simulated_mac::makeEDID(fields);
    }
    return description;
}

void walkRegistry(benchmark::State& state) {
    const Mac mac(macWith(1, state.range(0)));
    const Arm64Utility utility;
    for (auto iteration : state) {
        benchmark::DoNotOptimize(utility.getIoregServicesForMatching());
    }
    state.counters["per_entry"] = bench::timePerOne(static_cast<std::size_t>(state.range(0)));
    state.SetComplexityN(state.range(0));
}
BENCHMARK(walkRegistry)
    ->Name("registry walk, by entries")
    ->Unit(benchmark::kMillisecond)
    ->RangeMultiplier(10)
    ->Range(100, 1'000'000)
    ->Complexity();

/// The platform's share of that walk: its calls alone.
void callForEveryEntry(benchmark::State& state) {
    const Mac mac(macWith(1, state.range(0)));
    io_name_t name = {};
    for (auto iteration : state) {
        const vorn::IOObject root(IORegistryGetRootEntry(kIOMasterPortDefault));
        io_iterator_t walk = IO_OBJECT_NULL;
        IORegistryEntryCreateIterator(root.get(), kIOServicePlane, kIORegistryIterateRecursively,
                                      &walk);
        const vorn::IOObject iterator(walk);
        while (const vorn::IOObject entry{IOIteratorNext(iterator.get())}) {
            IORegistryEntryGetName(entry.get(), name);
        }
        benchmark::DoNotOptimize(name);
    }
    state.counters["per_entry"] = bench::timePerOne(static_cast<std::size_t>(state.range(0)));
    state.SetComplexityN(state.range(0));
}
BENCHMARK(callForEveryEntry)
    ->Name("registry walk, the platform's calls alone, by entries")
    ->Unit(benchmark::kMillisecond)
    ->RangeMultiplier(10)
    ->Range(100, 1'000'000)
    ->Complexity();

void pairDisplays(benchmark::State& state) {
    const Mac mac(macWith(state.range(0), 0));
    const Arm64Utility utility;
    std::vector<CGDirectDisplayID> displayIDs;
    for (const auto& display : mac.displays()) displayIDs.push_back(display->displayID);
    for (auto iteration : state) {
        benchmark::DoNotOptimize(utility.getServiceMatches(displayIDs));
    }
    state.counters["per_display_and_service"] =
        bench::timePerOne(displayIDs.size() * static_cast<std::size_t>(state.range(0)));
    state.SetComplexityN(state.range(0));
}
BENCHMARK(pairDisplays)
    ->Name("pairing, by monitors")
    ->Unit(benchmark::kMillisecond)
    ->RangeMultiplier(5)
    ->Range(1, 50)
    ->Complexity();

}  // namespace
