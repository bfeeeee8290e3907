#include "simulated_mac/machine/Trace.h"

#include <CoreFoundation/CoreFoundation.h>
#include <CoreGraphics/CoreGraphics.h>
#include <IOKit/IOKitLib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "simulated_mac/machine/CallText.h"
#include "simulated_mac/machine/Mac.h"

namespace simulated_mac {
namespace trace_test {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

FaultDescription fault(std::string call, std::uint64_t nth, bool andLater = false,
                       std::optional<std::int32_t> result = std::nullopt) {
    return {.call = std::move(call), .nth = nth, .andLater = andLater, .result = result};
}

/// Which of five uses of a call fail.
std::vector<bool> failuresOfFiveUses(Trace& trace, const std::string& call) {
    std::vector<bool> failures;
    for (int use = 0; use < 5; ++use) failures.push_back(trace.use(call).has_value());
    return failures;
}

// Faults

TEST(Trace, LetsTheNthUseFail) {
    Trace trace({fault("call", 3)});
    EXPECT_THAT(failuresOfFiveUses(trace, "call"), ElementsAre(false, false, true, false, false));
}

TEST(Trace, LetsTheFirstUseFail) {
    Trace trace({fault("call", 1)});
    EXPECT_THAT(failuresOfFiveUses(trace, "call"), ElementsAre(true, false, false, false, false));
}

TEST(Trace, LetsTheNthUseAndAllLaterOnesFail) {
    Trace trace({fault("call", 3, true)});
    EXPECT_THAT(failuresOfFiveUses(trace, "call"), ElementsAre(false, false, true, true, true));
}

TEST(Trace, LetsSeveralUsesFail) {
    Trace trace({fault("call", 2), fault("call", 4)});
    EXPECT_THAT(failuresOfFiveUses(trace, "call"), ElementsAre(false, true, false, true, false));
}

TEST(Trace, CountsTheUsesOfEachCallSeparately) {
    Trace trace({fault("one", 2), fault("two", 1)});
    EXPECT_FALSE(trace.use("one"));
    EXPECT_TRUE(trace.use("two"));
    EXPECT_FALSE(trace.use("other"));
    EXPECT_TRUE(trace.use("one"));
    EXPECT_THAT(trace.uses(), ElementsAre(Pair("one", 2), Pair("other", 1), Pair("two", 1)));
}

TEST(Trace, GivesTheResultOfTheFault) {
    Trace trace({fault("call", 1, false, 5)});
    EXPECT_EQ(trace.use("call")->result, 5);
}

TEST(Trace, CountsUsesWithoutFaultsWhenAskedTo) {
    Trace trace({});
    trace.use("call");
    EXPECT_THAT(trace.uses(), IsEmpty());
    trace.countUses();
    trace.use("call");
    EXPECT_THAT(trace.uses(), ElementsAre(Pair("call", 1)));
}

// Which calls are kept

TEST(Trace, KeepsNothingUnlessAskedTo) {
    EXPECT_FALSE(Trace({}).keeps("call"));
}

TEST(Trace, KeepsAllCalls) {
    Trace trace({});
    trace.keepAll();
    EXPECT_TRUE(trace.keeps("call"));
    EXPECT_TRUE(trace.keeps("other"));
}

TEST(Trace, KeepsTheNamedCallsOnly) {
    Trace trace({});
    trace.keepOnly({"call"});
    EXPECT_TRUE(trace.keeps("call"));
    EXPECT_FALSE(trace.keeps("other"));
    EXPECT_FALSE(trace.keeps("cal"));
}

// Calls on a Mac

MacDescription describe(std::vector<FaultDescription> faults = {}) {
    MacDescription description;
    ScreenDescription panel;
    panel.builtIn = true;
    panel.displayID = 7;
    description.screens.push_back(panel);
    description.faults = std::move(faults);
    return description;
}

std::vector<std::string> argumentsOf(const Mac& mac) {
    std::vector<std::string> arguments;
    for (const auto& call : mac.trace.calls()) arguments.push_back(argumentsText(call));
    return arguments;
}

TEST(TraceOfAMac, KeepsTimeThreadCallArgumentsAndResult) {
    Mac mac(describe());
    mac.trace.keepAll();
    mac.scheduler.startThread("worker", [&] {
        mac.scheduler.sleep(3s);
        CGDisplayIsBuiltin(7);
    });
    mac.scheduler.runUntilQuiet();
    const auto calls = mac.trace.calls();
    ASSERT_THAT(calls, SizeIs(1));
    EXPECT_EQ(calls[0].time, Time(3s));
    EXPECT_EQ(calls[0].thread, "worker");
    EXPECT_EQ(calls[0].call, "CGDisplayIsBuiltin");
    EXPECT_EQ(calls[0].argument("display"), 7);
    EXPECT_EQ(calls[0].result, 1);
    EXPECT_FALSE(calls[0].failed);
}

TEST(TraceOfAMac, KeepsCallsInTheirOrder) {
    Mac mac(describe());
    mac.trace.keepOnly({"CGDisplayIsBuiltin", "CGDisplaySerialNumber"});
    CGDisplaySerialNumber(7);
    CGDisplayModelNumber(7);
    CGDisplayIsBuiltin(8);
    EXPECT_THAT(argumentsOf(mac), ElementsAre("display 7", "display 8"));
    EXPECT_EQ(mac.trace.calls()[0].call, "CGDisplaySerialNumber");
    EXPECT_EQ(mac.trace.calls()[1].call, "CGDisplayIsBuiltin");
    EXPECT_EQ(mac.trace.calls()[0].thread, "main");
}

TEST(TraceOfAMac, RemembersTheLastCallThatFailedAlsoWhereItIsNotKept) {
    Mac mac(describe({{"CGDisplaySerialNumber", 2, true, {}}}));
    mac.trace.keepOnly({"CGDisplayIsBuiltin"});
    CGDisplaySerialNumber(7);
    EXPECT_FALSE(mac.trace.lastFailure());
    CGDisplayIsBuiltin(7);
    CGDisplaySerialNumber(7);
    CGDisplaySerialNumber(8);
    CGDisplayIsBuiltin(7);
    EXPECT_THAT(mac.trace.calls(), SizeIs(2));
    const auto failure = mac.trace.lastFailure();
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->call.call, "CGDisplaySerialNumber");
    EXPECT_EQ(failure->call.argument("display"), 8);
    EXPECT_EQ(failure->callsBefore, 1u);
}

TEST(TraceOfAMac, ShowsArgumentsByName) {
    Mac mac(describe());
    mac.trace.keepAll();
    mach_port_t port = 0;
    IOMasterPort(0, &port);
    const auto matching = IOServiceMatching("IOFramebuffer");
    const auto framebuffer = IOServiceGetMatchingService(kIOMasterPortDefault, matching);
    io_name_t name;
    IORegistryEntryGetName(framebuffer, name);
    IORegistryEntryCreateCFProperty(framebuffer, CFSTR("IOFBDependentIndex"), nullptr, 0);
    EXPECT_THAT(argumentsOf(mac),
                ElementsAre("bootstrap port 0x0", "class IOFramebuffer", "class IOFramebuffer",
                            testing::MatchesRegex("0x[0-9a-f]+ \\(AppleIntelFramebuffer\\)"),
                            testing::MatchesRegex("0x[0-9a-f]+ \\(AppleIntelFramebuffer\\), key "
                                                  "\"IOFBDependentIndex\"")));
}

TEST(TraceOfAMac, ShowsIOResultsInHex) {
    Mac mac(describe({fault("IOMasterPort", 2)}));
    mac.trace.keepAll();
    mach_port_t port = 0;
    IOMasterPort(0, &port);
    IOMasterPort(0, &port);
    const auto calls = mac.trace.calls();
    ASSERT_THAT(calls, SizeIs(2));
    EXPECT_EQ(resultText(calls[0]), "0x0");
    EXPECT_FALSE(calls[0].failed);
    EXPECT_EQ(resultText(calls[1]), "0xe00002bc");
    EXPECT_TRUE(calls[1].failed);
}

TEST(TraceOfAMac, AFaultAnswersItsOwnResult) {
    Mac mac(describe({fault("IOMasterPort", 1, true, kIOReturnNotFound)}));
    mach_port_t port = 0;
    EXPECT_EQ(IOMasterPort(0, &port), kIOReturnNotFound);
    EXPECT_EQ(IOMasterPort(0, &port), kIOReturnNotFound);
    EXPECT_EQ(port, 0u) << "a call that fails does nothing";
    EXPECT_EQ(mac.ledger.held()["mach_port_t"], 0);
}

TEST(TraceOfAMac, AFaultWithoutAResultAnswersAGeneralError) {
    Mac mac(describe({fault("IOMasterPort", 1)}));
    mach_port_t port = 0;
    EXPECT_EQ(IOMasterPort(0, &port), kIOReturnError);
    EXPECT_EQ(IOMasterPort(0, &port), kIOReturnSuccess);
}

TEST(TraceOfAMac, AFaultyCallThatAnswersAPointerAnswersNone) {
    Mac mac(describe({fault("IOServiceMatching", 1)}));
    mac.trace.keepAll();
    EXPECT_EQ(IOServiceMatching("IOUSBDevice"), nullptr);
    EXPECT_EQ(mac.trace.calls()[0].result, Pointer{true});
    EXPECT_TRUE(mac.trace.calls()[0].failed);
    EXPECT_NE(IOServiceMatching("IOUSBDevice"), nullptr);
}

TEST(TraceOfAMac, AConsumedDictionaryIsConsumedByAFaultyCallToo) {
    Mac mac(describe({fault("IOServiceGetMatchingServices", 1)}));
    io_iterator_t iterator = IO_OBJECT_NULL;
    EXPECT_EQ(IOServiceGetMatchingServices(kIOMasterPortDefault, IOServiceMatching("IOService"),
                                           &iterator),
              kIOReturnError);
    EXPECT_EQ(mac.ledger.held()["CFDictionary"], 0);
    EXPECT_EQ(iterator, IO_OBJECT_NULL);
}

// What calls take

/// The order in which two threads come back from three calls each.
std::string orderOfTwoThreads(std::optional<Time> systemCallTakes) {
    Mac::Options options;
    options.systemCallTakes = systemCallTakes;
    Mac mac(MacDescription{}, options);
    std::string order;
    for (const char* const name : {"a", "b"}) {
        mac.scheduler.startThread(name, [&order, name] {
            for (int call = 0; call < 3; ++call) {
                CGDisplayIsBuiltin(0);
                order += name;
            }
        });
    }
    EXPECT_EQ(mac.scheduler.runUntilQuiet(), Scheduler::Outcome::quiet);
    EXPECT_EQ(mac.scheduler.now(), 3 * systemCallTakes.value_or(Time(0)));
    return order;
}

TEST(SystemCallsThatTakeTime, LetOtherThreadsHaveTheirTurns) {
    EXPECT_EQ(orderOfTwoThreads(1us), "ababab");
    EXPECT_EQ(orderOfTwoThreads(std::nullopt), "aaabbb");
}

TEST(SystemCallsThatTakeTime, AreNotThoseThatStayInTheProcess) {
    Mac::Options options;
    options.systemCallTakes = 1us;
    Mac mac(MacDescription{}, options);
    CFRelease(
        CFStringCreateWithBytes(kCFAllocatorDefault, nullptr, 0, kCFStringEncodingUTF8, false));
    EXPECT_EQ(mac.scheduler.now(), 0us);
    CGDisplayIsBuiltin(0);
    EXPECT_EQ(mac.scheduler.now(), 1us);
}

}  // namespace trace_test
}  // namespace simulated_mac
