#pragma once

#import <Foundation/Foundation.h>

#include <string>

namespace Cocoa {

/// A UTF-8 text as a string that the caller need not release; empty if the text is not valid UTF-8.
inline NSString* makeNSString(const std::string& text) {
    NSString* string = [[[NSString alloc] initWithBytes:text.data()
                                                 length:text.size()
                                               encoding:NSUTF8StringEncoding] autorelease];
    return string != nil ? string : @"";
}

}  // namespace Cocoa
