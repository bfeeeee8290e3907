#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <memory>

namespace simulated_mac {

/// The run loop of the main thread, which runs, and those of all other threads, which never run.
CFRunLoopRef mainRunLoop();
CFRunLoopRef backgroundRunLoop();

/// A source of events: delivered once it is added to a running run loop.
struct RunLoopSource {
    bool delivers = false;
};

CFRunLoopSourceRef referenceOf(RunLoopSource& source);
void addToRunLoop(CFRunLoopRef loop, CFRunLoopSourceRef source);

}  // namespace simulated_mac
