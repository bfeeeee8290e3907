#include "simulated_mac/hardware/Ledger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>

namespace simulated_mac {
namespace ledger_test {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

constexpr auto create = "CFStringCreateWithBytes";
constexpr auto copy = "IORegistryEntryCopyPath";

TEST(Ledger, KnowsEveryKindFromTheStart) {
    const auto held = Ledger().held();
    EXPECT_THAT(held, SizeIs(14));
    EXPECT_THAT(held, Each(Pair(testing::_, 0)));
    for (const char* const kind :
         {"CFAllocator memory", "CFString", "CFData", "CFNumber", "CFDictionary", "CFType",
          "IOAVService", "io_registry_entry_t", "io_iterator_t", "IOI2CConnect",
          "IONotificationPort", "mach_port_t", "dispatch_queue_t", "dispatch_semaphore_t"}) {
        EXPECT_TRUE(held.contains(kind)) << kind;
    }
}

TEST(Ledger, CountsByKindAndByCall) {
    Ledger ledger;
    ledger.handedOut(Reference::string, create);
    ledger.handedOut(Reference::string, create);
    ledger.handedOut(Reference::string, copy);
    ledger.handedOut(Reference::iterator, copy);
    EXPECT_EQ(ledger.held()["CFString"], 3);
    EXPECT_EQ(ledger.held()["io_iterator_t"], 1);
    EXPECT_THAT(ledger.heldByCall(),
                ElementsAre(Pair(Pair("CFString", create), 2), Pair(Pair("CFString", copy), 1),
                            Pair(Pair("io_iterator_t", copy), 1)));
}

TEST(Ledger, CallsOfTheSameNameAreOne) {
    // The names are literals; the same one may have several addresses.
    const std::string again = create;
    Ledger ledger;
    ledger.handedOut(Reference::string, create);
    ledger.handedOut(Reference::string, again.c_str());
    EXPECT_THAT(ledger.heldByCall(), ElementsAre(Pair(Pair("CFString", create), 2)));
}

TEST(Ledger, LeavesOutOfTheCallsWhatWasGivenBack) {
    Ledger ledger;
    ledger.handedOut(Reference::string, create);
    ledger.handedOut(Reference::string, copy);
    ledger.givenBack(Reference::string, create);
    EXPECT_EQ(ledger.held()["CFString"], 1);
    EXPECT_THAT(ledger.heldByCall(), ElementsAre(Pair(Pair("CFString", copy), 1)));
}

TEST(Ledger, NeverCountsBelowZero) {
    Ledger ledger;
    ledger.givenBack(Reference::string, create);
    EXPECT_EQ(ledger.held()["CFString"], 0);
    ledger.handedOut(Reference::string, create);
    ledger.givenBack(Reference::string, create);
    ledger.givenBack(Reference::string, create);
    EXPECT_EQ(ledger.held()["CFString"], 0);
    EXPECT_THAT(ledger.heldByCall(), IsEmpty());
}

}  // namespace ledger_test
}  // namespace simulated_mac
