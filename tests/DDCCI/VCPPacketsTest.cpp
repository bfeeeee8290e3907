#include "plugin/DDCCI/VCPPackets.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vcp_packets_test {

using ::testing::ElementsAre;

using Reply = std::array<std::uint8_t, VCP::replySize>;

/// A reply to a get of 0x10: maximum 0x1234, current value 0x5678.
constexpr Reply goodReply = {0x6E, 0x88, 0x02, 0x00, 0x10, 0x00, 0x12, 0x34, 0x56, 0x78, 0xAC};

/// The good reply with another byte; the checksum stays right unless it is itself the byte.
Reply with(std::size_t at, std::uint8_t byte) {
    Reply reply = goodReply;
    if (at >= 1 && at <= 9) reply[10] = static_cast<std::uint8_t>(reply[10] ^ reply[at] ^ byte);
    reply[at] = byte;
    return reply;
}

bool isGood(const Reply& reply) {
    return VCP::isGoodReply(reply.data(), 0x10);
}

TEST(GetRequest, OfBrightnessHasItsFiveBytes) {
    EXPECT_THAT(VCP::makeGetRequest(0x10), ElementsAre(0x51, 0x82, 0x01, 0x10, 0xAC));
}

TEST(GetRequest, OfTheMakersCodeHasItsFiveBytes) {
    EXPECT_THAT(VCP::makeGetRequest(0xF1), ElementsAre(0x51, 0x82, 0x01, 0xF1, 0x4D));
}

TEST(GetRequest, ItsChecksumIsTheCodeAgainstAConstantForEveryCode) {
    for (unsigned code = 0; code < 256; ++code) {
        const auto request = VCP::makeGetRequest(static_cast<std::uint8_t>(code));
        EXPECT_EQ(request[3], code);
        EXPECT_EQ(request[4], code ^ 0xBC);
    }
}

TEST(GetReply, AGoodOneIsTaken) {
    EXPECT_TRUE(isGood(goodReply));
}

TEST(GetReply, ItsChecksumLeavesTheFirstAndTheLastByteOut) {
    EXPECT_EQ(VCP::replyChecksum(goodReply.data()), 0xAC);
    EXPECT_EQ(VCP::replyChecksum(with(0, 0x00).data()), 0xAC);
    EXPECT_EQ(VCP::replyChecksum(with(10, 0x00).data()), 0xAC);
    EXPECT_EQ(VCP::replyChecksum(Reply{}.data()), 0x3E);
}

TEST(GetReply, FromAnotherSourceIsBad) {
    EXPECT_FALSE(isGood(with(0, 0x6F)));
    EXPECT_FALSE(isGood(with(0, 0x50)));
}

TEST(GetReply, OfAnotherOpcodeIsBad) {
    EXPECT_FALSE(isGood(with(2, 0x03)));
}

TEST(GetReply, OfAnotherCodeIsBad) {
    EXPECT_FALSE(isGood(with(4, 0x12)));
}

TEST(GetReply, WithAWrongChecksumIsBad) {
    for (unsigned bit = 0; bit < 8; ++bit) {
        EXPECT_FALSE(isGood(with(10, static_cast<std::uint8_t>(goodReply[10] ^ 1u << bit))));
    }
}

TEST(GetReply, LengthResultCodeTypeAndValuesAreNotLookedAt) {
    for (const std::size_t at : {1u, 3u, 5u, 6u, 7u, 8u, 9u}) {
        EXPECT_TRUE(isGood(with(at, static_cast<std::uint8_t>(goodReply[at] ^ 0xFF)))) << at;
    }
}

TEST(GetReply, ThatIsEmptyIsBad) {
    EXPECT_FALSE(isGood(Reply{}));
    EXPECT_FALSE(VCP::isGoodReply(Reply{}.data(), 0x00));
}

TEST(GetReply, ValuesStandHighByteFirst) {
    EXPECT_EQ(VCP::maximumValue(goodReply.data()), 0x1234);
    EXPECT_EQ(VCP::currentValue(goodReply.data()), 0x5678);
    EXPECT_EQ(VCP::fourBytes(goodReply.data()), 0x12345678u);
}

TEST(GetReply, ValuesUseAllTheirBits) {
    const Reply full{0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFE, 0};
    EXPECT_EQ(VCP::maximumValue(full.data()), 0xFFFF);
    EXPECT_EQ(VCP::currentValue(full.data()), 0xFFFE);
    EXPECT_EQ(VCP::fourBytes(full.data()), 0xFFFFFFFEu);
}

}  // namespace vcp_packets_test
