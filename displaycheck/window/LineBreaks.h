#pragma once

#import <AppKit/AppKit.h>

namespace displaycheck {

/// A text in lines of a width, broken where Unicode's rules allow it, as a Mac does; GNUstep would
/// break texts without blanks anywhere, even before a full stop.
NSAttributedString* inLines(NSAttributedString* text, CGFloat width);

}  // namespace displaycheck
