#include "simulated_mac/hardware/Monitor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace simulated_mac {
namespace monitor_test {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::SizeIs;
using Kind = DDCAnswer::Kind;

/// A get of code 0x10, and the good reply of `describe()`'s monitor to it.
const Bytes getOf10 = {0x51, 0x82, 0x01, 0x10, 0xAC};
const Bytes replyTo10 = {0x6E, 0x88, 0x02, 0x00, 0x10, 0x01, 0x12, 0x34, 0x56, 0x78, 0xAD};
const Bytes clean = {0x51, 0x82, 0x01, 0x00, 0xBC};

MonitorDescription describe() {
    MonitorDescription description;
    description.vcp[0x10] = {.current = 0x5678, .maximum = 0x1234, .type = 1, .result = 0};
    return description;
}

MonitorDescription describe(std::vector<DDCAnswer> answers) {
    auto description = describe();
    description.answers = std::move(answers);
    return description;
}

std::optional<Bytes> ask(Monitor& monitor, const Bytes& request, std::uint64_t delay = 0) {
    monitor.receive(request, Time(0));
    return monitor.reply(delay);
}

/// Places at which a reply differs from the good one.
std::vector<std::size_t> differences(const std::optional<Bytes>& reply) {
    std::vector<std::size_t> places;
    EXPECT_TRUE(reply && reply->size() == replyTo10.size());
    for (std::size_t at = 0; reply && at < reply->size() && at < replyTo10.size(); ++at) {
        if ((*reply)[at] != replyTo10[at]) places.push_back(at);
    }
    return places;
}

/// Exclusive or of a whole reply, from the host's side: 0 when its checksum is right. The source
/// address counts as the monitor's.
std::uint8_t checksumOf(const Bytes& reply) {
    std::uint8_t sum = 0x50 ^ 0x6E;
    for (std::size_t at = 1; at < reply.size(); ++at) sum ^= reply[at];
    return sum;
}

// Good requests and replies

TEST(Monitor, AnswersAGetFromItsTable) {
    Monitor monitor(describe());
    EXPECT_EQ(ask(monitor, getOf10), replyTo10);
}

TEST(Monitor, AnswersWithTheResultCodeOfItsTable) {
    auto description = describe();
    description.vcp[0x10].result = 0x05;
    Monitor monitor(description);
    const auto reply = ask(monitor, getOf10);
    EXPECT_THAT(differences(reply), ElementsAre(3u, 10u));
    EXPECT_EQ((*reply)[3], 0x05);
    EXPECT_EQ(checksumOf(*reply), 0);
}

TEST(Monitor, AnswersACodeThatItLacksAsUnsupported) {
    Monitor monitor(describe());
    const Bytes expected = {0x6E, 0x88, 0x02, 0x01, 0xF1, 0x00, 0x00, 0x00, 0x00, 0x00, 0x44};
    EXPECT_EQ(ask(monitor, {0x51, 0x82, 0x01, 0xF1, 0x4D}), expected);
}

TEST(Monitor, HasAMaximumOfAllOnesUnlessToldOtherwise) {
    MonitorDescription description;
    description.vcp[0x10].current = 0x4000;
    Monitor monitor(description);
    const Bytes expected = {0x6E, 0x88, 0x02, 0x00, 0x10, 0x00, 0xFF, 0xFF, 0x40, 0x00, 0xE4};
    EXPECT_EQ(ask(monitor, getOf10), expected);
}

// Bad requests

class BadRequest : public testing::TestWithParam<Bytes> {};

TEST_P(BadRequest, GetsNoAnswer) {
    Monitor monitor(describe());
    EXPECT_EQ(ask(monitor, GetParam()), std::nullopt);
    EXPECT_EQ(ask(monitor, getOf10), replyTo10) << "the monitor answers the next good one";
}

INSTANTIATE_TEST_SUITE_P(WithWrong, BadRequest,
                         testing::Values(Bytes{},                                    // no bytes
                                         Bytes{0x51, 0x82, 0x01, 0x10},              // too short
                                         Bytes{0x51, 0x82, 0x01, 0x10, 0xAC, 0x00},  // too long
                                         Bytes{0x50, 0x82, 0x01, 0x10, 0xAD},        // source
                                         Bytes{0x51, 0x83, 0x01, 0x10, 0xAD},        // length
                                         Bytes{0x51, 0x02, 0x01, 0x10, 0x2C},        // length flag
                                         Bytes{0x51, 0x82, 0x03, 0x10, 0xAE},        // opcode
                                         Bytes{0x51, 0x82, 0x01, 0x11, 0xAC},        // code
                                         Bytes{0x51, 0x82, 0x01, 0x10, 0xAD},        // checksum
                                         Bytes{0x51, 0x82, 0x01, 0x10, 0x53}));      // its inverse

TEST(Monitor, HasNothingToSayBeforeARequest) {
    Monitor monitor(describe());
    EXPECT_EQ(monitor.reply(0), std::nullopt);
}

TEST(Monitor, HasNothingToSayAfterABadRequestThatFollowedAGoodOne) {
    Monitor monitor(describe());
    ask(monitor, getOf10);
    EXPECT_EQ(ask(monitor, {0x51, 0x82, 0x01, 0x10, 0x00}), std::nullopt);
}

// Bad answers: each differs from a good one in what its name says

TEST(Monitor, ASilentAnswerIsNone) {
    Monitor monitor(describe({{Kind::silent, {}}}));
    EXPECT_EQ(ask(monitor, getOf10), std::nullopt);
}

TEST(Monitor, AWrongSourceIsTheFirstByteAlone) {
    Monitor monitor(describe({{Kind::wrongSource, {}}}));
    EXPECT_THAT(differences(ask(monitor, getOf10)), ElementsAre(0u));
}

TEST(Monitor, ABadChecksumIsTheLastByteAlone) {
    Monitor monitor(describe({{Kind::badChecksum, {}}}));
    EXPECT_THAT(differences(ask(monitor, getOf10)), ElementsAre(10u));
}

class WrongByte : public testing::TestWithParam<std::pair<Kind, std::size_t>> {};

TEST_P(WrongByte, CarriesAChecksumThatIsRight) {
    const auto [kind, place] = GetParam();
    Monitor monitor(describe({{kind, {}}}));
    const auto reply = ask(monitor, getOf10);
    EXPECT_THAT(differences(reply), ElementsAre(place, 10u));
    EXPECT_EQ(checksumOf(*reply), 0);
}

INSTANTIATE_TEST_SUITE_P(Of, WrongByte,
                         testing::Values(std::pair(Kind::wrongLength, std::size_t{1}),
                                         std::pair(Kind::wrongOpcode, std::size_t{2}),
                                         std::pair(Kind::wrongCode, std::size_t{4})));

TEST(Monitor, GivenBytesAreSentWhateverWasAsked) {
    const Bytes garbage = {0xDE, 0xAD};
    Monitor monitor(describe({{Kind::bytes, garbage}}));
    EXPECT_EQ(ask(monitor, getOf10), garbage);
    EXPECT_EQ(ask(monitor, clean), garbage);
}

TEST(Monitor, AnswersInTheGivenOrderAndTheLastOneHolds) {
    Monitor monitor(describe({{Kind::silent, {}}, {Kind::badChecksum, {}}, {Kind::good, {}}}));
    EXPECT_EQ(ask(monitor, getOf10), std::nullopt);
    EXPECT_THAT(differences(ask(monitor, getOf10)), ElementsAre(10u));
    for (int later = 0; later < 3; ++later) EXPECT_EQ(ask(monitor, getOf10), replyTo10);
}

TEST(Monitor, ABadLastAnswerHoldsForever) {
    Monitor monitor(describe({{Kind::good, {}}, {Kind::silent, {}}}));
    EXPECT_EQ(ask(monitor, getOf10), replyTo10);
    for (int later = 0; later < 3; ++later) EXPECT_EQ(ask(monitor, getOf10), std::nullopt);
}

// Time

TEST(Monitor, AnswersOnlyWhenItIsGivenItsTime) {
    auto description = describe();
    description.needsReplyDelay = 100;
    Monitor monitor(description);
    EXPECT_EQ(ask(monitor, getOf10, 99), std::nullopt);
    EXPECT_EQ(ask(monitor, getOf10, 100), replyTo10);
    EXPECT_EQ(ask(monitor, getOf10, 100'000'000), replyTo10);
}

// Settling

TEST(Monitor, OneThatNeedsACleanRequestSendsBadChecksumsUntilThen) {
    auto description = describe();
    description.settlesAfterClean = true;
    Monitor monitor(description);
    EXPECT_THAT(differences(ask(monitor, getOf10)), ElementsAre(10u));
    EXPECT_THAT(differences(ask(monitor, getOf10)), ElementsAre(10u));
    monitor.receive(clean, Time(0));
    EXPECT_EQ(ask(monitor, getOf10), replyTo10);
    EXPECT_EQ(ask(monitor, getOf10), replyTo10) << "it stays settled";
}

TEST(Monitor, ABadCleanRequestSettlesNothing) {
    auto description = describe();
    description.settlesAfterClean = true;
    Monitor monitor(description);
    monitor.receive({{0x51, 0x82, 0x01, 0x00, 0x00}}, Time(0));
    EXPECT_THAT(differences(ask(monitor, getOf10)), ElementsAre(10u));
}

// What is kept of the exchanges

TEST(Monitor, KeepsItsExchangesWithTheirTimes) {
    Monitor monitor(describe({{Kind::good, {}}, {Kind::silent, {}}}));
    monitor.receive(getOf10, 1s);
    monitor.reply(0);
    monitor.receive(getOf10, 2s);
    monitor.reply(0);
    monitor.receive({{0x51}}, 3s);
    const auto exchanges = monitor.exchanges();
    ASSERT_THAT(exchanges, SizeIs(3));
    EXPECT_EQ(exchanges[0].time, Time(1s));
    EXPECT_EQ(exchanges[0].request, getOf10);
    EXPECT_EQ(exchanges[0].reply, replyTo10);
    EXPECT_EQ(exchanges[1].time, Time(2s));
    EXPECT_EQ(exchanges[1].reply, Bytes());
    EXPECT_EQ(exchanges[2].request, Bytes{0x51});
    EXPECT_EQ(exchanges[2].reply, Bytes());
}

}  // namespace monitor_test
}  // namespace simulated_mac
