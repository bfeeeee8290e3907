#pragma once

#import <AppKit/AppKit.h>

/// A push button in the look of the installer's: blue when Return presses it.
@interface InstallerButton : NSButton
@end
