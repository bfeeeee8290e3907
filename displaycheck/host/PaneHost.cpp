#include "displaycheck/host/PaneHost.h"
#include "simulated_mac/platform/Running.h"

namespace displaycheck {

namespace {

using simulated_mac::runPlugin;
using User = simulated_mac::EventDescription::User;

constexpr int forward = 0;  // InstallerDirectionForward

}  // namespace

PaneHost::PaneHost(simulated_mac::Mac& mac) : mac_(mac), pane_(&mac.window) {}

simulated_mac::Scheduler::Outcome PaneHost::run() {
    mac_.onUser([this](User action) {
        switch (action) {
            case User::entersPane:
                enterPane();
                return true;
            case User::clicksWarning:
                return clickWarning();
        }
        return false;
    });
    mac_.scheduler.onMainAt(simulated_mac::Time(0), [this] { enterPane(); });
    return mac_.scheduler.runUntilQuiet();
}

void PaneHost::enterPane() {
    mac_.journal.note("user", "enters the pane");
    runPlugin("didEnterPane:", [this] { pane_.didEnterPane(forward); });
}

bool PaneHost::clickWarning() {
    // However many recognizers the label has, one of them takes the click.
    const bool takesClicks = mac_.window.warnings.clickRecognizers > 0 && !mac_.window.viewReleased;
    mac_.journal.note("user", takesClicks
                                  ? "clicks the warning"
                                  : "clicks where the warning would be; nothing takes the click");
    if (takesClicks) {
        runPlugin("vornWebsiteBtnDidClicked", [this] { pane_.vornWebsiteBtnDidClicked(); });
    }
    return takesClicks;
}

}  // namespace displaycheck
