#include "Cocoa/ThreadSleep.h"

#import <Foundation/Foundation.h>

namespace Cocoa {

void sleepThread(std::chrono::microseconds duration) {
    @autoreleasepool {
        [NSThread sleepForTimeInterval:std::chrono::duration<double>(duration).count()];
    }
}

}  // namespace Cocoa
