#include "Cocoa/Workspace.h"

#import <Cocoa/Cocoa.h>

#include "Cocoa/InCocoa.h"
#include "Cocoa/NSStringText.h"

namespace Cocoa {

void openAddress(const std::string& address) {
    inCocoa("openAddress", [&] {
        [[NSWorkspace sharedWorkspace] openURL:[NSURL URLWithString:makeNSString(address)]];
    });
}

}  // namespace Cocoa
