#pragma once

#include <IOKit/IOKitLib.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "plugin/Cocoa/InstallerPane.h"
#include "plugin/Cocoa/TextField.h"
#include "plugin/DDCCI/Arm64Utility.h"
#include "plugin/Display/EDIDInfo.h"
#include "plugin/Display/displayInfo.h"
#include "plugin/Platform/Exported.h"
#include "plugin/Platform/Guarded.h"
#include "plugin/WhiteList.h"

/// One of the maker's cameras. Texts that the device lacks are empty.
struct CameraEntry {
    io_service_t service = 0;            ///< registry handle of the USB device
    std::string kUSBSerialNumberString;  ///< the device's property of that name
    std::string name;                    ///< its "kUSBProductString" property
};

/// Cameras by USB location, written "0x%08X".
using CameraDictionary = std::map<std::string, CameraEntry>;

/// The cameras seen since the pane was last entered. Detached ones stay.
EXPORTED vorn::Guarded<CameraDictionary>& infoDic;

/// The displays of the last enumeration, with their verdicts.
EXPORTED vorn::Guarded<DisplayList>& displayInfoArray;

/// The USB watcher's state. Every entry of the pane arms a new notification and overwrites it; the
/// earlier one is never torn down.
EXPORTED std::atomic<CFMutableDictionaryRef> classToMatch;
EXPORTED std::atomic<IONotificationPortRef> gNotifyPort;
EXPORTED std::atomic<io_iterator_t> gNewDeviceAddedIter;
EXPORTED std::atomic<io_iterator_t> gNewDeviceRemovedIter;  ///< for detachments; never armed
EXPORTED void* deviceArray;                                 ///< never set

namespace vorn {

/// The pane that the installer shows: checks whether a supported monitor or camera is connected,
/// warns with a link if none is, and lets the user continue either way. The installer loads the
/// Objective-C class of the same name, which forwards its calls to this one.
class MyInstallerPane : public Cocoa::InstallerPane {
  public:
    /// `pane` is the installer's object of this pane. It is not owned.
    explicit MyInstallerPane(void* pane) noexcept;

    Cocoa::TextField lb_title;     ///< the pane's heading
    Cocoa::TextField lb_warnings;  ///< the warning and its link, empty when there is none
    /// The process-wide list, set at the first entry. The detection uses the global itself.
    std::atomic<WhiteList*> whiteList = nullptr;

    // The pane in the installer, on the main thread. Exceptions do not leave these functions: they
    // are logged.

    /// The title that the installer shows for the pane; its key if memory runs out.
    std::string title() const noexcept;
    /// Starts a detection run and returns at once. Continue is disabled until the run ends, or
    /// enabled again if none can be started. The direction of entry (InstallerSectionDirection) is
    /// ignored.
    void didEnterPane(int direction) noexcept;
    /// Shows the verdict on the findings so far: the warning, or none.
    void initializeUI() noexcept;
    /// Shows the warning with its link.
    void showHyperLink() noexcept;
    /// Opens the support article that lists the compatible models.
    void vornWebsiteBtnDidClicked() noexcept;

    // USB devices.

    /// Arms the notification of attached USB devices and examines those already attached.
    void listeningUSBDevice();
    /// Schedules the examination of the devices that `iterator` yields and the verdict after it;
    /// if it can't be scheduled, the verdict follows at once. `firstLaunch` is ignored.
    void deviceAdded(io_iterator_t iterator, bool firstLaunch) noexcept;

    // One display enumeration. Blocks: not on the main thread. The steps work on the displays of
    // their own run, so that a later run, which replaces displayInfoArray, doesn't interfere.

    /// Lists the screens, identifies their monitors and judges them.
    void getDisplayInfo();
    /// Number of external screens.
    std::int32_t getNSScreenCount() const;
    /// The display IDs of all screens, the built-in one's included.
    std::vector<CGDirectDisplayID> getDisplayIDsArr() const;
    /// A record for each screen with a first verdict, up to the first entry of the screen list that
    /// is not a screen.
    DisplayList ReturnAllDisplaysWithBuiltIn() const;
    /// Copies USB indices from the DDC controller's list of USB displays.
    void mappingUSBDisplays(const DisplayList& displays = displayInfoArray.get());
    /// Pairs each external display with the EDID of the same monitor and copies its identity. Reads
    /// the EDIDs again after a second if their number is not one less than that of the displays
    /// (one being the built-in panel).
    void parseMonitorEDIDWithScreenNumber(const std::vector<DisplayService>& matches,
                                          std::vector<std::string> EDIDs,
                                          const DisplayList& displays = displayInfoArray.get());
    /// Gives each display the AV service of its first match.
    void setupM1DDCCIServices(const std::vector<DisplayService>& matches,
                              const DisplayList& displays = displayInfoArray.get());
    /// The final verdict on each external display.
    void setDisplayConnectionState(const DisplayList& displays = displayInfoArray.get());
    /// Whether the two characters that end at the last digit of a bare model name are a model year
    /// of 25 or later.
    bool isYear25orAbove(const std::string& name) const;

  private:
    std::vector<std::string> readEDIDs(const std::vector<DisplayService>& matches) const;
    bool answersOverDDCCI(const displayInfo& display) const;
    void detect() noexcept;
    void emptyLabels() const;
    bool findsSupportedDevice() const;
    void showWarning() const;
    void examineDevices(io_iterator_t iterator) const noexcept;
    void finishRun() noexcept;
};

}  // namespace vorn
