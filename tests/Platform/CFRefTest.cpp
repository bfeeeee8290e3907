#include "plugin/Platform/CFRef.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "plugin/Platform/Text.h"
#include "tests/support/PaneOnMac.h"

using namespace vorn;

namespace cf_ref_test {

using ::testing::IsEmpty;

TEST(OwnedReference, TakesAnothersOverAndLetsBothGoInTheEnd) {
    const test::Mac mac(test::macWith({}));
    {
        auto first = makeCFString("first");
        auto second = makeCFString("second");
        first = std::move(second);
        EXPECT_EQ(makeText(first.get()), "second");
        const auto third = std::move(first);
        EXPECT_EQ(makeText(third.get()), "second");
        EXPECT_FALSE(first);
    }
    EXPECT_THAT(mac.ledger.heldByCall(), IsEmpty());
    EXPECT_THAT(mac.journal.misuses(), IsEmpty());
}

}  // namespace cf_ref_test
