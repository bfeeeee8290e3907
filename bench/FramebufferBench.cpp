#include <benchmark/benchmark.h>

#include "plugin/DDCCI/DDC.h"
#include "simulated_mac/description/EDID.h"
#include "simulated_mac/machine/Mac.h"

// DDC/CI on an Intel Mac with many monitors: the last one's framebuffer is found last.

namespace {

using simulated_mac::Mac;
using simulated_mac::MacDescription;

constexpr std::uint8_t code = 0xF1;
constexpr std::uint32_t replyDelay = 50;

/// An Intel Mac with that many monitors, all of which answer.
MacDescription macWithFramebuffers(std::int64_t monitors) {
    MacDescription description;
    for (std::int64_t monitor = 0; monitor < monitors; ++monitor) {
        simulated_mac::EDIDFields fields;
        fields.serial = static_cast<std::uint32_t>(monitor + 1);
        auto& described = description.screens.emplace_back().monitor;
        described.edid = simulated_mac::makeEDID(fields);
        described.vcp[code] = {0x4000};
    }
    return description;
}

void readLast(benchmark::State& state) {
    const Mac mac(macWithFramebuffers(state.range(0)));
    const auto last = mac.displays().back()->displayID;
    for (auto iteration : state) {
        DDCReadRecord record{.controlID = code};
        if (!DDCReadWithLog(last, &record, replyDelay, false)) {
            state.SkipWithError("no reply");
            break;
        }
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(readLast)
    ->Name("DDC/CI read, by framebuffers")
    ->Unit(benchmark::kMicrosecond)
    ->RangeMultiplier(5)
    ->Range(1, 50)
    ->Complexity();

}  // namespace
