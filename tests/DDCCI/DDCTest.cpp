#include "plugin/DDCCI/DDC.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstring>
#include <set>

#include "displaycheck/host/CapturedOutput.h"
#include "plugin/DDCCI/VCPPackets.h"
#include "plugin/Platform/IOObject.h"
#include "simulated_mac/machine/CallText.h"
#include "simulated_mac/platform/CFReferences.h"
#include "tests/support/PaneOnMac.h"

using namespace vorn;

using namespace std::chrono_literals;

namespace ddc_test {

using simulated_mac::BusDescription;
using simulated_mac::Bytes;
using simulated_mac::DDCAnswer;
using simulated_mac::FaultDescription;
using simulated_mac::PropertyValue;
using test::Mac;
using test::MacDescription;
using test::ScreenDescription;
using test::Time;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

using Held = std::map<std::pair<std::string, std::string>, std::int64_t>;

constexpr auto unsupportedMode = static_cast<std::int32_t>(0xE00002E6);
constexpr auto busError = static_cast<std::int32_t>(0xE00002BC);

/// What the framebuffer path keeps after it sent anything to one display: the table of locks and
/// that display's lock.
const Held lockTable = {{{"CFAllocator memory", "CFAllocatorAllocate"}, 1},
                        {{"dispatch_semaphore_t", "dispatch_semaphore_create"}, 1}};

/// What it keeps after a read of that many tries: one iterator for each.
Held afterRead(std::int64_t tries) {
    Held held = lockTable;
    held[{"io_iterator_t", "IOServiceGetMatchingServices"}] = tries;
    return held;
}

/// Lines about an interface with the usual types: none, simple and DisplayPort native.
constexpr auto usualTypes =
    "\nD: IOI2CTransactionTypes: 0x13 (19)\n"
    "D: IOI2CNoTransactionType                   supported \n"
    "D: IOI2CSimpleTransactionType               supported \n"
    "E: IOI2CDDCciReplyTransactionType           unsupported \n"
    "E: IOI2CCombinedTransactionType             unsupported \n"
    "D: IOI2CDisplayPortNativeTransactionType    supported \n";

/// What the plug-in prints meanwhile. Expectations don't belong in it: a failed one would print,
/// too.
template <class Work>
std::string printedBy(Work work) {
    const displaycheck::CapturedOutput output;
    work();
    return output.text();
}

ScreenDescription monitor() {
    return test::answeringMonitor("VORN K2790Z", 0x4000);
}

ScreenDescription monitorThatAnswers(std::vector<DDCAnswer> answers) {
    auto screen = monitor();
    screen.monitor.answers = std::move(answers);
    return screen;
}

/// The same as a built-in panel, with everything by which a separate monitor would be reached.
ScreenDescription builtInMonitor() {
    auto screen = monitor();
    screen.builtIn = true;
    screen.framebuffer.buses = std::vector<BusDescription>(1);
    return screen;
}

ScreenDescription monitorOnBuses(std::vector<BusDescription> buses) {
    auto screen = monitor();
    screen.framebuffer.buses = std::move(buses);
    return screen;
}

/// An Intel Mac without framebuffers beyond those of its screens.
MacDescription macWith(std::vector<ScreenDescription> screens) {
    MacDescription mac = test::macWith(std::move(screens));
    mac.graphics.framebuffers = 0;
    return mac;
}

BusDescription busWithTypes(std::optional<std::uint32_t> types) {
    BusDescription bus;
    bus.transactionTypes = types;
    bus.hasTransactionTypes = types.has_value();
    return bus;
}

MacDescription macWithFault(ScreenDescription screen, FaultDescription fault) {
    auto description = macWith({std::move(screen)});
    description.faults = {std::move(fault)};
    return description;
}

// ---- Finding the framebuffer

class FramebufferLookup : public ::testing::Test {
  protected:
    /// Which screen's framebuffer is found for the first screen; nothing when there is none.
    std::optional<std::size_t> foundFor(MacDescription description, std::size_t screen = 0) {
        mac.emplace(std::move(description));
        return found(screen);
    }
    std::optional<std::size_t> foundFor(ScreenDescription screen) {
        return foundFor(macWith({std::move(screen)}));
    }
    std::optional<std::size_t> found(std::size_t screen = 0) {
        const IOObject framebuffer{
            IOFramebufferPortFromCGDisplayID(mac->displays()[screen]->displayID)};
        for (std::size_t at = 0; framebuffer && at < mac->displays().size(); ++at) {
            const auto* const driving = mac->displays()[at]->framebuffer;
            if (driving != nullptr && driving->entry == mac->registry.entryOf(framebuffer.get())) {
                return at;
            }
        }
        EXPECT_FALSE(framebuffer) << "what was found is no screen's framebuffer";
        return std::nullopt;
    }

    std::optional<Mac> mac;
};

ScreenDescription monitorWhereFramebufferSays(const std::string& key, PropertyValue value) {
    auto screen = monitor();
    screen.framebuffer.dictionary = {{key, std::move(value)}};
    return screen;
}

PropertyValue number(std::int64_t value) {
    return {value};
}

ScreenDescription withSerialNumber(std::uint32_t serialNumber) {
    simulated_mac::EDIDFields fields;
    fields.product = 0x1234;
    fields.serial = serialNumber;
    ScreenDescription screen;
    screen.monitor.edid = simulated_mac::makeEDID(fields);
    return screen;
}

TEST_F(FramebufferLookup, FindsTheMonitorsFramebuffer) {
    EXPECT_EQ(foundFor(monitor()), 0u);
}

TEST_F(FramebufferLookup, TheSerialNumberTellsMonitorsOfOneModelApart) {
    EXPECT_EQ(foundFor(macWith({withSerialNumber(1), withSerialNumber(2)}), 1), 1u);
    EXPECT_EQ(found(0), 0u);
}

TEST_F(FramebufferLookup, OfTwinsTheFirstFramebufferIsTaken) {
    EXPECT_EQ(foundFor(macWith({withSerialNumber(1), withSerialNumber(1)}), 1), 0u);
}

TEST_F(FramebufferLookup, ABuiltInDisplayHasNone) {
    EXPECT_EQ(foundFor(builtInMonitor()), std::nullopt);
}

TEST_F(FramebufferLookup, AnUnknownDisplayHasNone) {
    const Mac onMac(macWith({monitor()}));
    EXPECT_EQ(IOFramebufferPortFromCGDisplayID(0xDEAD), IO_OBJECT_NULL);
}

TEST_F(FramebufferLookup, AMissingSerialNumberMatchesADisplayWhoseNumberIsZero) {
    EXPECT_EQ(foundFor(withSerialNumber(0)), 0u);
}

TEST_F(FramebufferLookup, AMissingSerialNumberDoesNotMatchADisplayThatHasOne) {
    EXPECT_EQ(foundFor(monitorWhereFramebufferSays("DisplaySerialNumber", {})), std::nullopt);
}

TEST_F(FramebufferLookup, ASerialNumberThatIsNoNumberCountsAsMissing) {
    auto screen = withSerialNumber(0);
    screen.framebuffer.dictionary = {{"DisplaySerialNumber", {std::string("7XYZ123")}}};
    EXPECT_EQ(foundFor(screen), 0u);
}

TEST_F(FramebufferLookup, WithoutVendorThereIsNone) {
    EXPECT_EQ(foundFor(monitorWhereFramebufferSays("DisplayVendorID", {})), std::nullopt);
}

TEST_F(FramebufferLookup, WithoutProductThereIsNone) {
    EXPECT_EQ(foundFor(monitorWhereFramebufferSays("DisplayProductID", {})), std::nullopt);
}

TEST_F(FramebufferLookup, WithoutProductThereIsNoneEvenForProductZero) {
    auto screen = monitorWhereFramebufferSays("DisplayProductID", {});
    screen.modelNumber = 0;
    EXPECT_EQ(foundFor(screen), std::nullopt);
}

TEST_F(FramebufferLookup, AVendorThatIsNoNumberCountsAsMissing) {
    EXPECT_EQ(foundFor(monitorWhereFramebufferSays("DisplayVendorID", {std::string("VRN")})),
              std::nullopt);
}

TEST_F(FramebufferLookup, AnotherVendorProductOrSerialNumberDoesNotMatch) {
    for (const char* key : {"DisplayVendorID", "DisplayProductID", "DisplaySerialNumber"}) {
        EXPECT_EQ(foundFor(monitorWhereFramebufferSays(key, number(0x0102))), std::nullopt) << key;
        mac.reset();
    }
}

TEST_F(FramebufferLookup, NumbersAreComparedAtThirtyTwoBits) {
    auto screen = withSerialNumber(0xFFFFFFFE);
    screen.framebuffer.dictionary = {{"DisplaySerialNumber", number(-2)}};
    EXPECT_EQ(foundFor(screen), 0u);
}

TEST_F(FramebufferLookup, AMonitorWithoutAnEDIDIsFoundByTheNumbersThatStandForNone) {
    EXPECT_EQ(foundFor(ScreenDescription()), 0u);
}

TEST_F(FramebufferLookup, AFramebufferWithoutBusesIsPassedOver) {
    EXPECT_EQ(foundFor(monitorOnBuses({})), std::nullopt);
    mac.reset();
    EXPECT_EQ(foundFor(macWith({monitorOnBuses({}), monitor()})), 1u);
}

TEST_F(FramebufferLookup, AFramebufferWhoseBusesCannotBeCountedIsPassedOver) {
    EXPECT_EQ(foundFor(macWithFault(monitor(), {"IOFBGetI2CInterfaceCount", 1, false, {}})),
              std::nullopt);
    EXPECT_EQ(found(), 0u);
}

TEST_F(FramebufferLookup, AFramebufferWithoutADictionaryIsPassedOver) {
    auto description = macWith({withSerialNumber(1), withSerialNumber(2)});
    description.faults = {{"IODisplayCreateInfoDictionary", 1, false, {}}};
    EXPECT_EQ(foundFor(description, 1), 1u);
}

TEST_F(FramebufferLookup, WhenServicesCannotBeMatchedThereIsNone) {
    for (const char* call : {"IOServiceMatching", "IOServiceGetMatchingServices"}) {
        EXPECT_EQ(foundFor(macWithFault(monitor(), {call, 1, false, {}})), std::nullopt) << call;
        EXPECT_THAT(mac->ledger.heldByCall(), IsEmpty()) << call;
        EXPECT_EQ(found(), 0u) << call;
        mac.reset();
    }
}

TEST_F(FramebufferLookup, WhenTheListOfServicesEndsEarlyThereIsNone) {
    EXPECT_EQ(foundFor(macWithFault(monitor(), {"IOIteratorNext", 1, false, {}})), std::nullopt);
    EXPECT_THAT(mac->ledger.heldByCall(), IsEmpty());
}

TEST_F(FramebufferLookup, AsksForThePreferredNameOnly) {
    mac.emplace(macWith({monitor()}));
    mac->trace.keepOnly({"IODisplayCreateInfoDictionary"});
    found();
    ASSERT_EQ(mac->trace.calls().size(), 1u);
    EXPECT_EQ(mac->trace.calls()[0].argument("options"), simulated_mac::Hex{0x200});
}

TEST_F(FramebufferLookup, TheCallerOwnsWhatIsFoundAndNothingElseIsKept) {
    const Mac onMac(macWith({withSerialNumber(1), withSerialNumber(2)}));
    const io_service_t framebuffer =
        IOFramebufferPortFromCGDisplayID(onMac.displays()[1]->displayID);
    EXPECT_EQ(onMac.ledger.heldByCall(), (Held{{{"io_registry_entry_t", "IOIteratorNext"}, 1}}));
    IOObjectRelease(framebuffer);
    EXPECT_THAT(onMac.ledger.heldByCall(), IsEmpty());
}

TEST_F(FramebufferLookup, NothingIsKeptWhenNothingIsFound) {
    const Mac onMac(macWith({monitor(), withSerialNumber(2)}));
    EXPECT_EQ(IOFramebufferPortFromCGDisplayID(0xDEAD), IO_OBJECT_NULL);
    EXPECT_THAT(onMac.ledger.heldByCall(), IsEmpty());
    EXPECT_THAT(onMac.journal.misuses(), IsEmpty());
}

// ---- Transaction types

struct TypeCase {
    std::uint32_t mask;
    IOOptionBits answer;
    const char* printed;
};

class TransactionTypes : public ::testing::Test {
  protected:
    IOOptionBits ask(bool log) {
        IOOptionBits answer = 99;
        printed = printedBy([&] { answer = SupportedTransactionTypeWithLog(log); });
        return answer;
    }

    std::string printed;
};

void PrintTo(const TypeCase& types, std::ostream* stream) {
    *stream << types.mask;
}

class TransactionTypesOf : public ::testing::TestWithParam<TypeCase> {};

TEST_P(TransactionTypesOf, AnInterfaceAreSaidLineByLine) {
    const Mac mac(macWith({monitorOnBuses({busWithTypes(GetParam().mask)})}));
    IOOptionBits answer = 99;
    EXPECT_EQ(printedBy([&] { answer = SupportedTransactionTypeWithLog(true); }),
              GetParam().printed);
    EXPECT_EQ(answer, GetParam().answer);
}

INSTANTIATE_TEST_SUITE_P(
    Masks, TransactionTypesOf,
    ::testing::Values(TypeCase{0x1F, 2,
                               "\nD: IOI2CTransactionTypes: 0x1f (31)\n"
                               "D: IOI2CNoTransactionType                   supported \n"
                               "D: IOI2CSimpleTransactionType               supported \n"
                               "D: IOI2CDDCciReplyTransactionType           supported \n"
                               "D: IOI2CCombinedTransactionType             supported \n"
                               "D: IOI2CDisplayPortNativeTransactionType    supported \n"},
                      TypeCase{0x20, 0,
                               "\nD: IOI2CTransactionTypes: 0x20 (32)\n"
                               "E: IOI2CNoTransactionType                   unsupported \n"
                               "E: IOI2CSimpleTransactionType               unsupported \n"
                               "E: IOI2CDDCciReplyTransactionType           unsupported \n"
                               "E: IOI2CCombinedTransactionType             unsupported \n"
                               "E: IOI2CDisplayPortNativeTransactionType    unsupported\n"},
                      TypeCase{0x01, 0,
                               "\nD: IOI2CTransactionTypes: 0x01 (1)\n"
                               "D: IOI2CNoTransactionType                   supported \n"
                               "E: IOI2CSimpleTransactionType               unsupported \n"
                               "E: IOI2CDDCciReplyTransactionType           unsupported \n"
                               "E: IOI2CCombinedTransactionType             unsupported \n"
                               "E: IOI2CDisplayPortNativeTransactionType    unsupported\n"},
                      TypeCase{0x03, 1,
                               "\nD: IOI2CTransactionTypes: 0x03 (3)\n"
                               "D: IOI2CNoTransactionType                   supported \n"
                               "D: IOI2CSimpleTransactionType               supported \n"
                               "E: IOI2CDDCciReplyTransactionType           unsupported \n"
                               "E: IOI2CCombinedTransactionType             unsupported \n"
                               "E: IOI2CDisplayPortNativeTransactionType    unsupported\n"},
                      TypeCase{0x04, 2,
                               "\nD: IOI2CTransactionTypes: 0x04 (4)\n"
                               "E: IOI2CNoTransactionType                   unsupported \n"
                               "E: IOI2CSimpleTransactionType               unsupported \n"
                               "D: IOI2CDDCciReplyTransactionType           supported \n"
                               "E: IOI2CCombinedTransactionType             unsupported \n"
                               "E: IOI2CDisplayPortNativeTransactionType    unsupported\n"},
                      TypeCase{0x18, 0,
                               "\nD: IOI2CTransactionTypes: 0x18 (24)\n"
                               "E: IOI2CNoTransactionType                   unsupported \n"
                               "E: IOI2CSimpleTransactionType               unsupported \n"
                               "E: IOI2CDDCciReplyTransactionType           unsupported \n"
                               "D: IOI2CCombinedTransactionType             supported \n"
                               "D: IOI2CDisplayPortNativeTransactionType    supported \n"},
                      TypeCase{0, 0, "E: Fatal - No supported Transaction Types! \n"}));

TEST_F(TransactionTypes, TheHighestOfTheThreeTypesIsTheAnswer) {
    const std::array<IOOptionBits, 8> answers = {0, 0, 1, 1, 2, 2, 2, 2};
    for (std::uint32_t mask = 0; mask < 32; ++mask) {
        const Mac mac(macWith({monitorOnBuses({busWithTypes(mask)})}));
        EXPECT_EQ(ask(false), answers[mask & 7]) << mask;
    }
}

TEST_F(TransactionTypes, WithoutLoggingNothingIsPrinted) {
    for (const auto types : {std::optional<std::uint32_t>(0x0E), std::optional<std::uint32_t>(0),
                             std::optional<std::uint32_t>()}) {
        const Mac mac(macWith({monitorOnBuses({busWithTypes(types)})}));
        ask(false);
        EXPECT_EQ(printed, "");
    }
}

TEST_F(TransactionTypes, AMissingMaskIsNone) {
    const Mac mac(macWith({monitorOnBuses({busWithTypes({})})}));
    EXPECT_EQ(ask(true), 0u);
    EXPECT_EQ(printed, "E: Fatal - No supported Transaction Types! \n");
}

TEST_F(TransactionTypes, AMaskThatIsNoNumberIsNone) {
    Mac mac(macWith({monitor()}));
    for (const auto& interface : mac.registry.matching({"IOFramebufferI2CInterface", ""})) {
        mac.registry.setProperty(interface, "IOI2CTransactionTypes",
                                 simulated_mac::makeCFText("14"));
    }
    EXPECT_EQ(ask(true), 0u);
    EXPECT_EQ(printed, "E: Fatal - No supported Transaction Types! \n");
}

TEST_F(TransactionTypes, TheFirstInterfaceWithAnAnswerEndsTheSearch) {
    const Mac mac(
        macWith({monitorOnBuses({busWithTypes({}), busWithTypes(0x02), busWithTypes(0x04)})}));
    EXPECT_EQ(ask(true), 1u);
    EXPECT_EQ(printed,
              "E: Fatal - No supported Transaction Types! \n"
              "\nD: IOI2CTransactionTypes: 0x02 (2)\n"
              "E: IOI2CNoTransactionType                   unsupported \n"
              "D: IOI2CSimpleTransactionType               supported \n"
              "E: IOI2CDDCciReplyTransactionType           unsupported \n"
              "E: IOI2CCombinedTransactionType             unsupported \n"
              "E: IOI2CDisplayPortNativeTransactionType    unsupported\n");
}

TEST_F(TransactionTypes, AnInterfaceThatAllowsNoReplyDoesNotEndTheSearch) {
    const Mac mac(macWith({monitorOnBuses({busWithTypes(0x01), busWithTypes(0x04)})}));
    EXPECT_EQ(ask(false), 2u);
}

TEST_F(TransactionTypes, InterfacesOfEveryFramebufferAreAsked) {
    const Mac mac(macWith({monitorOnBuses({busWithTypes(0x01)}), monitorOnBuses({}),
                           monitorOnBuses({busWithTypes(0x1F)})}));
    EXPECT_EQ(ask(false), 2u);
}

TEST_F(TransactionTypes, AMacWithoutInterfacesHasNone) {
    Mac mac(macWith({}));
    mac.trace.keepOnly({"IORegistryEntryCreateCFProperties"});
    EXPECT_EQ(ask(true), 0u);
    EXPECT_EQ(printed, "");
    EXPECT_THAT(mac.trace.calls(), IsEmpty());
}

TEST_F(TransactionTypes, WhenInterfacesCannotBeMatchedThatIsPrintedInAnyCase) {
    for (const char* call : {"IOServiceNameMatching", "IOServiceGetMatchingServices"}) {
        const Mac mac(macWithFault(monitor(), {call, 1, true, {}}));
        for (const bool log : {true, false}) {
            EXPECT_EQ(ask(log), 0u) << call;
            EXPECT_EQ(printed, "E: Fatal - No matching service! \n") << call;
        }
        EXPECT_THAT(mac.ledger.heldByCall(), IsEmpty()) << call;
    }
}

TEST_F(TransactionTypes, AnInterfaceThatCannotBeReadHasNone) {
    auto description = macWith({monitorOnBuses({busWithTypes(0x02), busWithTypes(0x04)})});
    description.faults = {{"IORegistryEntryCreateCFProperties", 1, false, {}}};
    const Mac mac(description);
    EXPECT_EQ(ask(true), 2u);
    EXPECT_THAT(printed, ::testing::StartsWith("E: Fatal - No supported Transaction Types! \n\n"));
}

TEST_F(TransactionTypes, EachQuestionKeepsItsIteratorAndNothingElse) {
    const Mac mac(macWith({monitor()}));
    ask(true);
    EXPECT_EQ(mac.ledger.heldByCall(),
              (Held{{{"io_iterator_t", "IOServiceGetMatchingServices"}, 1}}));
    ask(false);
    EXPECT_EQ(mac.ledger.heldByCall(),
              (Held{{{"io_iterator_t", "IOServiceGetMatchingServices"}, 2}}));
    EXPECT_THAT(mac.journal.misuses(), IsEmpty());
}

TEST_F(TransactionTypes, AQuestionWithoutAnAnswerKeepsItsIteratorToo) {
    const Mac mac(macWith({monitorOnBuses({busWithTypes(0x01), busWithTypes({})})}));
    EXPECT_EQ(ask(true), 0u);
    EXPECT_EQ(mac.ledger.heldByCall(),
              (Held{{{"io_iterator_t", "IOServiceGetMatchingServices"}, 1}}));
}

// ---- Locks

TEST(DisplayLocks, ADisplayKeepsItsLock) {
    const Mac mac(macWith({}));
    const dispatch_semaphore_t first = DisplayQueue(7);
    EXPECT_NE(first, nullptr);
    EXPECT_NE(DisplayQueue(8), first);
    EXPECT_EQ(DisplayQueue(7), first);
    EXPECT_EQ(mac.ledger.heldByCall(),
              (Held{{{"CFAllocator memory", "CFAllocatorAllocate"}, 1},
                    {{"dispatch_semaphore_t", "dispatch_semaphore_create"}, 2}}));
}

TEST(DisplayLocks, FiftyDisplaysFitAndTheNextOneGetsNone) {
    const Mac mac(macWith({}));
    std::set<dispatch_semaphore_t> locks;
    for (std::uint32_t display = 0; display < 50; ++display) locks.insert(DisplayQueue(display));
    EXPECT_EQ(locks.size(), 50u);
    EXPECT_EQ(locks.count(nullptr), 0u);
    EXPECT_EQ(DisplayQueue(50), nullptr);
    EXPECT_EQ(DisplayQueue(51), nullptr);
    EXPECT_EQ(mac.ledger.held()["dispatch_semaphore_t"], 50);
    for (std::uint32_t display = 0; display < 50; ++display) {
        EXPECT_EQ(locks.count(DisplayQueue(display)), 1u);
    }
    EXPECT_EQ(locks.size(), 50u);
}

TEST(DisplayLocks, DisplayZeroGetsALockOfItsOwn) {
    const Mac mac(macWith({}));
    const dispatch_semaphore_t zero = DisplayQueue(0);
    EXPECT_NE(zero, nullptr);
    EXPECT_NE(DisplayQueue(1), zero);
}

TEST(DisplayLocks, ALockLetsOneInAtATime) {
    Mac mac(macWith({}));
    mac.trace.keepOnly({"dispatch_semaphore_create"});
    DisplayQueue(7);
    ASSERT_EQ(mac.trace.calls().size(), 1u);
    EXPECT_EQ(mac.trace.calls()[0].argument("value"), 1);
}

TEST(DisplayLocks, WithoutMemoryForTheTableThereIsNoneAndThatIsPrinted) {
    const Mac mac(macWithFault(monitor(), {"CFAllocatorAllocate", 1, false, {}}));
    dispatch_semaphore_t lock = nullptr;
    EXPECT_EQ(printedBy([&] { lock = DisplayQueue(7); }), "Memory allocation failed for queues");
    EXPECT_EQ(lock, nullptr);
    EXPECT_EQ(printedBy([&] { lock = DisplayQueue(7); }), "");
    EXPECT_NE(lock, nullptr);
}

TEST(DisplayLocks, WithoutASemaphoreThereIsNoneAndTheNextQuestionMakesOne) {
    const Mac mac(macWithFault(monitor(), {"dispatch_semaphore_create", 1, false, {}}));
    EXPECT_EQ(DisplayQueue(7), nullptr);
    EXPECT_NE(DisplayQueue(7), nullptr);
}

// ---- Sending

/// A get of VCP code 0xF1.
class Sending : public ::testing::Test {
  protected:
    Sending() {
        request.sendTransactionType = kIOI2CSimpleTransactionType;
        request.replyTransactionType = kIOI2CSimpleTransactionType;
        request.sendAddress = 0x6E;
        request.replyAddress = 0x6F;
        request.replySubAddress = 0x51;
        request.sendBuffer = reinterpret_cast<vm_address_t>(bytes.data());
        request.sendBytes = static_cast<std::uint32_t>(bytes.size());
        request.replyBuffer = reinterpret_cast<vm_address_t>(reply.data());
        request.replyBytes = static_cast<std::uint32_t>(reply.size());
    }

    void switchOn(MacDescription description) {
        mac.emplace(std::move(description));
        mac->trace.keepOnly({"IOFBCopyI2CInterfaceForBus", "IOI2CInterfaceOpen", "IOI2CSendRequest",
                             "IOI2CInterfaceClose"});
    }
    void switchOn(ScreenDescription screen) { switchOn(macWith({std::move(screen)})); }

    std::uint32_t displayID() const { return mac->displays()[0]->displayID; }
    std::size_t received() const { return mac->displays()[0]->monitor.exchanges().size(); }
    bool send() { return DisplayRequest(displayID(), &request); }

    /// The I2C calls that were made, by name.
    std::vector<std::string> calls() const { return test::namesOfCalls(*mac); }

    void expectNothingLeftBehind() const {
        EXPECT_EQ(mac->ledger.heldByCall(), lockTable);
        EXPECT_THAT(mac->journal.misuses(), IsEmpty());
    }

    std::array<std::uint8_t, 5> bytes{0x51, 0x82, 0x01, 0xF1, 0x4D};
    std::array<std::uint8_t, 11> reply{};
    IOI2CRequest request{};
    std::optional<Mac> mac;
};

TEST_F(Sending, BringsTheMonitorsReply) {
    switchOn(monitor());
    EXPECT_TRUE(send());
    EXPECT_THAT(reply,
                ElementsAre(0x6E, 0x88, 0x02, 0x00, 0xF1, 0x00, 0xFF, 0xFF, 0x40, 0x00, 0x05));
    EXPECT_EQ(mac->scheduler.now(), Time(0));
    EXPECT_THAT(calls(), ElementsAre("IOFBCopyI2CInterfaceForBus", "IOI2CInterfaceOpen",
                                     "IOI2CSendRequest", "IOI2CInterfaceClose"));
    expectNothingLeftBehind();
}

TEST_F(Sending, HasTheDisplaysLockFromTheSearchToTheEnd) {
    switchOn(monitor());
    mac->trace.keepOnly({"dispatch_semaphore_wait", "IOServiceGetMatchingServices",
                         "IOI2CSendRequest", "dispatch_semaphore_signal"});
    send();
    EXPECT_THAT(calls(), ElementsAre("dispatch_semaphore_wait", "IOServiceGetMatchingServices",
                                     "IOI2CSendRequest", "dispatch_semaphore_signal"));
}

TEST_F(Sending, ClosesTheConnectionWhileItHasTheInterface) {
    switchOn(monitor());
    const std::string released = "IOObjectRelease";
    mac->trace.keepOnly({"IOI2CInterfaceOpen", "IOI2CInterfaceClose", released});
    send();
    auto made = calls();
    // The calls before them belong to the search.
    made.erase(made.begin(), std::find(made.begin(), made.end(), "IOI2CInterfaceOpen"));
    EXPECT_THAT(made, ElementsAre("IOI2CInterfaceOpen", "IOI2CInterfaceClose", released, released))
        << "the interface and then the framebuffer";
}

TEST_F(Sending, PrintsAndLogsNothing) {
    switchOn(monitor());
    EXPECT_EQ(printedBy([&] { send(); }), "");
    EXPECT_THAT(mac->journal.systemLog(), IsEmpty());
}

TEST_F(Sending, ToABuiltInDisplayAlwaysFails) {
    switchOn(builtInMonitor());
    for (int i = 0; i < 3; ++i) EXPECT_FALSE(send());
    EXPECT_EQ(received(), 0u);
    expectNothingLeftBehind();
}

TEST_F(Sending, WithoutAFramebufferFails) {
    auto screen = monitor();
    screen.framebuffer.present = false;
    switchOn(screen);
    EXPECT_FALSE(send());
    expectNothingLeftBehind();
}

TEST_F(Sending, WithoutAFramebufferAsksForNoBuses) {
    auto screen = monitor();
    screen.framebuffer.present = false;
    switchOn(screen);
    mac->trace.keepOnly({"IOFBGetI2CInterfaceCount"});
    send();
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(Sending, ToAnUnknownDisplayFails) {
    switchOn(monitor());
    EXPECT_FALSE(DisplayRequest(0xDEAD, &request));
    EXPECT_EQ(received(), 0u);
    expectNothingLeftBehind();
}

TEST_F(Sending, ReusesTheDisplaysLock) {
    switchOn(monitor());
    EXPECT_TRUE(send());
    EXPECT_TRUE(send());
    EXPECT_EQ(received(), 2u);
    expectNothingLeftBehind();
}

TEST_F(Sending, StopsAtTheFirstBusThatTakesTheRequest) {
    switchOn(monitorOnBuses({BusDescription(), BusDescription()}));
    EXPECT_TRUE(send());
    EXPECT_EQ(received(), 1u);
    EXPECT_EQ(calls().size(), 4u);
}

TEST_F(Sending, ABusWhoseInterfaceCannotBeHadIsPassedOver) {
    BusDescription broken;
    broken.copyResult = busError;
    switchOn(monitorOnBuses({broken, BusDescription()}));
    EXPECT_TRUE(send());
    EXPECT_THAT(calls(),
                ElementsAre("IOFBCopyI2CInterfaceForBus", "IOFBCopyI2CInterfaceForBus",
                            "IOI2CInterfaceOpen", "IOI2CSendRequest", "IOI2CInterfaceClose"));
    expectNothingLeftBehind();
}

TEST_F(Sending, ABusWhoseInterfaceCannotBeOpenedIsPassedOver) {
    BusDescription broken;
    broken.openResult = busError;
    switchOn(monitorOnBuses({broken, BusDescription()}));
    EXPECT_TRUE(send());
    EXPECT_THAT(calls(), ElementsAre("IOFBCopyI2CInterfaceForBus", "IOI2CInterfaceOpen",
                                     "IOFBCopyI2CInterfaceForBus", "IOI2CInterfaceOpen",
                                     "IOI2CSendRequest", "IOI2CInterfaceClose"));
    expectNothingLeftBehind();
}

TEST_F(Sending, ABusThatDoesNotTakeTheRequestIsClosedAndPassedOver) {
    BusDescription broken;
    broken.sendResult = busError;
    switchOn(monitorOnBuses({broken, BusDescription()}));
    EXPECT_TRUE(send());
    EXPECT_THAT(calls(),
                ElementsAre("IOFBCopyI2CInterfaceForBus", "IOI2CInterfaceOpen", "IOI2CSendRequest",
                            "IOI2CInterfaceClose", "IOFBCopyI2CInterfaceForBus",
                            "IOI2CInterfaceOpen", "IOI2CSendRequest", "IOI2CInterfaceClose"));
    expectNothingLeftBehind();
}

TEST_F(Sending, ABusThatLeadsNowhereEndsTheSearch) {
    BusDescription elsewhere;
    elsewhere.leadsToMonitor = false;
    switchOn(monitorOnBuses({elsewhere, BusDescription()}));
    EXPECT_FALSE(send());
    EXPECT_EQ(request.result, kIOReturnNoDevice);
    EXPECT_EQ(received(), 0u);
    EXPECT_EQ(calls().size(), 4u);
    expectNothingLeftBehind();
}

TEST_F(Sending, ABusWhoseInterfaceIsTheHandleZeroIsPassedOver) {
    BusDescription absent;
    absent.hasInterface = false;
    switchOn(monitorOnBuses({absent, BusDescription()}));
    EXPECT_TRUE(send());
    EXPECT_EQ(received(), 1u);
    expectNothingLeftBehind();
}

TEST_F(Sending, TheNextBusGetsTheWholeRequestWhereOneIsNotGivenBack) {
    BusDescription stuck;
    stuck.releaseResult = busError;
    switchOn(monitorOnBuses({stuck, BusDescription()}));
    EXPECT_TRUE(send());
    ASSERT_EQ(received(), 2u);
    for (const auto& exchange : mac->displays()[0]->monitor.exchanges()) {
        EXPECT_THAT(exchange.request, ElementsAre(0x51, 0x82, 0x01, 0xF1, 0x4D));
    }
    expectNothingLeftBehind();
}

TEST_F(Sending, OfTheRequestOnlyItsResultChanges) {
    request.result = busError;
    const IOI2CRequest before = request;
    switchOn(monitor());
    EXPECT_TRUE(send());
    EXPECT_EQ(request.result, kIOReturnSuccess);
    request.result = busError;
    EXPECT_EQ(std::memcmp(&request, &before, sizeof before), 0);
}

TEST_F(Sending, ToAFramebufferThatSleepsLeavesTheResultAsItWas) {
    auto screen = monitor();
    screen.framebuffer.asleep = true;
    switchOn(screen);
    EXPECT_TRUE(send());
    request.result = busError;
    EXPECT_FALSE(send());
    EXPECT_EQ(request.result, busError);
    EXPECT_EQ(received(), 0u);
}

TEST_F(Sending, WhenNoBusTakesTheRequestFails) {
    BusDescription uncopied;
    uncopied.copyResult = busError;
    BusDescription unopened;
    unopened.openResult = busError;
    BusDescription unsent;
    unsent.sendResult = busError;
    switchOn(monitorOnBuses({uncopied, unopened, unsent}));
    EXPECT_FALSE(send());
    EXPECT_EQ(received(), 0u);
    expectNothingLeftBehind();
}

TEST_F(Sending, MoreBusesCountedThanThereAreDoNoHarm) {
    BusDescription unsent;
    unsent.sendResult = busError;
    auto screen = monitorOnBuses({unsent});
    screen.framebuffer.busCount = 3;
    switchOn(screen);
    EXPECT_FALSE(send());
    expectNothingLeftBehind();
}

TEST_F(Sending, ATransactionThatFailsOnABusThatTookItIsNotTriedOnTheNext) {
    BusDescription failing;
    failing.requestResult = busError;
    switchOn(monitorOnBuses({failing, BusDescription()}));
    EXPECT_FALSE(send());
    EXPECT_EQ(request.result, busError);
    EXPECT_EQ(received(), 1u);
    EXPECT_EQ(calls().size(), 4u);
    expectNothingLeftBehind();
}

TEST_F(Sending, WithoutAReplyIsFollowedByTwentyMilliseconds) {
    request.replyTransactionType = kIOI2CNoTransactionType;
    switchOn(monitor());
    EXPECT_TRUE(send());
    EXPECT_EQ(mac->scheduler.now(), Time(20ms));
    EXPECT_TRUE(send());
    EXPECT_EQ(mac->scheduler.now(), Time(40ms));
}

TEST_F(Sending, WithoutAReplyIsFollowedByTheSamePauseWhenItFails) {
    request.replyTransactionType = kIOI2CNoTransactionType;
    switchOn(monitorOnBuses({}));
    EXPECT_FALSE(send());
    EXPECT_EQ(mac->scheduler.now(), Time(20ms));
}

TEST_F(Sending, WithASimpleReplyIsFollowedByNoPause) {
    request.replyTransactionType = kIOI2CSimpleTransactionType;
    switchOn(monitor());
    EXPECT_TRUE(send());
    EXPECT_EQ(mac->scheduler.now(), Time(0));
}

TEST_F(Sending, WithoutALockIsRefused) {
    switchOn(macWithFault(monitor(), {"CFAllocatorAllocate", 1, true, {}}));
    bool sent = true;
    EXPECT_EQ(printedBy([&] { sent = send(); }), "Memory allocation failed for queues");
    EXPECT_FALSE(sent);
    EXPECT_EQ(received(), 0u);
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_THAT(mac->ledger.heldByCall(), IsEmpty());
}

TEST_F(Sending, ToAFiftyFirstDisplayIsRefused) {
    switchOn(monitor());
    for (std::uint32_t display = 1; display <= 50; ++display) DisplayQueue(display);
    EXPECT_FALSE(send());
    EXPECT_EQ(received(), 0u);
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(Sending, ToOneDisplayGoesOneRequestAtATime) {
    request.replyTransactionType = kIOI2CNoTransactionType;
    switchOn(monitor());
    for (const char* thread : {"first", "second", "third"}) {
        mac->scheduler.startThread(thread, [this] {
            IOI2CRequest own = request;
            EXPECT_TRUE(DisplayRequest(displayID(), &own));
        });
    }
    EXPECT_EQ(mac->scheduler.runUntilQuiet(), test::Scheduler::Outcome::quiet);
    std::vector<Time> times;
    for (const auto& exchange : mac->displays()[0]->monitor.exchanges()) {
        times.push_back(exchange.time);
    }
    EXPECT_THAT(times, ElementsAre(Time(0), Time(20ms), Time(40ms)));
}

TEST_F(Sending, ToTwoDisplaysMayOverlap) {
    request.replyTransactionType = kIOI2CNoTransactionType;
    switchOn(macWith({withSerialNumber(1), withSerialNumber(2)}));
    for (const std::size_t screen : {0u, 1u}) {
        mac->scheduler.startThread("sender", [this, screen] {
            IOI2CRequest own = request;
            EXPECT_TRUE(DisplayRequest(mac->displays()[screen]->displayID, &own));
        });
    }
    mac->scheduler.runUntilQuiet();
    for (const auto& display : mac->displays()) {
        ASSERT_EQ(display->monitor.exchanges().size(), 1u);
        EXPECT_EQ(display->monitor.exchanges()[0].time, Time(0));
    }
    EXPECT_EQ(mac->scheduler.now(), Time(20ms));
}

struct FailingCall {
    const char* call;
    std::uint64_t nth;
};

void PrintTo(const FailingCall& failing, std::ostream* stream) {
    *stream << failing.call << " " << failing.nth;
}

class SendingWithFailing : public Sending, public ::testing::WithParamInterface<FailingCall> {};

TEST_P(SendingWithFailing, PlatformCallFailsCleanlyAndWorksTheNextTime) {
    switchOn(macWithFault(monitor(), {GetParam().call, GetParam().nth, false, {}}));
    EXPECT_FALSE(send());
    EXPECT_EQ(received(), 0u);
    expectNothingLeftBehind();
    EXPECT_TRUE(send());
    EXPECT_EQ(received(), 1u);
    expectNothingLeftBehind();
}

// The buses are counted once for the lookup and once for the sending.
INSTANTIATE_TEST_SUITE_P(
    Calls, SendingWithFailing,
    ::testing::Values(
        FailingCall{"IOServiceMatching", 1}, FailingCall{"IOServiceGetMatchingServices", 1},
        FailingCall{"IOIteratorNext", 1}, FailingCall{"IODisplayCreateInfoDictionary", 1},
        FailingCall{"CGDisplayVendorNumber", 1}, FailingCall{"CGDisplayModelNumber", 1},
        FailingCall{"CGDisplaySerialNumber", 1}, FailingCall{"IOFBGetI2CInterfaceCount", 1},
        FailingCall{"IOFBGetI2CInterfaceCount", 2}, FailingCall{"IOFBCopyI2CInterfaceForBus", 1},
        FailingCall{"IOI2CInterfaceOpen", 1}, FailingCall{"IOI2CSendRequest", 1}));

TEST_F(Sending, IsGoodEvenWhenTheConnectionCannotBeClosed) {
    switchOn(macWithFault(monitor(), {"IOI2CInterfaceClose", 1, false, {}}));
    EXPECT_TRUE(send());
    expectNothingLeftBehind();
}

// ---- Reading

class Reading : public ::testing::Test {
  protected:
    void switchOn(MacDescription description) { mac.emplace(std::move(description)); }
    void switchOn(ScreenDescription screen) { switchOn(macWith({std::move(screen)})); }

    std::uint32_t displayID() const { return mac->displays()[0]->displayID; }
    std::vector<simulated_mac::Exchange> exchanges() const {
        return mac->displays()[0]->monitor.exchanges();
    }

    bool read(bool log = false) {
        bool good = false;
        printed = printedBy([&] { good = DDCReadWithLog(displayID(), &record, 50, log); });
        return good;
    }

    void expectNoValues() const {
        EXPECT_FALSE(record.success);
        EXPECT_EQ(record.maxValue, 0);
        EXPECT_EQ(record.currentValue, 0);
        EXPECT_EQ(record.fourBytes, 0u);
        EXPECT_EQ(record.controlID, 0xF1);
    }

    DDCReadRecord record{.controlID = 0xF1};
    std::string printed;
    std::optional<Mac> mac;
};

DDCAnswer silence() {
    return {DDCAnswer::Kind::silent, {}};
}

DDCAnswer good() {
    return {DDCAnswer::Kind::good, {}};
}

DDCAnswer bytes(Bytes reply) {
    return {DDCAnswer::Kind::bytes, std::move(reply)};
}

/// What one try prints: the reply type's lines, the delay and both packets.
std::string tryPrints(const std::string& reply) {
    return std::string(usualTypes) +
           "minReplyDelay = 50\n"
           "Check DDCRead (send) 6E 51 82 01 F1 4D \n"
           "Check DDCRead (reply)" +
           reply + "\n";
}

constexpr auto goodReply = "6E 88 02 00 F1 00 FF FF 40 00 05 , chksum: 05";
/// The request itself, which the platform leaves in the buffer if nothing comes back.
constexpr auto noReply = "51 82 01 F1 4D 00 00 00 00 00 00 , chksum: 01";

TEST_F(Reading, BringsTheValues) {
    auto screen = monitor();
    screen.monitor.vcp[0xF1] = {0x4321, 0x8765, 0, 0};
    switchOn(screen);
    EXPECT_TRUE(read());
    EXPECT_TRUE(record.success);
    EXPECT_EQ(record.maxValue, 0x8765);
    EXPECT_EQ(record.currentValue, 0x4321);
    EXPECT_EQ(record.fourBytes, 0x87654321u);
    EXPECT_EQ(mac->scheduler.now(), Time(0));
}

TEST_F(Reading, ARequestForBrightnessIsFiveBytes) {
    record.controlID = 0x10;
    switchOn(monitor());
    read();
    ASSERT_EQ(exchanges().size(), 1u);
    EXPECT_THAT(exchanges()[0].request, ElementsAre(0x51, 0x82, 0x01, 0x10, 0xAC));
}

TEST_F(Reading, TheRequestGoesToTheMonitorsAddressWithTheDelayAsGiven) {
    switchOn(monitor());
    mac->trace.keepOnly({"IOI2CSendRequest"});
    EXPECT_TRUE(DDCReadWithLog(displayID(), &record, 100'000'000, false));
    ASSERT_EQ(mac->trace.calls().size(), 1u);
    EXPECT_EQ(argumentsText(mac->trace.calls()[0]),
              "display " + std::to_string(displayID()) +
                  ", bus 0, address 0x6e, send type 1, bytes 51 82 01 F1 4D, reply address 0x6f, "
                  "reply sub-address 0x51, reply type 1, delay 100000000, flags 0x0");
}

TEST_F(Reading, AGoodFirstTryPrintsItsPacketsAndNothingOfTries) {
    switchOn(monitor());
    EXPECT_TRUE(read(true));
    EXPECT_EQ(printed, tryPrints(goodReply));
}

TEST_F(Reading, AGoodThirdTrySaysSo) {
    switchOn(monitorThatAnswers({silence(), silence(), good()}));
    EXPECT_TRUE(read(true));
    EXPECT_EQ(printed, tryPrints(noReply) + tryPrints(noReply) + tryPrints(goodReply) +
                           "D: Tries required to get data: 3 \n");
    EXPECT_EQ(mac->scheduler.now(), Time(2s));
    EXPECT_EQ(record.currentValue, 0x4000);
}

TEST_F(Reading, AGoodSecondAndFifthTrySaySo) {
    switchOn(monitorThatAnswers(
        {silence(), good(), silence(), silence(), silence(), silence(), good()}));
    EXPECT_TRUE(read(true));
    EXPECT_THAT(printed, ::testing::EndsWith("D: Tries required to get data: 2 \n"));
    EXPECT_TRUE(read(true));
    EXPECT_THAT(printed, ::testing::EndsWith("D: Tries required to get data: 5 \n"));
    EXPECT_THAT(printed, Not(HasSubstr("E: No data")));
    EXPECT_EQ(mac->scheduler.now(), Time(1s + 4s));
}

TEST_F(Reading, AMonitorThatNeverAnswersFailsAfterTheFifthTry) {
    record = {0xF1, true, 1, 2, 3};
    switchOn(monitorThatAnswers({silence()}));
    EXPECT_FALSE(read(true));
    expectNoValues();
    std::string tries;
    for (int i = 0; i < 5; ++i) tries += tryPrints(noReply);
    EXPECT_EQ(printed, tries + "E: No data after 5 tries! \n");
}

TEST_F(Reading, AMonitorThatNeverAnswersIsAskedFiveTimesASecondApart) {
    switchOn(monitorThatAnswers({silence()}));
    EXPECT_FALSE(read());
    std::vector<Time> times;
    for (const auto& exchange : exchanges()) times.push_back(exchange.time);
    EXPECT_THAT(times, ElementsAre(Time(0s), Time(1s), Time(2s), Time(3s), Time(4s)));
    EXPECT_EQ(mac->scheduler.now(), Time(4s));
}

TEST_F(Reading, WithoutLoggingNothingIsPrinted) {
    switchOn(monitorThatAnswers({silence(), good(), silence()}));
    EXPECT_TRUE(read());
    EXPECT_EQ(printed, "");
    EXPECT_FALSE(read());
    EXPECT_EQ(printed, "");
}

TEST_F(Reading, AnUnsupportedTransactionTypeIsPrintedEvenWithoutLogging) {
    BusDescription bus;
    bus.requestResult = unsupportedMode;
    switchOn(monitorOnBuses({bus}));
    EXPECT_FALSE(read());
    const std::string line = "E: Unsupported Transaction Type! \n";
    EXPECT_EQ(printed, line + line + line + line + line);
    expectNoValues();
}

TEST_F(Reading, AnUnsupportedTransactionTypeIsPrintedAfterThePackets) {
    BusDescription bus;
    bus.requestResult = unsupportedMode;
    switchOn(monitorOnBuses({bus}));
    EXPECT_FALSE(read(true));
    std::string tries;
    for (int i = 0; i < 5; ++i)
        tries += tryPrints(goodReply) + "E: Unsupported Transaction Type! \n";
    EXPECT_EQ(printed, tries + "E: No data after 5 tries! \n");
}

TEST_F(Reading, ATryThatIsNotSentHasNothingOfTheResultBefore) {
    BusDescription bus;
    bus.requestResult = unsupportedMode;
    switchOn(macWithFault(monitorOnBuses({bus}), {"IOI2CSendRequest", 2, true, {}}));
    EXPECT_FALSE(read());
    EXPECT_EQ(printed, "E: Unsupported Transaction Type! \n");
}

TEST_F(Reading, AnotherFailureOfTheTransactionIsNotPrinted) {
    BusDescription bus;
    bus.requestResult = busError;
    switchOn(monitorOnBuses({bus}));
    EXPECT_FALSE(read());
    EXPECT_EQ(printed, "");
}

TEST_F(Reading, AReplyWithAResultCodeIsTaken) {
    auto screen = monitor();
    screen.monitor.vcp[0xF1] = {0x4000, 0xFFFF, 0, 1};
    switchOn(screen);
    EXPECT_TRUE(read());
    EXPECT_EQ(exchanges()[0].reply[3], 1);
    EXPECT_EQ(record.currentValue, 0x4000);
}

TEST_F(Reading, AReplyOfAnotherLengthOrTypeIsTaken) {
    auto screen = monitorThatAnswers({{DDCAnswer::Kind::wrongLength, {}}});
    screen.monitor.vcp[0xF1].type = 1;
    switchOn(screen);
    EXPECT_TRUE(read());
    EXPECT_EQ(exchanges().size(), 1u);
}

TEST_F(Reading, AReplyThatFailsAnyTestIsTriedAgain) {
    using Kind = DDCAnswer::Kind;
    switchOn(monitorThatAnswers({{Kind::wrongSource, {}},
                                 {Kind::wrongOpcode, {}},
                                 {Kind::wrongCode, {}},
                                 {Kind::badChecksum, {}},
                                 good()}));
    EXPECT_TRUE(read(true));
    EXPECT_EQ(exchanges().size(), 5u);
    EXPECT_THAT(printed, ::testing::EndsWith("D: Tries required to get data: 5 \n"));
    EXPECT_EQ(mac->scheduler.now(), Time(4s));
}

TEST_F(Reading, RepliesOfAnyLengthAndContentDoNoHarm) {
    switchOn(monitorThatAnswers({bytes({}), bytes({0x6E}), bytes({0x6E, 0x88, 0x02}),
                                 bytes(Bytes(11, 0xFF)), bytes(Bytes(300, 0xAA))}));
    EXPECT_FALSE(read());
    expectNoValues();
    EXPECT_EQ(exchanges().size(), 5u);
}

TEST_F(Reading, BytesOfAnEarlierTryStayInTheReplyWhereNothingIsSent) {
    auto description = macWith({monitorThatAnswers({bytes({0x11, 0x22, 0x33}), good()})});
    description.faults = {{"IOI2CSendRequest", 2, false, {}}};
    switchOn(description);
    EXPECT_TRUE(read(true));
    const auto stale = "11 22 33 F1 4D 00 00 00 00 00 00 , chksum: 93";
    EXPECT_EQ(printed, tryPrints(stale) + tryPrints(stale) + tryPrints(goodReply) +
                           "D: Tries required to get data: 3 \n");
}

TEST_F(Reading, TheEchoOfAFramebufferThatSleepsIsNoReply) {
    auto screen = monitor();
    screen.framebuffer.asleep = true;
    switchOn(screen);
    EXPECT_FALSE(read(true));
    expectNoValues();
    EXPECT_EQ(exchanges().size(), 0u);
    std::string tries;
    for (int i = 0; i < 5; ++i) tries += tryPrints(noReply);
    EXPECT_EQ(printed, tries + "E: No data after 5 tries! \n");
}

TEST_F(Reading, ABusWithoutTheReplyTypeOfTheFirstInterfaceSaysSo) {
    auto description =
        macWith({monitorOnBuses({busWithTypes(0x13)}), monitorOnBuses({busWithTypes(0x1F)})});
    description.screens[0].serialNumber = 1;
    description.screens[0].framebuffer.dictionary = {{"DisplaySerialNumber", {std::int64_t{1}}}};
    // The first interface answers for all of them: simple replies.
    switchOn(description);
    EXPECT_TRUE(read());
    description.screens[0].framebuffer.buses = {busWithTypes(0x1F)};
    description.screens[1].framebuffer.buses = {busWithTypes(0x13)};
    switchOn(description);
    EXPECT_TRUE(read());
    printed = printedBy([this] {
        EXPECT_FALSE(DDCReadWithLog(mac->displays()[1]->displayID, &record, 50, false));
    });
    EXPECT_EQ(printed,
              "E: Unsupported Transaction Type! \nE: Unsupported Transaction Type! \n"
              "E: Unsupported Transaction Type! \nE: Unsupported Transaction Type! \n"
              "E: Unsupported Transaction Type! \n");
}

TEST_F(Reading, AMonitorThatNeedsLongerThanTheDelayDoesNotAnswer) {
    auto screen = monitor();
    screen.monitor.needsReplyDelay = 51;
    switchOn(screen);
    EXPECT_FALSE(read());
    EXPECT_TRUE(DDCReadWithLog(displayID(), &record, 51, false));
}

TEST_F(Reading, OfABuiltInDisplayFailsAfterFourSeconds) {
    switchOn(builtInMonitor());
    EXPECT_FALSE(read());
    expectNoValues();
    EXPECT_EQ(exchanges().size(), 0u);
    EXPECT_EQ(mac->scheduler.now(), Time(4s));
}

TEST_F(Reading, WithoutAnyReplyTypeEveryRequestIsFollowedByTwentyMilliseconds) {
    switchOn(monitorOnBuses({busWithTypes(0x01)}));
    mac->trace.keepOnly({"IOI2CSendRequest"});
    EXPECT_FALSE(read());
    std::vector<Time> times;
    for (const auto& call : mac->trace.calls()) times.push_back(call.time);
    EXPECT_THAT(times,
                ElementsAre(Time(0), Time(1020ms), Time(2040ms), Time(3060ms), Time(4080ms)));
    EXPECT_EQ(mac->scheduler.now(), Time(4100ms));
    EXPECT_EQ(exchanges().size(), 0u) << "the bus takes no simple transaction either";
}

TEST_F(Reading, ReplyTypesAreAskedForOnEveryTry) {
    switchOn(monitorThatAnswers({silence()}));
    read();
    EXPECT_EQ(mac->ledger.heldByCall(), afterRead(5));
    EXPECT_THAT(mac->journal.misuses(), IsEmpty());
}

TEST_F(Reading, AGoodReadKeepsOneIteratorAndTheLock) {
    switchOn(monitor());
    EXPECT_TRUE(read());
    EXPECT_EQ(mac->ledger.heldByCall(), afterRead(1));
    EXPECT_THAT(mac->journal.misuses(), IsEmpty());
}

TEST_F(Reading, WhenInterfacesCannotBeMatchedTheRequestGoesOutWithoutAReplyType) {
    auto description = macWith({monitor()});
    // In each try the first lookup is for its reply type, the second for its framebuffer.
    description.faults = {{"IOServiceGetMatchingServices", 1, false, {}}};
    switchOn(description);
    EXPECT_TRUE(read());
    EXPECT_EQ(printed, "E: Fatal - No matching service! \n");
    EXPECT_EQ(exchanges().size(), 2u);
    EXPECT_EQ(mac->scheduler.now(), Time(1020ms));
}

TEST_F(Reading, WithoutALockFailsAndSendsNothing) {
    switchOn(macWithFault(monitor(), {"CFAllocatorAllocate", 1, true, {}}));
    EXPECT_FALSE(read());
    expectNoValues();
    EXPECT_EQ(exchanges().size(), 0u);
    std::string lines;
    for (int i = 0; i < 5; ++i) lines += "Memory allocation failed for queues";
    EXPECT_EQ(printed, lines);
}

TEST_F(Reading, SaysItsDelayBeforeItSends) {
    switchOn(macWithFault(monitor(), {"CFAllocatorAllocate", 1, false, {}}));
    read(true);
    EXPECT_THAT(printed, HasSubstr("minReplyDelay = 50\nMemory allocation failed for queues"));
}

TEST_F(Reading, AFailedSendIsTriedAgain) {
    switchOn(macWithFault(monitor(), {"IOI2CSendRequest", 1, false, unsupportedMode}));
    EXPECT_TRUE(read());
    EXPECT_EQ(exchanges().size(), 1u);
    EXPECT_EQ(mac->scheduler.now(), Time(1s));
    EXPECT_EQ(printed, "") << "the call's own failure is not the transaction's";
}

TEST_F(Reading, AControlGivesMaximumAndCurrentValue) {
    auto screen = monitor();
    screen.monitor.vcp[0x10] = {40, 100, 0, 0};
    switchOn(screen);
    std::uint16_t maximum = 1;
    std::uint16_t current = 2;
    EXPECT_TRUE(getControlWithLog(displayID(), 0x10, 50, false, &maximum, &current));
    EXPECT_EQ(maximum, 100);
    EXPECT_EQ(current, 40);
}

TEST_F(Reading, AControlThatCannotBeReadLeavesBothValues) {
    switchOn(monitorThatAnswers({silence()}));
    std::uint16_t maximum = 1;
    std::uint16_t current = 2;
    EXPECT_FALSE(getControlWithLog(displayID(), 0x10, 50, false, &maximum, &current));
    EXPECT_EQ(maximum, 1);
    EXPECT_EQ(current, 2);
}

TEST_F(Reading, FourBytesHoldMaximumAndCurrentValue) {
    auto screen = monitor();
    screen.monitor.vcp[0x10] = {0xBEEF, 0xDEAD, 0, 0};
    switchOn(screen);
    std::uint32_t value = 1;
    EXPECT_TRUE(getFourBytesWithLog(displayID(), 0x10, 50, false, &value));
    EXPECT_EQ(value, 0xDEADBEEFu);
}

TEST_F(Reading, FourBytesThatCannotBeReadLeaveTheValue) {
    switchOn(monitorThatAnswers({silence()}));
    std::uint32_t value = 1;
    EXPECT_FALSE(getFourBytesWithLog(displayID(), 0x10, 50, false, &value));
    EXPECT_EQ(value, 1u);
}

TEST_F(Reading, TheWrappersPassDelayAndLoggingOn) {
    switchOn(monitor());
    std::uint16_t maximum = 0;
    std::uint16_t current = 0;
    std::uint32_t value = 0;
    EXPECT_EQ(printedBy([&] {
                  getControlWithLog(displayID(), 0xF1, 50, true, &maximum, &current);
                  getFourBytesWithLog(displayID(), 0xF1, 50, true, &value);
              }),
              tryPrints(goodReply) + tryPrints(goodReply));
}

}  // namespace ddc_test
