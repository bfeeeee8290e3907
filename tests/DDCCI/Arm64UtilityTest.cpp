#include "plugin/DDCCI/Arm64Utility.h"

#include <gtest/gtest.h>

namespace arm64_utility_test {

TEST(DisplayServiceRecord, AFreshCandidateHasNoIdentityAndNoService) {
    const IOregService candidate;
    EXPECT_EQ(candidate.edidUUID, std::nullopt);
    EXPECT_EQ(candidate.manufacturerID, std::nullopt);
    EXPECT_EQ(candidate.productName, std::nullopt);
    EXPECT_EQ(candidate.serialNumber, 0);
    EXPECT_EQ(candidate.location, std::nullopt);
    EXPECT_EQ(candidate.transportUpstream, std::nullopt);
    EXPECT_EQ(candidate.transportDownstream, std::nullopt);
    EXPECT_EQ(candidate.avService, nullptr);
    EXPECT_EQ(candidate.serviceLocation, 0);
}

TEST(DisplayServiceRecord, AFreshPairingIsOfNoDisplay) {
    const DisplayService pairing;
    EXPECT_EQ(pairing.displayID, 0u);
    EXPECT_EQ(pairing.avService, nullptr);
    EXPECT_EQ(pairing.serviceLocation, 0);
    EXPECT_FALSE(pairing.discouraged);
}

TEST(MatchedPiecesRecord, AFreshOneMatchesNothing) {
    const MatchedPieces matched;
    EXPECT_FALSE(matched.vendor);
    EXPECT_FALSE(matched.product);
    EXPECT_FALSE(matched.date);
    EXPECT_FALSE(matched.size);
    EXPECT_FALSE(matched.productName);
    EXPECT_FALSE(matched.serialNumber);
    EXPECT_FALSE(matched.location);
    EXPECT_EQ(matched.score(), 0);
}

TEST(MatchedPiecesRecord, AFullOneHasTheHighestScore) {
    EXPECT_EQ((MatchedPieces{true, true, true, true, true, true, true}).score(), 13);
    EXPECT_EQ(MatchedPieces::highestScore, 13);
}

}  // namespace arm64_utility_test
