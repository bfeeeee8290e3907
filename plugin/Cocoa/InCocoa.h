#pragma once

#import <Foundation/Foundation.h>

#include "plugin/Cocoa/FailureLog.h"

namespace Cocoa {

/// Does `what` in an autorelease pool of its own. A Cocoa exception ends the work and is logged,
/// but goes no further: no code outside this folder handles Objective-C exceptions.
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
