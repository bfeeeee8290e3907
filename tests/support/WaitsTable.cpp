#include "tests/support/WaitsTable.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <filesystem>

namespace test {

namespace {

using simulated_mac::Time;

std::string secondsText(Time time) {
    return fmt::format("{:g}", std::chrono::duration<double>(time).count());
}

/// "2 + 3 + 6 × 0.06": equal waits together, in the order of their first one.
std::string sumText(std::vector<Time> waits) {
    std::vector<std::string> parts;
    while (!waits.empty()) {
        const Time wait = waits.front();
        const auto count = std::erase(waits, wait);
        parts.push_back(count == 1 ? secondsText(wait)
                                   : fmt::format("{} × {}", count, secondsText(wait)));
    }
    return parts.empty() ? "none" : fmt::format("{}", fmt::join(parts, " + "));
}

}  // namespace

std::vector<std::string> namesOfExamples() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(PROJECT_SOURCE_DIR "/examples")) {
        if (entry.path().extension() == ".yaml") names.push_back(entry.path().stem());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string nameOfRun(const std::string& example,
                      const std::optional<simulated_mac::Assumption>& assumed) {
    return assumed ? fmt::format("{}, {}", example, nameOf(*assumed)) : example;
}

std::string waitsRow(const std::string& name, const RequiredWaits& required) {
    return fmt::format("| {} | {} | {} | {} |", name, sumText(required.waits),
                       secondsText(required.toContinue), secondsText(required.end));
}

}  // namespace test
