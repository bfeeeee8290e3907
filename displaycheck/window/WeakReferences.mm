#import <AppKit/AppKit.h>
#import <objc/runtime.h>

#include <map>
#include <set>

#import "displaycheck/window/AppKitAdditions.h"
#include "simulated_mac/machine/Mac.h"

// Weak references to text fields: the runtime that GNUstep uses here has none. All on the main
// thread.

namespace {

using Deallocation = void (*)(id, SEL);

/// The weak references to each field.
std::map<id, std::set<id*>>& locations() {
    static auto& all = *new std::map<id, std::set<id*>>;
    return all;
}

Deallocation realDeallocation = nullptr;

void deallocate(id self, SEL selector) {
    const auto known = locations().find(self);
    if (known != locations().end()) {
        for (id* location : known->second) *location = nil;
        locations().erase(known);
        simulated_mac::Mac::current()->journal.note("mac", "a label of the pane is gone");
    }
    realDeallocation(self, selector);
}

/// Makes a deallocated field clear its references.
void watchFields() {
    if (realDeallocation != nullptr) return;
    Method method = class_getInstanceMethod([NSTextField class], @selector(dealloc));
    realDeallocation = reinterpret_cast<Deallocation>(
        method_setImplementation(method, reinterpret_cast<IMP>(deallocate)));
}

}  // namespace

id objc_storeWeak(id* location, id object) {
    watchFields();
    if (*location != nil) locations()[*location].erase(location);
    *location = object;
    if (object != nil) locations()[object].insert(location);
    return object;
}

id objc_loadWeak(id* location) {
    return [[*location retain] autorelease];
}
