#include "plugin/Cocoa/SystemLog.h"

#include "plugin/Cocoa/InCocoa.h"
#include "plugin/Cocoa/NSStringText.h"

namespace Cocoa {

void log(const std::string& message) {
    inCocoa("log", [&] { NSLog(@"%@", makeNSString(message)); });
}

void log(CFDictionaryRef dictionary) {
    inCocoa("log", [&] {
        // On a Mac a dictionary is an object of either framework.
        NSLog(@"%@", static_cast<id>(const_cast<void*>(static_cast<CFTypeRef>(dictionary))));
    });
}

}  // namespace Cocoa
