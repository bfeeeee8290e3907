#include <IOKit/IOKitLib.h>
#include <gtest/gtest.h>
#include <mach/mach_error.h>

// What PlatformHeadersTest.cpp can't ask when it is compiled.

namespace platform_values_test {

TEST(PlatformHeaders, HaveZeroAsTheDefaultMasterPort) {
    EXPECT_EQ(kIOMasterPortDefault, 0u);
}

TEST(PlatformHeaders, HaveATextForEveryIOErrorThatTheyName) {
    EXPECT_STREQ(mach_error_string(kIOReturnSuccess), "(os/kern) successful");
    EXPECT_STREQ(mach_error_string(kIOReturnError), "(iokit/common) general error");
    EXPECT_STREQ(mach_error_string(kIOReturnNoDevice), "(iokit/common) no such device");
    EXPECT_STREQ(mach_error_string(kIOReturnUnsupported), "(iokit/common) unsupported function");
    EXPECT_STREQ(mach_error_string(kIOReturnUnsupportedMode), "(iokit/common) unsupported mode");
    EXPECT_STREQ(mach_error_string(kIOReturnNotFound), "(iokit/common) data was not found");
    EXPECT_STRNE(mach_error_string(0x1234), "");
}

}  // namespace platform_values_test
