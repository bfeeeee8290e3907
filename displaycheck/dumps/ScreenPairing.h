#pragma once

#include <vector>

#include "displaycheck/dumps/RecordedDisplays.h"
#include "displaycheck/dumps/SystemProfile.h"

namespace displaycheck {

/// A screen of the Mac: a display of the registry, what system_profiler says of it, or both.
struct Screen {
    RecordedDisplay display;
    const ProfiledDisplay* profiled = nullptr;
};

/// Pairs the registry's displays with those of system_profiler's report. Of twins, the first are
/// paired with the first.
class ScreenPairing {
  public:
    /// `profile` may be nullptr; the pairing refers to it.
    ScreenPairing(std::vector<RecordedDisplay> displays, const SystemProfile* profile);

    const std::vector<Screen>& screens() const { return screens_; }
    /// Whether the screens are in the order in which the Mac lists them; else in the registry's.
    bool isOrderKnown() const { return isOrderKnown_; }

  private:
    void pairByIdentity(Screen& screen);
    void pairWhatIsLeft();
    void pair(Screen& screen, const ProfiledDisplay* profiled);
    void addOthers();

    std::vector<Screen> screens_;
    std::vector<const ProfiledDisplay*> free_;  ///< in the report's order
    bool isOrderKnown_ = false;
};

}  // namespace displaycheck
