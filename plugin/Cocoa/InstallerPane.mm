#include "Cocoa/InstallerPane.h"

#import "Cocoa/InstallerPlugins.h"

namespace Cocoa {

void InstallerPane::setNextEnabled(bool enabled) const {
    @autoreleasepool {
        [static_cast<::InstallerPane*>(pane_) setNextEnabled:enabled ? YES : NO];
    }
}

}  // namespace Cocoa
