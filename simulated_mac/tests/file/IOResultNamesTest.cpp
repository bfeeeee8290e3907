#include "simulated_mac/file/IOResultNames.h"

#include <IOKit/IOKitLib.h>
#include <gtest/gtest.h>

#include <map>

namespace simulated_mac {
namespace io_result_names_test {

TEST(IOResultNames, AreThoseOfThePlatformsHeaders) {
    std::map<std::string, std::uint32_t> values;
    for (const IOResultName& one : ioResultNames()) values[one.name] = one.value;
    EXPECT_EQ(values.size(), ioResultNames().size());
    EXPECT_EQ(static_cast<IOReturn>(values.at("kIOReturnSuccess")), kIOReturnSuccess);
    EXPECT_EQ(static_cast<IOReturn>(values.at("kIOReturnError")), kIOReturnError);
    EXPECT_EQ(static_cast<IOReturn>(values.at("kIOReturnNoDevice")), kIOReturnNoDevice);
    EXPECT_EQ(static_cast<IOReturn>(values.at("kIOReturnUnsupported")), kIOReturnUnsupported);
    EXPECT_EQ(static_cast<IOReturn>(values.at("kIOReturnUnsupportedMode")),
              kIOReturnUnsupportedMode);
    EXPECT_EQ(static_cast<IOReturn>(values.at("kIOReturnNotFound")), kIOReturnNotFound);
    EXPECT_EQ(values.at("kIOReturnBadArgument"), 0xE00002C2U);
    EXPECT_EQ(values.at("kIOReturnOverrun"), 0xE00002E8U);
    EXPECT_EQ(values.at("kIOReturnPortExists"), 0xE00002DDU);
}

}  // namespace io_result_names_test
}  // namespace simulated_mac
