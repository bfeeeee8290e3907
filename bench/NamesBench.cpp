#include <benchmark/benchmark.h>

#include "plugin/Extension/NSString+normalization.h"
#include "plugin/ProductData.h"
#include "plugin/WhiteList.h"

// What a name costs: whether it is a supported model, and the name without brand and brackets.

namespace {

void checkName(benchmark::State& state, const std::string& name) {
    const WhiteList list;
    for (auto iteration : state) benchmark::DoNotOptimize(list.availableDisplay(name));
}
BENCHMARK_CAPTURE(checkName, first, "VORN " + std::string(ProductData::supportedDisplays.front()))
    ->Name("name looked up, first of the list");
BENCHMARK_CAPTURE(checkName, last, "VORN " + std::string(ProductData::supportedDisplays.back()))
    ->Name("name looked up, last of the list");
BENCHMARK_CAPTURE(checkName, none, std::string("VORN K1912A"))
    ->Name("name looked up, not on the list");

void normalise(benchmark::State& state) {
    const std::string name(static_cast<std::size_t>(state.range(0)), 'k');
    for (auto iteration : state) {
        benchmark::DoNotOptimize(regularMonitorName("Vorn " + name + " (2)"));
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(normalise)
    ->Name("name normalised, by characters")
    ->RangeMultiplier(8)
    ->Range(8, 32'768)
    ->Complexity();

}  // namespace
