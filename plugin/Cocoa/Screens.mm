#include "plugin/Cocoa/Screens.h"

#import <Cocoa/Cocoa.h>

#include "plugin/Cocoa/InCocoa.h"

namespace Cocoa {

std::vector<Screen> screens() {
    std::vector<Screen> list;
    inCocoa("screens", [&] {
        for (NSScreen* screen in [NSScreen screens]) {
            NSDictionary* description = [screen deviceDescription];
            Screen entry;
            entry.deviceIsScreen = [description objectForKey:@"NSDeviceIsScreen"] != nil;
            entry.screenNumber = [[description objectForKey:@"NSScreenNumber"] unsignedIntValue];
            const char* name = [[screen localizedName] UTF8String];
            entry.localizedName = name != nullptr ? name : "";
            list.push_back(entry);
        }
    });
    return list;
}

}  // namespace Cocoa
