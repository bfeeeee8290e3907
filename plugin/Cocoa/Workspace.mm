#include "Cocoa/Workspace.h"

#import <Cocoa/Cocoa.h>

#include "Cocoa/NSStringText.h"

namespace Cocoa {

void openAddress(const std::string& address) {
    @autoreleasepool {
        [[NSWorkspace sharedWorkspace] openURL:[NSURL URLWithString:makeNSString(address)]];
    }
}

}  // namespace Cocoa
