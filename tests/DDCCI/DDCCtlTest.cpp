#include "plugin/DDCCI/DDCCtl.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "simulated_mac/machine/CallText.h"
#include "tests/support/PaneOnMac.h"

using namespace std::chrono_literals;

namespace ddc_ctl_test {

using test::Mac;
using test::Time;
using ::testing::ElementsAre;

std::string textOf(std::string_view thirteenBytes) {
    EXPECT_EQ(thirteenBytes.size(), 13u);
    const test::Mac mac(test::macWith({}));
    return DDCCtl().EDIDString(reinterpret_cast<const std::uint8_t*>(thirteenBytes.data()));
}

std::shared_ptr<displayInfo> usbDisplay(std::uint32_t serialNumber, std::int32_t index) {
    const auto display = std::make_shared<displayInfo>();
    display->serialNumber = serialNumber;
    display->USBIdx = index;
    return display;
}

class USBConnection : public ::testing::Test {
  protected:
    bool ask(std::uint32_t display) { return controller.isUSBConnectType(&index, display); }

    const Mac mac{test::macWith({test::monitorNamed("VORN K2790Z")})};
    const std::uint32_t displayID = mac.displays()[0]->displayID;
    DDCCtl controller;
    std::int32_t index = 77;
};

TEST(DescriptorText, EndsBeforeTheLineFeed) {
    EXPECT_EQ(textOf("K2790Z\n      "), "K2790Z");
}

TEST(DescriptorText, ThirteenLettersWithoutALineFeedAreAllKept) {
    EXPECT_EQ(textOf("ABCDEFGHIJKLM"), "ABCDEFGHIJKLM");
}

TEST(DescriptorText, AFieldThatStartsWithALineFeedIsEmpty) {
    EXPECT_EQ(textOf("\nK2790Z      "), "");
}

TEST(DescriptorText, OnlyTheFirstLineCounts) {
    EXPECT_EQ(textOf("K27\n90\nZ     "), "K27");
}

TEST(DescriptorText, BlanksBeforeTheLineFeedStay) {
    EXPECT_EQ(textOf(" K2790Z  \n   "), " K2790Z  ");
}

TEST(DescriptorText, TrailingBlanksWithoutALineFeedStay) {
    EXPECT_EQ(textOf("K2790Z       "), "K2790Z       ");
}

TEST(DescriptorText, ALineFeedAsTheLastByteIsCut) {
    EXPECT_EQ(textOf("ABCDEFGHIJKL\n"), "ABCDEFGHIJKL");
}

TEST(DescriptorText, NothingAfterTheThirteenBytesIsRead) {
    const std::string bytes = "ABCDEFGHIJKLMNOP";
    EXPECT_EQ(DDCCtl().EDIDString(reinterpret_cast<const std::uint8_t*>(bytes.data())),
              "ABCDEFGHIJKLM");
}

TEST(DescriptorText, EachByteBeyondASCIIReadsAsTheReplacementCharacter) {
    EXPECT_EQ(textOf("\x80K\xC3\xA9\xFF\n       "),
              "\xEF\xBF\xBDK\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(DescriptorText, AZeroByteStaysACharacter) {
    EXPECT_EQ(textOf(std::string_view("K\0Z\0\n        ", 13)), std::string("K\0Z\0", 4));
}

TEST(DescriptorText, ACarriageReturnIsNoLineFeed) {
    EXPECT_EQ(textOf("K2790Z\r\n     "), "K2790Z\r");
}

TEST(Controller, AFreshOneReadsOverFramebuffersAndKnowsNoUSBDisplays) {
    const Mac mac(test::macWith({}));
    const DDCCtl controller;
    EXPECT_FALSE(controller.channelFree);
    EXPECT_FALSE(controller.UseArm64);
    EXPECT_FALSE(controller.usbAllDisplays);
}

TEST(Controller, TheMinimumReplyDelayStartsAtFifty) {
    EXPECT_EQ(DDCMinReplyDelay, 50u);
}

TEST(Controller, NoneIsThereBeforeThePaneMakesIt) {
    EXPECT_EQ(DDC, nullptr);
}

TEST(Controller, TheStatusesHaveTheirFixedNumbers) {
    EXPECT_EQ(DDCCtl::success, 0);
    EXPECT_EQ(DDCCtl::noValue, -1);
    EXPECT_EQ(DDCCtl::badReply, 7);
    EXPECT_EQ(DDCCtl::nothingRead, 65535u);
}

TEST(Controller, ItsOperationQueueRunsOneOperationAtATimeInOrder) {
    Mac mac(test::macWith({}));
    const DDCCtl controller;
    std::vector<std::pair<int, Time>> steps;
    for (const int operation : {1, 2, 3}) {
        controller.DDCOperationQueue.async([&, operation] {
            steps.emplace_back(operation, mac.scheduler.now());
            mac.scheduler.sleep(2s);
        });
    }
    EXPECT_EQ(mac.scheduler.runUntilQuiet(), test::Scheduler::Outcome::quiet);
    EXPECT_THAT(
        steps, ElementsAre(std::pair(1, Time(0s)), std::pair(2, Time(2s)), std::pair(3, Time(4s))));
}

TEST(Controller, ItsOperationQueueHasItsName) {
    Mac mac(test::macWith({}));
    mac.trace.keepOnly({"dispatch_queue_create"});
    const DDCCtl controller;
    ASSERT_EQ(mac.trace.calls().size(), 1u);
    EXPECT_EQ(argumentsText(mac.trace.calls().front()), "label \"DDCOperationQueue\"");
}

TEST(Controller, TheSerialQueueIsMadeOnceAndKept) {
    Mac mac(test::macWith({}));
    mac.trace.keepOnly({"dispatch_queue_create"});
    const dispatch_queue_t first = DDCCtl::serialQueue();
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(DDCCtl::serialQueue(), first);
    ASSERT_EQ(mac.trace.calls().size(), 1u);
    EXPECT_EQ(argumentsText(mac.trace.calls()[0]), "label \"com.Zenqa.backgroundThread\"");
    const std::map<std::pair<std::string, std::string>, std::int64_t> held = {
        {{"dispatch_queue_t", "dispatch_queue_create"}, 1}};
    EXPECT_EQ(mac.ledger.heldByCall(), held);
}

TEST(Controller, TheSerialQueueRunsWorkInOrder) {
    struct Step {
        Mac& mac;
        std::vector<Time> times;
    };
    Mac mac(test::macWith({}));
    Step step{mac, {}};
    for (int i = 0; i < 2; ++i) {
        dispatch_async_f(DDCCtl::serialQueue(), &step, [](void* context) {
            auto& self = *static_cast<Step*>(context);
            self.times.push_back(self.mac.scheduler.now());
            self.mac.scheduler.sleep(1s);
        });
    }
    mac.scheduler.runUntilQuiet();
    EXPECT_THAT(step.times, ElementsAre(Time(0s), Time(1s)));
}

TEST_F(USBConnection, WithoutAListThereIsNone) {
    EXPECT_FALSE(ask(displayID));
    EXPECT_EQ(index, 77);
}

TEST_F(USBConnection, OnAnEmptyListThereIsNone) {
    controller.usbAllDisplays.emplace();
    EXPECT_FALSE(ask(displayID));
    EXPECT_EQ(index, 77);
}

TEST_F(USBConnection, TheDisplaysSerialNumberFindsItsEntry) {
    controller.usbAllDisplays = {usbDisplay(0x11111111, 4), usbDisplay(0x12345678, 9)};
    EXPECT_TRUE(ask(displayID));
    EXPECT_EQ(index, 9);
}

TEST_F(USBConnection, TheFirstOfSeveralEntriesWins) {
    controller.usbAllDisplays = {usbDisplay(0x12345678, -1), usbDisplay(0x12345678, 9)};
    EXPECT_TRUE(ask(displayID));
    EXPECT_EQ(index, -1);
}

TEST_F(USBConnection, AnotherSerialNumberFindsNoneAndLeavesTheIndex) {
    controller.usbAllDisplays = {usbDisplay(0x12345679, 4), usbDisplay(0, 5)};
    EXPECT_FALSE(ask(displayID));
    EXPECT_EQ(index, 77);
}

TEST_F(USBConnection, AnUnknownDisplayHasSerialNumberZero) {
    controller.usbAllDisplays = {usbDisplay(0x12345678, 4), usbDisplay(0, 5)};
    EXPECT_TRUE(ask(0xDEAD));
    EXPECT_EQ(index, 5);
}

}  // namespace ddc_ctl_test
