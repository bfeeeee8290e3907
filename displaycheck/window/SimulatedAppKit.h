#pragma once

#import <Foundation/Foundation.h>

namespace displaycheck {

/// Has AppKit show the plug-in the Mac that is switched on: the screen list and a thread's sleep on
/// the Mac's threads are the Mac's, overridden texts of the string table come from its description,
/// and an address that is opened is noted and handed to the desktop. GNUstep's own calls, all from
/// the main thread, stay as they are.
void simulateAppKit(NSBundle* plugin);

/// Has NSLog write to the system log of the Mac that is switched on.
void takeLog();

}  // namespace displaycheck
