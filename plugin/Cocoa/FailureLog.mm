#include "plugin/Cocoa/FailureLog.h"

#import <Foundation/Foundation.h>

namespace Cocoa {

void logFailure(const char* what, const char* why) noexcept {
    @autoreleasepool {
        @try {
            NSLog(@"%s failed: %s", what, why);
        } @catch (NSException*) {
            // Nothing is left to tell it to.
        }
    }
}

}  // namespace Cocoa
