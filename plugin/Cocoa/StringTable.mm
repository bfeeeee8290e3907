#include "Cocoa/StringTable.h"

#include "Cocoa/NSStringText.h"
#import "Cocoa/PaneClass.h"

namespace Cocoa {

std::string localizedString(const std::string& key) {
    @autoreleasepool {
        // Of the plug-in's bundle: the main bundle is the installer's.
        NSBundle* bundle = [NSBundle bundleForClass:[MyInstallerPane class]];
        NSString* text = [bundle localizedStringForKey:makeNSString(key) value:nil table:nil];
        return std::string([text UTF8String]);
    }
}

}  // namespace Cocoa
