#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "simulated_mac/machine/CallText.h"
#include "tests/support/PaneOnMac.h"

namespace test {

/// A run on a Mac, and what it found out.
class Detection {
  public:
    explicit Detection(const MacDescription& description) : onMac_(description) {
        onMac_.mac.trace.keepAll();
        EXPECT_EQ(onMac_.run(), Scheduler::Outcome::quiet);
        EXPECT_THAT(onMac_.mac.journal.misuses(), testing::IsEmpty());
        EXPECT_TRUE(onMac_.mac.window.nextEnabled);
        displays_ = displayInfoArray.get();
    }

    const Mac& mac() const { return onMac_.mac; }
    const displayInfo& display(std::size_t screen) const { return *displays_.at(screen); }
    std::vector<std::int32_t> states() const {
        std::vector<std::int32_t> states;
        for (const auto& display : displays_) states.push_back(display->displayState);
        return states;
    }
    bool warns() const { return !onMac_.mac.window.warnings.text.empty(); }
    Time timeOfContinue() const { return onMac_.timeOfContinue(); }

    std::vector<simulated_mac::TracedCall> calls(const std::string& name) const {
        std::vector<simulated_mac::TracedCall> calls;
        for (const auto& call : onMac_.mac.trace.calls()) {
            if (call.call == name) calls.push_back(call);
        }
        return calls;
    }
    std::vector<std::string> argumentsOf(const std::string& name) const {
        std::vector<std::string> arguments;
        for (const auto& call : calls(name)) arguments.push_back(argumentsText(call));
        return arguments;
    }
    std::vector<Time> sleeps() const {
        std::vector<Time> sleeps;
        for (const auto& call : calls("NSThread.sleep")) sleeps.push_back(durationOf(call));
        return sleeps;
    }
    /// Sleeps of a second or more; those around I2C transfers are shorter.
    std::vector<Time> waits() const {
        auto waits = sleeps();
        std::erase(waits, std::chrono::milliseconds(60));
        return waits;
    }
    /// How often the EDIDs were read.
    std::size_t listings() const {
        const auto spawns = calls("posix_spawn");
        return static_cast<std::size_t>(
            std::count_if(spawns.begin(), spawns.end(), [](const auto& call) {
                return call.arguments.back().value ==
                       simulated_mac::Quoted{"ioreg -l | grep IODisplayEDID"};
            }));
    }
    /// What reached a screen's monitor over DDC/CI.
    std::vector<simulated_mac::Bytes> requests(std::size_t screen) const {
        std::vector<simulated_mac::Bytes> requests;
        for (const auto& exchange : onMac_.mac.displays().at(screen)->monitor.exchanges()) {
            requests.push_back(exchange.request);
        }
        return requests;
    }

  private:
    PaneOnMac onMac_;
    DisplayList displays_;
};

}  // namespace test
