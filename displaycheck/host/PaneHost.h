#pragma once

#include "plugin/MyInstallerPane.h"
#include "simulated_mac/machine/Mac.h"

namespace displaycheck {

/// The installer's part: shows the pane on a Mac and lets its user act on it. On the Mac's main
/// thread.
class PaneHost {
  public:
    /// `mac` outlives the host.
    explicit PaneHost(simulated_mac::Mac& mac);
    PaneHost(const PaneHost&) = delete;
    PaneHost& operator=(const PaneHost&) = delete;

    /// Enters the pane at time 0 and runs everything to its end.
    simulated_mac::Scheduler::Outcome run();

    vorn::MyInstallerPane& pane() { return pane_; }

  private:
    void enterPane();
    bool clickWarning();  ///< whether it takes clicks

    simulated_mac::Mac& mac_;
    vorn::MyInstallerPane pane_;
};

}  // namespace displaycheck
