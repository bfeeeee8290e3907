#include "plugin/Cocoa/Workspace.h"

#import <Cocoa/Cocoa.h>

#include "plugin/Cocoa/InCocoa.h"
#include "plugin/Cocoa/NSStringText.h"

namespace Cocoa {

void openAddress(const std::string& address) {
    inCocoa("openAddress", [&] {
        [[NSWorkspace sharedWorkspace] openURL:[NSURL URLWithString:makeNSString(address)]];
    });
}

}  // namespace Cocoa
