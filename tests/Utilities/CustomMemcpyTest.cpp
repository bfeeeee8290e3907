#include "plugin/Utilities/CustomMemcpy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <numeric>

#include "tests/support/PaneOnMac.h"

namespace custom_memcpy_test {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

using Four = std::array<std::uint8_t, 4>;

constexpr auto allocationFailed = "Error: Memory allocation failed.";
constexpr auto nullPointer = "Error: Source or destination is NULL.";

class BoundedCopy : public ::testing::Test {
  protected:
    const Four source{1, 2, 3, 4};
    Four destination{9, 9, 9, 9};
    const Four untouched = destination;
    test::Mac mac{test::macWith({})};
};

TEST_F(BoundedCopy, CopiesAsManyBytesAsAsked) {
    customMemcpy(destination.data(), source.data(), 3);
    EXPECT_THAT(destination, ElementsAre(1, 2, 3, 9));
    EXPECT_THAT(mac.journal.systemLog(), IsEmpty());
}

TEST_F(BoundedCopy, CopiesASingleByte) {
    customMemcpy(destination.data(), source.data(), 1);
    EXPECT_THAT(destination, ElementsAre(1, 9, 9, 9));
}

TEST_F(BoundedCopy, CopiesMuch) {
    std::vector<std::uint8_t> from(1 << 20);
    std::iota(from.begin(), from.end(), std::uint8_t{0});
    std::vector<std::uint8_t> to(from.size());
    customMemcpy(to.data(), from.data(), from.size());
    EXPECT_EQ(to, from);
}

TEST_F(BoundedCopy, OverlappingAreasAreCopiedCorrectly) {
    std::array<std::uint8_t, 6> area{1, 2, 3, 4, 5, 6};
    customMemcpy(&area[2], area.data(), 4);
    EXPECT_THAT(area, ElementsAre(1, 2, 1, 2, 3, 4));
    customMemcpy(area.data(), &area[1], 5);
    EXPECT_THAT(area, ElementsAre(2, 1, 2, 3, 4, 4));
}

TEST_F(BoundedCopy, ALengthOfZeroIsLoggedAndCopiesNothing) {
    customMemcpy(destination.data(), source.data(), 0);
    EXPECT_EQ(destination, untouched);
    EXPECT_THAT(mac.journal.systemLog(),
                ElementsAre("Error: Invalid input length. Must be between 1 and 0."));
}

TEST_F(BoundedCopy, ANullSourceIsLoggedAndLeavesTheDestination) {
    customMemcpy(destination.data(), nullptr, 4);
    EXPECT_EQ(destination, untouched);
    EXPECT_THAT(mac.journal.systemLog(), ElementsAre(nullPointer));
}

TEST_F(BoundedCopy, ANullDestinationIsLogged) {
    customMemcpy(nullptr, source.data(), 4);
    EXPECT_THAT(mac.journal.systemLog(), ElementsAre(nullPointer));
}

TEST_F(BoundedCopy, ALengthOfZeroIsLoggedBeforeNullPointers) {
    customMemcpy(nullptr, nullptr, 0);
    EXPECT_THAT(mac.journal.systemLog(),
                ElementsAre("Error: Invalid input length. Must be between 1 and 0."));
}

TEST_F(BoundedCopy, KeepsNoMemory) {
    customMemcpy(destination.data(), source.data(), 4);
    customMemcpy(nullptr, source.data(), 4);
    customMemcpy(destination.data(), nullptr, 4);
    EXPECT_THAT(mac.ledger.heldByCall(), IsEmpty());
}

TEST_F(BoundedCopy, ALengthBeyondAllMemoryIsLoggedAndCopiesNothing) {
    customMemcpy(destination.data(), source.data(), std::uint64_t{1} << 62);
    EXPECT_EQ(destination, untouched);
    EXPECT_THAT(mac.journal.systemLog(), ElementsAre(allocationFailed));
}

TEST_F(BoundedCopy, ALengthBeyondTheAllocatorsRangeIsLoggedAndCopiesNothing) {
    customMemcpy(destination.data(), source.data(), std::numeric_limits<std::uint64_t>::max());
    customMemcpy(destination.data(), source.data(), std::uint64_t{1} << 63);
    EXPECT_EQ(destination, untouched);
    EXPECT_THAT(mac.journal.systemLog(), ElementsAre(allocationFailed, allocationFailed));
}

TEST_F(BoundedCopy, TheAllocatorIsAskedForNoLengthBeyondItsRange) {
    constexpr std::uint64_t largest = std::numeric_limits<CFIndex>::max();
    mac.trace.keepOnly({"CFAllocatorAllocate"});
    customMemcpy(destination.data(), source.data(), largest + 1);
    EXPECT_THAT(mac.trace.calls(), IsEmpty());
    customMemcpy(destination.data(), source.data(), largest);
    EXPECT_THAT(mac.trace.calls(), SizeIs(1));
}

class BoundedCopyWithoutMemory : public ::testing::Test {
  protected:
    BoundedCopyWithoutMemory() : mac(description()) {}

    static test::MacDescription description() {
        auto description = test::macWith({});
        description.faults = {{"CFAllocatorAllocate", 1, false, {}}};
        return description;
    }

    const Four source{1, 2, 3, 4};
    Four destination{9, 9, 9, 9};
    const test::Mac mac;
};

TEST_F(BoundedCopyWithoutMemory, IsLoggedAndCopiesNothing) {
    customMemcpy(destination.data(), source.data(), 4);
    EXPECT_THAT(destination, ElementsAre(9, 9, 9, 9));
    EXPECT_THAT(mac.journal.systemLog(), ElementsAre(allocationFailed));
}

TEST_F(BoundedCopyWithoutMemory, IsLoggedBeforeNullPointers) {
    customMemcpy(nullptr, nullptr, 4);
    EXPECT_THAT(mac.journal.systemLog(), ElementsAre(allocationFailed));
}

TEST_F(BoundedCopyWithoutMemory, DoesNotKeepTheNextCopyFromWorking) {
    customMemcpy(destination.data(), source.data(), 4);
    customMemcpy(destination.data(), source.data(), 4);
    EXPECT_EQ(destination, source);
}

}  // namespace custom_memcpy_test
