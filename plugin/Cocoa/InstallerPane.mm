#include "plugin/Cocoa/InstallerPane.h"

#import "plugin/Cocoa/InstallerPlugins.h"

#include "plugin/Cocoa/InCocoa.h"

namespace Cocoa {

void InstallerPane::setNextEnabled(bool enabled) const {
    inCocoa("setNextEnabled",
            [&] { [static_cast<::InstallerPane*>(pane_) setNextEnabled:enabled ? YES : NO]; });
}

}  // namespace Cocoa
