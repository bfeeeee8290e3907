#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

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
        for (const auto& call : calls(name)) arguments.push_back(call.arguments);
        return arguments;
    }
    /// Sleeps of a second or more; those around I2C transfers are shorter.
    std::vector<std::string> waits() const {
        auto sleeps = argumentsOf("NSThread.sleep");
        std::erase(sleeps, "60000 us");
        return sleeps;
    }
    /// How often the EDIDs were read.
    std::size_t listings() const {
        std::size_t count = 0;
        for (const std::string& arguments : argumentsOf("posix_spawn")) {
            if (arguments.find("IODisplayEDID") != std::string::npos) ++count;
        }
        return count;
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
