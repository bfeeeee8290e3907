#include "simulated_mac/machine/CallText.h"

#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "simulated_mac/machine/Mac.h"

namespace simulated_mac {
namespace call_text_test {

using namespace std::chrono_literals;

TEST(CallText, WritesEveryKindOfValue) {
    EXPECT_EQ(textOf(CallValue()), "");
    EXPECT_EQ(textOf(CallValue(true)), "YES");
    EXPECT_EQ(textOf(CallValue(false)), "NO");
    EXPECT_EQ(textOf(CallValue(-1)), "-1");
    EXPECT_EQ(textOf(CallValue(0xFFFFFFFFu)), "4294967295");
    EXPECT_EQ(textOf(CallValue(Hex{0xE00002BC})), "0xe00002bc");
    EXPECT_EQ(textOf(CallValue(Time(60ms))), "60000 us");
    EXPECT_EQ(textOf(CallValue(std::string("a b"))), "a b");
    EXPECT_EQ(textOf(CallValue("a b")), "a b");
    EXPECT_EQ(textOf(CallValue(static_cast<const char*>(nullptr))), "NULL");
    EXPECT_EQ(textOf(CallValue(Quoted{"a b"})), "\"a b\"");
    EXPECT_EQ(textOf(CallValue(Bytes{0x51, 0x02, 0xAC})), "51 02 AC");
    EXPECT_EQ(textOf(CallValue(Pointer{})), "ok");
    EXPECT_EQ(textOf(CallValue(Pointer{true})), "NULL");
    EXPECT_EQ(textOf(CallValue(RegistryObject{0x1F, "Root"})), "0x1f (Root)");
    EXPECT_EQ(textOf(CallValue(RegistryObject{0x1F, {}})), "0x1f");
}

TEST(CallText, WritesValuesAfterTheirLabels) {
    EXPECT_EQ(textOf(NamedValues{{"display", 2}, {"bus", 0}}), "display 2, bus 0");
    EXPECT_EQ(textOf(NamedValues{{"path", "/bin/sh", unlabelled}, {"size", 4}}), "/bin/sh, size 4");
    EXPECT_EQ(textOf(NamedValues{{"display", 7, "service of display"}}), "service of display 7");
    EXPECT_EQ(textOf(NamedValues{{"display", {}, "no service"}, {"size", 4}}),
              "no service, size 4");
    EXPECT_EQ(textOf(NamedValues{{"bytes", Bytes{}}, {"delay", 50}}), "bytes , delay 50");
    EXPECT_EQ(textOf(NamedValues()), "");
}

TEST(CallText, WritesResultsWithWhatElseACallAnswers) {
    TracedCall call;
    EXPECT_EQ(resultText(call), "");
    call.result = Hex{0};
    EXPECT_EQ(resultText(call), "0x0");
    call.furtherResults = {{"request's result", Hex{0xE00002BC}}};
    EXPECT_EQ(resultText(call), "0x0, request's result 0xe00002bc");
}

TEST(CallText, ReadsAsASentenceWhereATextIsLookedForInAnother) {
    Mac mac{MacDescription{}};
    mac.trace.keepOnly({"CFStringFind"});
    CFStringFind(CFSTR("VORN K2724QX"), CFSTR("vorn"), kCFCompareCaseInsensitive);
    ASSERT_EQ(mac.trace.calls().size(), 1u);
    EXPECT_EQ(argumentsText(mac.trace.calls()[0]), "\"vorn\" in \"VORN K2724QX\", options 1");
}

TEST(TracedCall, HasItsValuesByName) {
    TracedCall call;
    call.arguments = {{"display", 7, "service of display"}, {"size", 4}};
    call.furtherResults = {{"count", 2}};
    EXPECT_EQ(call.argument("display"), 7);
    EXPECT_EQ(call.argument("size"), 4);
    EXPECT_EQ(call.argument("count"), CallValue());
    EXPECT_EQ(call.furtherResult("count"), 2);
    EXPECT_NE(call.argument("size"), Hex{4}) << "a number and how it is written are one value";
}

}  // namespace call_text_test
}  // namespace simulated_mac
