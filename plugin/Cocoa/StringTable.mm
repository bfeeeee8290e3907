#include "plugin/Cocoa/StringTable.h"

#include "plugin/Cocoa/InCocoa.h"
#include "plugin/Cocoa/NSStringText.h"
#import "plugin/Cocoa/PaneClass.h"

namespace Cocoa {

std::string localizedString(const std::string& key) {
    std::string localized = key;
    inCocoa("localizedString", [&] {
        // Of the plug-in's bundle: the main bundle is the installer's.
        NSBundle* bundle = [NSBundle bundleForClass:[MyInstallerPane class]];
        NSString* text = [bundle localizedStringForKey:makeNSString(key) value:nil table:nil];
        if (const char* const bytes = [text UTF8String]) localized = bytes;
    });
    return localized;
}

}  // namespace Cocoa
