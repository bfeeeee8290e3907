#include "displaycheck/facts/Expectations.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>

namespace displaycheck {

namespace {

using simulated_mac::ContinueExpectation;
using simulated_mac::DisplayExpectation;

constexpr double microsecond = 1e-6;

std::string valueText(bool value) {
    return value ? "yes" : "no";
}

template <class Number>
std::string valueText(Number value) {
    return fmt::format("{}", value);
}

std::string continueText(const std::optional<double>& time) {
    return time ? fmt::format("{:.6g} s", *time) : "never";
}

/// Gathers what differs.
class Comparison {
  public:
    template <class Value>
    void compare(const std::string& what, const std::optional<Value>& expected,
                 const Value& found) {
        if (expected && *expected != found) add(what, valueText(*expected), valueText(found));
    }

    void compareContinue(const ContinueExpectation& expected,
                         const std::optional<simulated_mac::Time>& elapsed) {
        std::optional<double> found;
        if (elapsed) found = std::chrono::duration<double>(*elapsed).count();
        const bool isSame = expected.after && found
                                ? std::abs(*expected.after - *found) <= microsecond
                                : expected.after.has_value() == found.has_value();
        if (!isSame)
            add("Continue enabled after", continueText(expected.after), continueText(found));
    }

    void compareDisplays(const std::vector<DisplayExpectation>& expected,
                         const std::vector<DisplayFacts>& found) {
        compare("displays", std::optional(expected.size()), found.size());
        for (std::size_t at = 0; at < std::min(expected.size(), found.size()); ++at) {
            compareDisplay(fmt::format("display {}", at + 1), expected[at], *found[at].record);
        }
    }

    std::vector<Difference> differences;

  private:
    void compareDisplay(const std::string& which, const DisplayExpectation& expected,
                        const displayInfo& found) {
        const std::int64_t state = found.displayState.load();
        compare(which + ", displayState", expected.state, state);
        compare(which + ", supported", expected.supported, isSupportedState(state));
        compare(which + ", paired with an EDID", expected.paired, found.EDIDString.has_value());
    }

    void add(std::string what, std::string expected, std::string found) {
        differences.push_back({std::move(what), std::move(expected), std::move(found)});
    }
};

}  // namespace

std::vector<Difference> differencesFrom(const simulated_mac::Expectation& expected,
                                        const Report& report) {
    Comparison comparison;
    comparison.compare("warning", expected.warning, report.pane.warningShown());
    if (expected.continues) comparison.compareContinue(*expected.continues, report.elapsed);
    if (expected.displays) comparison.compareDisplays(*expected.displays, report.displays);
    comparison.compare("cameras", expected.cameras,
                       static_cast<std::uint32_t>(report.cameras.size()));
    return comparison.differences;
}

}  // namespace displaycheck
