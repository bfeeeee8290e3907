#pragma once

#include <string>
#include <vector>

#include "displaycheck/host/CapturedOutput.h"
#include "plugin/MyInstallerPane.h"
#include "simulated_mac/description/EDID.h"
#include "simulated_mac/description/HexText.h"
#include "simulated_mac/machine/Mac.h"

/// What the tests of the plug-in share: Macs to run it on, and the pane on one of them.
namespace test {

using simulated_mac::EDIDFields;
using simulated_mac::hexText;
using simulated_mac::Mac;
using simulated_mac::MacDescription;
using simulated_mac::Scheduler;
using simulated_mac::ScreenDescription;
using simulated_mac::Time;
using simulated_mac::USBDeviceDescription;

/// A supported model of before model year 25, and one of model year 25.
inline constexpr auto listedOlder = "VORN K2422H";
inline constexpr auto listedRecent = "VORN K2725QX";

/// The built-in panel.
ScreenDescription builtInPanel();

/// A monitor of the maker's with this name, product code 0x1234, serial number 0x12345678 and
/// service tag 7XYZ123.
ScreenDescription monitorNamed(const std::string& name);

/// The same monitor; it answers a get of VCP code 0xF1 with this current value.
ScreenDescription answeringMonitor(const std::string& name, std::uint16_t value);

/// The same monitor; it never answers over DDC/CI.
ScreenDescription silentMonitor(const std::string& name);

/// A supported camera at USB location 0x14200000.
USBDeviceDescription camera();

/// An Intel Mac with these screens.
MacDescription macWith(std::vector<ScreenDescription> screens);

/// An Apple-silicon Mac with these screens and a small registry.
MacDescription appleMacWith(std::vector<ScreenDescription> screens);

/// The platform calls that the trace kept, in order.
std::vector<std::string> namesOfCalls(const Mac& mac);

/// How long a traced sleep takes.
Time durationOf(const simulated_mac::TracedCall& sleep);

/// The pane in the installer of a Mac.
class PaneOnMac {
  public:
    explicit PaneOnMac(MacDescription description, Mac::Options options = {});
    /// Shows what a failed test printed: its messages are part of that.
    ~PaneOnMac();

    /// Enters the pane at time 0 and lets everything play out.
    Scheduler::Outcome run();
    /// Has the user enter the pane at another time, too.
    void enterAt(Time time);

    /// Calls `work` as the main thread does, and lets what follows from it play out.
    void onMain(std::function<void()> work);

    /// All that the plug-in printed until now.
    std::string printed();

    /// When Continue was enabled first after the pane was entered; fails the test when it never
    /// was.
    Time timeOfContinue() const;

    Mac mac;
    vorn::MyInstallerPane pane;

  private:
    void enter();

    displaycheck::CapturedOutput output_;
};

/// Makes the process-wide objects as entering the pane does, for tests of the parts beneath it.
void makeProcessWideObjects();

}  // namespace test
