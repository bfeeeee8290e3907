#include "plugin/Platform/IOObject.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/PaneOnMac.h"

using namespace vorn;

namespace io_object_test {

using ::testing::IsEmpty;

IOObject rootOfTheRegistry() {
    return IOObject(IORegistryGetRootEntry(kIOMasterPortDefault));
}

TEST(OwnedRegistryEntry, TakesAnothersOverAndLetsBothGoInTheEnd) {
    const test::Mac mac(test::macWith({}));
    {
        IOObject none;
        IOObject root = rootOfTheRegistry();
        const io_object_t object = root.get();
        none = std::move(root);
        EXPECT_EQ(none.get(), object);
        EXPECT_FALSE(root);
        none = rootOfTheRegistry();
        EXPECT_TRUE(none);
    }
    EXPECT_THAT(mac.ledger.heldByCall(), IsEmpty());
    EXPECT_THAT(mac.journal.misuses(), IsEmpty());
}

}  // namespace io_object_test
