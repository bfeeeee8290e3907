#include "Cocoa/SystemLog.h"

#include "Cocoa/NSStringText.h"

namespace Cocoa {

void log(const std::string& message) {
    @autoreleasepool {
        NSLog(@"%@", makeNSString(message));
    }
}

void log(CFDictionaryRef dictionary) {
    @autoreleasepool {
        // On a Mac a dictionary is an object of either framework.
        NSLog(@"%@", static_cast<id>(const_cast<void*>(static_cast<CFTypeRef>(dictionary))));
    }
}

}  // namespace Cocoa
