#pragma once

#import <AppKit/AppKit.h>

namespace displaycheck {

/// A PNG of a window's contents below a title bar like a Mac's. On the screen the desktop draws the
/// bar.
NSData* pictureOf(NSWindow* window);

}  // namespace displaycheck
