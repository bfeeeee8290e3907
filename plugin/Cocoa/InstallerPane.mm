#include "Cocoa/InstallerPane.h"

#import "Cocoa/InstallerPlugins.h"

#include "Cocoa/InCocoa.h"

namespace Cocoa {

void InstallerPane::setNextEnabled(bool enabled) const {
    inCocoa("setNextEnabled",
            [&] { [static_cast<::InstallerPane*>(pane_) setNextEnabled:enabled ? YES : NO]; });
}

}  // namespace Cocoa
