#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <memory>

namespace simulated_mac {

/// The run loop that the main thread runs, and the one of every other thread, which nobody runs.
CFRunLoopRef mainRunLoop();
CFRunLoopRef backgroundRunLoop();

/// A source of events: they are delivered once it was added to a run loop that runs.
struct RunLoopSource {
    bool delivers = false;
};

CFRunLoopSourceRef referenceOf(RunLoopSource& source);
void addToRunLoop(CFRunLoopRef loop, CFRunLoopSourceRef source);

}  // namespace simulated_mac
