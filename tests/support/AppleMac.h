#pragma once

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "plugin/DDCCI/Arm64Utility.h"
#include "simulated_mac/platform/CFReferences.h"
#include "tests/support/PaneOnMac.h"

/// What tests of an Apple-silicon Mac's display services share.
namespace test {

using simulated_mac::PropertyMap;
using simulated_mac::PropertyValue;
using simulated_mac::ProxyDescription;

/// A property that is missing, whatever the Mac would derive for it.
inline const PropertyValue missing;

inline PropertyValue number(std::int64_t value) {
    return {value};
}
inline PropertyValue text(std::string value) {
    return {std::move(value)};
}
inline PropertyValue dictionary(PropertyMap entries) {
    return {std::move(entries)};
}

/// One value of each type that a property can have, but none of the type of `right`.
inline std::vector<PropertyValue> valuesOfOtherTypesThan(const PropertyValue& right) {
    std::vector<PropertyValue> values = {
        {true},
        number(7),
        text("7"),
        {simulated_mac::Bytes{7}},
        {simulated_mac::PropertyList{number(7), text("7")}},
        dictionary({{"7", number(7)}}),
    };
    std::erase_if(values, [&right](const PropertyValue& value) {
        return value.value.index() == right.value.index();
    });
    return values;
}

/// A proxy with this location.
inline ProxyDescription proxyAt(PropertyValue location) {
    ProxyDescription proxy;
    proxy.location = std::move(location);
    return proxy;
}
inline ProxyDescription proxyThatDoesNotOpen() {
    ProxyDescription proxy;
    proxy.opens = false;
    return proxy;
}

/// The registry ID of the proxy to which an AV service belongs; 0 without a service.
inline std::uint64_t proxyOf(IOAVServiceRef service) {
    if (service == nullptr) return 0;
    return std::get<simulated_mac::CFObject::Opaque>(simulated_mac::objectOf(service)->value).id;
}

/// How often a platform call was used since the Mac's trace began to count.
inline std::uint64_t usesOf(const Mac& mac, const std::string& call) {
    const auto uses = mac.trace.uses();
    const auto used = uses.find(call);
    return used != uses.end() ? used->second : 0;
}

/// The ledger's text when this many AV services are held and nothing else.
inline std::map<std::pair<std::string, std::string>, std::int64_t> onlyAVServices(
    std::int64_t count) {
    if (count == 0) return {};
    return {{{"IOAVService", "IOAVServiceCreateWithService"}, count}};
}

/// How many references the plug-in holds besides AV services.
inline std::int64_t referencesBesidesAVServices(const Mac& mac) {
    std::int64_t count = 0;
    for (const auto& [kind, held] : mac.ledger.held()) {
        if (kind != "IOAVService") count += held;
    }
    return count;
}

/// How many AV services the platform has handed out; its calls must be kept in the trace.
inline std::int64_t openedAVServices(const Mac& mac) {
    const auto calls = mac.trace.calls();
    return std::count_if(calls.begin(), calls.end(), [](const simulated_mac::TracedCall& call) {
        return call.call == "IOAVServiceCreateWithService" &&
               call.result == simulated_mac::Pointer{};
    });
}

/// Does the work on as many Macs as it makes platform calls, each of which lets another call fail:
/// every one must hold afterwards the AV services that it handed out, and nothing else.
inline void expectThatNoFailureLeaksAReference(MacDescription description,
                                               const std::function<void()>& work) {
    std::map<std::string, std::uint64_t, std::less<>> uses;
    {
        Mac mac(description);
        mac.trace.countUses();
        work();
        uses = mac.trace.uses();
    }
    ASSERT_FALSE(uses.empty());
    for (const auto& [call, count] : uses) {
        for (std::uint64_t nth = 1; nth <= count; ++nth) {
            SCOPED_TRACE(fmt::format("{} fails at use {}", call, nth));
            description.faults = {{call, nth, false, {}}};
            Mac mac(description);
            mac.trace.keepOnly({"IOAVServiceCreateWithService"});
            work();
            EXPECT_GE(usesOf(mac, call), nth);
            EXPECT_EQ(mac.ledger.held()["IOAVService"], openedAVServices(mac));
            // A release that fails leaves the one reference that it was for.
            EXPECT_EQ(referencesBesidesAVServices(mac), call == "IOObjectRelease" ? 1 : 0);
            EXPECT_THAT(mac.journal.misuses(), testing::IsEmpty());
        }
    }
}

}  // namespace test
