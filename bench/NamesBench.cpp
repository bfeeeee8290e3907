#include <benchmark/benchmark.h>

#include "bench/TimePerOne.h"
#include "plugin/Extension/NSString+normalization.h"
#include "plugin/ProductData.h"
#include "plugin/WhiteList.h"

// What a name costs: whether it is a supported model, and the name without brand and brackets.

namespace {

void checkName(benchmark::State& state, const std::string& name) {
    const WhiteList list;
    const std::optional<std::string> display = name;
    for (auto iteration : state) benchmark::DoNotOptimize(list.availableDisplay(display));
}
BENCHMARK_CAPTURE(checkName, first, "VORN " + std::string(ProductData::supportedDisplays.front()))
    ->Name("name looked up, first of the list");
BENCHMARK_CAPTURE(checkName, last, "VORN " + std::string(ProductData::supportedDisplays.back()))
    ->Name("name looked up, last of the list");
BENCHMARK_CAPTURE(checkName, none, std::string("VORN K1912A"))
    ->Name("name looked up, not on the list");

void normalise(benchmark::State& state) {
    const std::string model(static_cast<std::size_t>(state.range(0)), 'k');
    const std::string name = "Vorn " + model + " (2)";
    for (auto iteration : state) benchmark::DoNotOptimize(regularMonitorName(name));
    state.counters["per_character"] = bench::timePerOne(name.size());
    state.SetComplexityN(state.range(0));
}
BENCHMARK(normalise)
    ->Name("name normalised, by characters")
    ->RangeMultiplier(8)
    ->Range(8, 32'768)
    ->Complexity();

}  // namespace
