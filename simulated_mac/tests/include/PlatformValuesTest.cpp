#include <IOKit/IOKitLib.h>
#include <gtest/gtest.h>
#include <mach/mach_error.h>

#include <cstdint>

// What PlatformHeadersTest.cpp can't ask when it is compiled.

namespace platform_values_test {

TEST(PlatformHeaders, HaveZeroAsTheDefaultMasterPort) {
    EXPECT_EQ(kIOMasterPortDefault, 0u);
}

const char* errorText(std::uint32_t error) {
    return mach_error_string(static_cast<mach_error_t>(error));
}

TEST(PlatformHeaders, HaveATextForEveryIOErrorThatTheyName) {
    EXPECT_STREQ(mach_error_string(kIOReturnSuccess), "(os/kern) successful");
    EXPECT_STREQ(mach_error_string(kIOReturnError), "(iokit/common) general error");
    EXPECT_STREQ(mach_error_string(kIOReturnNoDevice), "(iokit/common) no such device");
    EXPECT_STREQ(mach_error_string(kIOReturnUnsupported), "(iokit/common) unsupported function");
    EXPECT_STREQ(mach_error_string(kIOReturnUnsupportedMode), "(iokit/common) no such mode");
    EXPECT_STREQ(mach_error_string(kIOReturnNotFound), "(iokit/common) data was not found");
}

TEST(PlatformHeaders, HaveTheTextsOfTheIOKitsCommonErrors) {
    EXPECT_STREQ(errorText(0xE0000001), "(iokit/common) invalid - should never be seen");
    EXPECT_STREQ(errorText(0xE00002C2), "(iokit/common) invalid argument");
    EXPECT_STREQ(errorText(0xE00002CA), "(iokit/common) General I/O error");
    EXPECT_STREQ(errorText(0xE00002CB), "(iokit/common) ???");
    EXPECT_STREQ(errorText(0xE00002D6), "(iokit/common) I/O Timeout");
    EXPECT_STREQ(errorText(0xE00002DC), "(iokit/common) ???");
    EXPECT_STREQ(errorText(0xE00002E2), "(iokit/common) not permitted");
    EXPECT_STREQ(errorText(0xE00002E8), "(iokit/common) data overrun");
    EXPECT_STREQ(errorText(0xE00002ED), "(iokit/common) device not responding");
}

TEST(PlatformHeaders, HaveTheTextsOfSomeOfTheKernelsErrors) {
    EXPECT_STREQ(errorText(5), "(os/kern) failure");
    EXPECT_STREQ(errorText(15), "(os/kern) invalid name");
    EXPECT_STREQ(errorText(55), "(os/kern) invalid kernel collection");
}

TEST(PlatformHeaders, SayOfAnUnknownErrorThatItIsOne) {
    EXPECT_STREQ(errorText(0xE00002BB), "unknown error code");
    EXPECT_STREQ(errorText(0xE00002F1), "unknown error code");
    EXPECT_STREQ(errorText(0x1234), "unknown error code");
    EXPECT_STREQ(errorText(0xE0004001), "(iokit/?) unknown subsystem error");
}

}  // namespace platform_values_test
