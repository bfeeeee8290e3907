#include <CoreFoundation/CoreFoundation.h>
#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <string>

#include "bench/EDIDCorpus.h"
#include "bench/TimePerOne.h"
#include "plugin/DDCCI/DDCCtl.h"
#include "plugin/Utilities/EDIDUtils.h"
#include "plugin/Utilities/StringUtil.h"

// From what a system tool prints to the identity of a monitor.

namespace {

void makeDecoder() {
    if (strUtil == nullptr) strUtil = new StringUtil;
    if (DDC == nullptr) DDC = new DDCCtl;
    if (edidUtils == nullptr) edidUtils = new EDIDUtils;
}

void decode(benchmark::State& state) {
    makeDecoder();
    const auto corpus = bench::corpusOfEDIDs();
    for (auto iteration : state) {
        for (const std::string& text : corpus) {
            benchmark::DoNotOptimize(edidUtils->generateEDIDInfo(text));
        }
    }
    state.counters["per_EDID"] = bench::timePerOne(corpus.size());
    state.SetLabel(fmt::format("{} EDIDs {}", corpus.size(), bench::originOfEDIDs()));
}
BENCHMARK(decode)->Name("EDIDs decoded")->Unit(benchmark::kMillisecond);

/// The platform's share of decoding one: the memory of two copies.
void allocate(benchmark::State& state) {
    for (auto iteration : state) {
        for (const CFIndex size : {128, 8}) {
            void* const block = CFAllocatorAllocate(kCFAllocatorDefault, size, 0);
            benchmark::DoNotOptimize(block);
            CFAllocatorDeallocate(kCFAllocatorDefault, block);
        }
    }
}
BENCHMARK(allocate)->Name("EDID decoded, the platform's calls alone");

void decodeBlocks(benchmark::State& state) {
    makeDecoder();
    const std::string text = bench::madeEDID(1, static_cast<int>(state.range(0)) - 1);
    for (auto iteration : state) benchmark::DoNotOptimize(edidUtils->generateEDIDInfo(text));
    state.SetComplexityN(state.range(0));
}
BENCHMARK(decodeBlocks)
    ->Name("EDID decoded, by blocks")
    ->Unit(benchmark::kMicrosecond)
    ->RangeMultiplier(4)
    ->Range(1, 256)
    ->Complexity();

/// What the Mac's tool prints: the EDIDs in angle brackets, one a line.
std::string listOf(std::int64_t count) {
    std::string text;
    for (std::int64_t number = 0; number < count; ++number) {
        text += fmt::format("    | |   |   \"IODisplayEDID\" = <{}>\n",
                            bench::madeEDID(static_cast<int>(number % 100), 1));
    }
    return text;
}

void walkToolOutput(benchmark::State& state) {
    const std::string text = listOf(state.range(0));
    const StringUtil util;
    for (auto iteration : state) benchmark::DoNotOptimize(util.EDIDTextsIn(text));
    state.SetComplexityN(state.range(0));
    state.counters["per_character"] = bench::timePerOne(text.size());
}
BENCHMARK(walkToolOutput)
    ->Name("tool's output walked, by EDIDs in it")
    ->Unit(benchmark::kMillisecond)
    ->RangeMultiplier(10)
    ->Range(1, 10'000)
    ->Complexity();

}  // namespace
