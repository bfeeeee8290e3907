#include "plugin/Cocoa/ThreadSleep.h"

#import <Foundation/Foundation.h>

#include "plugin/Cocoa/InCocoa.h"

namespace Cocoa {

void sleepThread(std::chrono::microseconds duration) {
    inCocoa("sleepThread", [&] {
        [NSThread sleepForTimeInterval:std::chrono::duration<double>(duration).count()];
    });
}

}  // namespace Cocoa
