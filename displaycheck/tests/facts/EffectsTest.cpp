#include "displaycheck/facts/Effects.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "displaycheck/tests/Program.h"

// Only a run shows whether a planned fault strikes and an event finds something to act on.

namespace effects_test {

using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

const std::string monitor =
    "screens: [{monitor: {edid: {name: VORN K2725QX, product: 1}, vcp: {0xF1: 0x4000}}}]\n";

class WithoutEffect : public testing::Test {
  protected:
    nlohmann::ordered_json report(const std::string& mac) {
        const auto finished = run(folder_, {"run", "--json", folder_.write("mac.yaml", mac)});
        EXPECT_EQ(finished.status, 0) << finished.errors;
        return jsonLinesOf(finished.output).at(0);
    }
    std::vector<std::string> textsOf(const std::string& mac) {
        std::vector<std::string> texts;
        const auto of = report(mac);
        for (const auto& one : of["without_effect"]) texts.push_back(one["text"]);
        return texts;
    }

    Folder folder_;
};

TEST_F(WithoutEffect, IsAFaultOfAUseThatNeverComes) {
    EXPECT_THAT(
        textsOf(monitor + "faults:\n"
                          "  - {call: IOI2CSendRequest, nth: 7}\n"
                          "  - {call: IOI2CSendRequest, nth: 1}\n"
                          "  - {call: IOAVServiceReadI2C, nth: 2}\n"),
        ElementsAre("fault 1 never struck: IOI2CSendRequest was called 2 times, not 7 times",
                    "fault 3 never struck: IOAVServiceReadI2C was never called"));
}

TEST_F(WithoutEffect, IsAnEventAtACallThatNeverComes) {
    EXPECT_THAT(
        textsOf(monitor + "events:\n"
                          "  - {at_call: {call: IOI2CSendRequest, nth: 7}, user: enters the pane}\n"
                          "  - {at_call: {call: IOI2CSendRequest}, attach: {}}\n"),
        ElementsAre("event 1 never happened: IOI2CSendRequest was called once, not 7 times"));
}

TEST_F(WithoutEffect, IsADetachOfADeviceThatIsGone) {
    EXPECT_THAT(textsOf("screens: []\nusb: [{location_id: 0x14200000}]\n"
                        "events: [{at: 5, detach: 0x14200000}, {at: 6, detach: 0x14200000}]\n"),
                ElementsAre("event 2 had no effect: no USB device was at 0x14200000 then"));
}

TEST_F(WithoutEffect, IsAClickWhereNoWarningIs) {
    EXPECT_THAT(textsOf(monitor + "events: [{at: 9, user: clicks the warning}]\n"),
                ElementsAre("event 1 had no effect: nothing took the click"));
    EXPECT_THAT(textsOf("screens: []\nevents: [{at: 9, user: clicks the warning}]\n"), IsEmpty());
}

TEST_F(WithoutEffect, IsToldByKindAndPlace) {
    const auto one =
        report("screens: []\nfaults: [{call: IOI2CSendRequest}]\n")["without_effect"][0];
    EXPECT_THAT(keysOf(one), ElementsAre("kind", "number", "text"));
    EXPECT_EQ(one["kind"], "fault");
    EXPECT_EQ(one["number"], 1);
}

TEST_F(WithoutEffect, IsAWarningInReportsForPeople) {
    const std::string file =
        folder_.write("mac.yaml", "screens: []\nfaults: [{call: IOI2CSendRequest}]\n");
    const std::string text = "Warning: fault 1 never struck: IOI2CSendRequest was never called.";
    const auto finished = run(folder_, {"run", "--html", folder_.path("page.html"), file});
    EXPECT_EQ(finished.status, 0);
    EXPECT_THAT(finished.errors, IsEmpty());
    EXPECT_THAT(linesOf(finished.output), testing::Contains(text));
    EXPECT_THAT(folder_.read("page.html"), HasSubstr(text));
}

TEST_F(WithoutEffect, IsNothingInTheExamples) {
    const auto finished = run(folder_, {"run", "--json", PROJECT_SOURCE_DIR "/examples"});
    EXPECT_EQ(finished.status, 0);
    for (const auto& report : jsonLinesOf(finished.output)) {
        EXPECT_THAT(report["without_effect"], IsEmpty()) << report["file"];
    }
}

}  // namespace effects_test
