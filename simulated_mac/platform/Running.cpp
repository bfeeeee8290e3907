#include "simulated_mac/platform/Running.h"

#include <cstdlib>
#include <new>

#include "simulated_mac/description/FallibleCalls.h"
#include "simulated_mac/machine/Mac.h"

namespace simulated_mac {

namespace {

thread_local Code running = Code::platform;

}  // namespace

Running::Running(Code code) : before_(running) {
    running = code;
}

Running::~Running() {
    running = before_;
}

bool memoryIsRefused() {
    if (running != Code::plugin) return false;
    const Running platform(Code::platform);
    Mac* const mac = Mac::current();
    return mac != nullptr && mac->trace.use(FallibleCallName("operator new").text).has_value();
}

}  // namespace simulated_mac

// The language's memory, in every program with a simulated Mac: the plug-in's can be made to fail.
// It stands in a file that every such program links anyway, so that a sanitizer's own is not taken.

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return simulated_mac::memoryIsRefused() ? nullptr : std::malloc(size > 0 ? size : 1);
}

void* operator new(std::size_t size) {
    void* const memory = operator new(size, std::nothrow);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
