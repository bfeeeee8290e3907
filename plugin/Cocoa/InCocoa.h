#pragma once

#import <Foundation/Foundation.h>

#include "plugin/Cocoa/FailureLog.h"

namespace Cocoa {

/// Does `what` in a pool of its own. An exception that Cocoa raises is logged and ends the work,
/// but goes no further: nothing beyond this folder knows of Objective-C's.
template <class Work>
void inCocoa(const char* what, const Work& work) {
    @autoreleasepool {
        @try {
            work();
        } @catch (NSException* exception) {
            NSString* why =
                [NSString stringWithFormat:@"%@: %@", [exception name], [exception reason]];
            logFailure(what, [why UTF8String]);
        }
    }
}

}  // namespace Cocoa
