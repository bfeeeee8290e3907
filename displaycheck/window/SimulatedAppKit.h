#pragma once

#import <Foundation/Foundation.h>

namespace displaycheck {

/// Makes AppKit show the plug-in the Mac that is switched on: the screen list and a thread's sleep
/// on the Mac's threads are the Mac's, overridden texts of the string table come from its
/// description, and an address that is opened is noted and handed to the desktop. GNUstep's own
/// calls, all from the main thread, are unchanged.
void simulateAppKit(NSBundle* plugin);

/// Makes NSLog write to the system log of the Mac that is switched on.
void takeLog();

}  // namespace displaycheck
