#include "Running.h"

#include "Mac.h"

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
