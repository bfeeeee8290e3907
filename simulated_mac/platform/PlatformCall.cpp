#include "simulated_mac/platform/PlatformCall.h"

namespace simulated_mac {

namespace {

/// Whether the call asks the system beyond this process. No lock of the plug-in is held during one.
bool leavesTheProcess(std::string_view call) {
    return !call.starts_with("CF") && !call.starts_with("dispatch_") && call != "NSThread.sleep";
}

}  // namespace

PlatformCall::PlatformCall(std::string_view name) : PlatformCall(Mac::current(), name) {}

PlatformCall::PlatformCall(Mac* mac, std::string_view name)
    : hidden_(mac != nullptr && mac->scheduler.hidesTurns()) {
    if (mac == nullptr) return;
    const auto takes = mac->options.systemCallTakes;
    if (takes && leavesTheProcess(name)) mac->scheduler.sleep(*takes);
    fault_ = mac->trace.use(name);
    if (!fault_ && !mac->trace.keeps(name)) return;
    traced_.emplace();
    traced_->time = mac->scheduler.now();
    traced_->thread = mac->scheduler.threadName();
    traced_->call = name;
    traced_->failed = fault_.has_value();
}

PlatformCall::~PlatformCall() {
    if (!traced_) return;
    if (Mac* const mac = Mac::current()) mac->trace.add(*std::move(traced_));
}

IOReturn PlatformCall::ioResult(IOReturn result) {
    if (traced_) traced_->result = Hex{static_cast<std::uint32_t>(result)};
    return result;
}

IOReturn FallibleCall::error() {
    return ioResult(fault() ? fault()->result.value_or(kIOReturnError) : kIOReturnError);
}

}  // namespace simulated_mac
