#include "simulated_mac/machine/RunLoop.h"

namespace simulated_mac {

namespace {

// Only their addresses count.
char mainLoop;
char backgroundLoop;

}  // namespace

CFRunLoopRef mainRunLoop() {
    return reinterpret_cast<CFRunLoopRef>(&mainLoop);
}

CFRunLoopRef backgroundRunLoop() {
    return reinterpret_cast<CFRunLoopRef>(&backgroundLoop);
}

CFRunLoopSourceRef referenceOf(RunLoopSource& source) {
    return reinterpret_cast<CFRunLoopSourceRef>(&source);
}

void addToRunLoop(CFRunLoopRef loop, CFRunLoopSourceRef source) {
    if (loop == mainRunLoop()) reinterpret_cast<RunLoopSource*>(source)->delivers = true;
}

}  // namespace simulated_mac
