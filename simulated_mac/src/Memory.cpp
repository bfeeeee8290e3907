#include <cstdlib>
#include <new>

#include "Running.h"

// The language's memory, in every program with a simulated Mac: the plug-in's can be made to fail.

void* operator new(std::size_t size) {
    if (simulated_mac::memoryIsRefused()) throw std::bad_alloc();
    void* const memory = std::malloc(size > 0 ? size : 1);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
