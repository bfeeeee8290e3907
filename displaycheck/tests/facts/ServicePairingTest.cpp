#include "displaycheck/facts/ServicePairing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "displaycheck/tests/Reports.h"
#include "tests/support/PaneOnMac.h"

namespace displaycheck {
namespace service_pairing_test {

using simulated_mac::ProxyDescription;
using simulated_mac::ScreenDescription;
using test::appleMacWith;
using testing::ElementsAre;
using testing::HasSubstr;
using Fate = ServiceCandidate::Fate;

ScreenDescription twin() {
    simulated_mac::EDIDFields fields;
    fields.name = "VORN R2726Q";
    fields.product = 0x2726;
    ScreenDescription screen;
    screen.monitor.edid = simulated_mac::makeEDID(fields);
    return screen;
}

std::vector<Fate> fatesOf(const DisplayFacts& display) {
    std::vector<Fate> fates;
    for (const auto& candidate : display.why.services->candidates) fates.push_back(candidate.fate);
    return fates;
}

std::vector<std::int32_t> scoresOf(const DisplayFacts& display) {
    std::vector<std::int32_t> scores;
    for (const auto& candidate : display.why.services->candidates) {
        scores.push_back(candidate.matched.score());
    }
    return scores;
}

TEST(ServicePairing, AMonitorHasItsOwnService) {
    const auto report = reportOn(
        appleMacWith({test::builtInPanel(), test::answeringMonitor("VORN K2422H", 0x4000)}));
    const DisplayFacts& display = report.displays.at(1);
    EXPECT_THAT(fatesOf(display), ElementsAre(Fate::notExternal, Fate::used));
    EXPECT_EQ(display.why.services->reached, display.record->screenNumber);
    EXPECT_TRUE(display.why.services->asInRun);
    EXPECT_THAT(
        textOf(display),
        HasSubstr("    AV service  that behind framebuffer 2\n"
                  "      buffer 1  not external: its location is \"Embedded\"\n"
                  "      buffer 2  12 of 13 points (vendor, product code, date, size, name, "
                  "serial number): handed out first\n"));
}

TEST(ServicePairing, TwinsShareTheServiceThatWasHandedOutFirst) {
    const auto report = reportOn(appleMacWith({twin(), twin()}));
    const DisplayFacts& first = report.displays.at(0);
    const DisplayFacts& second = report.displays.at(1);
    EXPECT_THAT(scoresOf(first), ElementsAre(10, 10));
    EXPECT_THAT(fatesOf(first), ElementsAre(Fate::used, Fate::handedOut));
    EXPECT_THAT(fatesOf(second), ElementsAre(Fate::used, Fate::refused));
    EXPECT_EQ(second.why.services->reached, first.record->screenNumber);
    EXPECT_THAT(textOf(second),
                HasSubstr("AV service  that behind framebuffer 1: it reaches display "
                          "69730752's monitor\n"));
    EXPECT_THAT(textOf(second), HasSubstr("refused: the display and the service were taken\n"));
}

TEST(ServicePairing, OfTwoProxiesBelowAFramebufferTheFirstIsHandedOut) {
    auto screen = twin();
    screen.displayService.proxies = {ProxyDescription{}, ProxyDescription{}};
    const auto report = reportOn(appleMacWith({screen}));
    EXPECT_THAT(fatesOf(report.displays.at(0)), ElementsAre(Fate::used, Fate::refused));
}

TEST(ServicePairing, WhatDoesNotMatchIsNeverHandedOut) {
    auto screen = twin();
    screen.displayService.properties = {{"EDID UUID", {std::string("no UUID")}}};
    screen.displayService.productAttributes = {{"ProductName", {}}};
    const auto report = reportOn(appleMacWith({screen}));
    EXPECT_THAT(fatesOf(report.displays.at(0)), ElementsAre(Fate::noMatch));
    EXPECT_THAT(textOf(report.displays.at(0)),
                HasSubstr("    AV service  none: no proxy matches\n"
                          "      buffer 1  0 of 13 points: never handed out\n"));
}

TEST(ServicePairing, AServiceThatDoesNotOpenIsHandedOutAllTheSame) {
    auto screen = twin();
    screen.displayService.proxies[0].opens = false;
    const auto report = reportOn(appleMacWith({screen}));
    EXPECT_EQ(report.displays.at(0).why.services->reached, std::nullopt);
    EXPECT_THAT(textOf(report.displays.at(0)),
                HasSubstr("AV service  none: it could not be opened"));
}

TEST(ServicePairing, AProxyWithoutALocationIsNotScored) {
    auto screen = twin();
    screen.displayService.proxies[0].location = simulated_mac::PropertyValue{};
    const auto report = reportOn(appleMacWith({screen}));
    EXPECT_THAT(textOf(report.displays.at(0)),
                HasSubstr("buffer 1  not known to be external: it has no location\n"));
}

TEST(ServicePairing, AProxyBeforeEveryFramebufferHasNoBuffer) {
    auto description = appleMacWith({twin()});
    description.strayProxies = {ProxyDescription{}};
    const auto report = reportOn(description);
    EXPECT_THAT(textOf(report.displays.at(0)),
                HasSubstr("      no buffer 0 of 13 points: never handed out\n"));
}

TEST(ServicePairing, ARegistryWithoutProxiesHasNothingToPair) {
    auto screen = twin();
    screen.displayService.present = false;
    const auto report = reportOn(appleMacWith({screen}));
    EXPECT_THAT(textOf(report.displays.at(0)),
                HasSubstr("AV service  none: the registry has no proxy of one\n"));
}

TEST(ServicePairing, AServiceThatAppearsAfterTheRunIsToldApart) {
    auto screen = twin();
    screen.displayService.appearsAt = 60;
    const auto report = reportOn(appleMacWith({screen}));
    EXPECT_FALSE(report.displays.at(0).why.services->asInRun);
    EXPECT_THAT(textOf(report.displays.at(0)),
                HasSubstr("AV service  none when the pane looked; asked again, the registry says "
                          "otherwise\n"));
}

TEST(ServicePairing, ABuiltInPanelIsExplainedOnlyWhereAServiceMatchesIt) {
    auto panel = test::builtInPanel();
    EXPECT_THAT(textOf(reportOn(appleMacWith({panel, twin()})).displays.at(0)),
                Not(HasSubstr("AV service")));
    panel.monitor.edid = twin().monitor.edid;
    EXPECT_THAT(textOf(reportOn(appleMacWith({panel, twin()})).displays.at(0)),
                HasSubstr("AV service  that behind framebuffer 2"));
}

TEST(ServicePairing, AnIntelMacPairsNone) {
    const auto report = reportOn(test::macWith({twin()}));
    EXPECT_FALSE(report.displays.at(0).why.services);
}

TEST(ServicePairing, IsNotAmongTheReferencesOfTheReport) {
    const auto report = reportOn(appleMacWith({twin()}));
    EXPECT_EQ(report.references.at("IOAVService"), 1);
}

}  // namespace service_pairing_test
}  // namespace displaycheck
