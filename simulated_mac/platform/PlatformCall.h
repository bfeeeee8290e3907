#pragma once

#include <IOKit/IOKitLib.h>

#include <optional>
#include <string>
#include <string_view>

#include "simulated_mac/description/FallibleCalls.h"
#include "simulated_mac/machine/Mac.h"
#include "simulated_mac/platform/Running.h"

namespace simulated_mac {

/// A platform call in progress: records it in the trace of the Mac that is switched on.
class PlatformCall {
  public:
    explicit PlatformCall(std::string_view name);
    /// `arguments` is called for its NamedValues only if the call is traced.
    template <class Arguments>
    PlatformCall(std::string_view name, const Arguments& arguments) : PlatformCall(name) {
        if (traced_) traced_->arguments = arguments();
    }
    PlatformCall(const PlatformCall&) = delete;
    PlatformCall& operator=(const PlatformCall&) = delete;
    ~PlatformCall();

    /// Records the result and returns it.
    IOReturn ioResult(IOReturn result);
    /// `further` is asked for what else it answers only where the call is traced.
    template <class Further>
    IOReturn ioResult(IOReturn result, const Further& further);
    template <class T>
    T result(T value);
    template <class T>
    T pointer(T value);
    /// Notes the text that an object to be handed out holds.
    void text(const std::string& result) {
        if (traced_) traced_->result = result;
    }

  protected:
    const std::optional<FaultDescription>& fault() const { return fault_; }

  private:
    PlatformCall(Mac* mac, std::string_view name);

    const Running platform_{Code::platform};
    const HiddenFromRaceDetection hidden_;
    std::optional<FaultDescription> fault_;
    std::optional<TracedCall> traced_;  ///< nothing for a call that is not traced
};

/// A call that the Mac file can make fail.
class FallibleCall : public PlatformCall {
  public:
    explicit FallibleCall(FallibleCallName name) : PlatformCall(name.text) {}
    template <class Arguments>
    FallibleCall(FallibleCallName name, const Arguments& arguments)
        : PlatformCall(name.text, arguments) {}

    bool fails() const { return fault().has_value(); }
    /// The I/O error of a failing call: that of the Mac file, or kIOReturnError.
    IOReturn error();
};

template <class Further>
IOReturn PlatformCall::ioResult(IOReturn result, const Further& further) {
    if (traced_) traced_->furtherResults = further();
    return ioResult(result);
}

template <class T>
T PlatformCall::result(T value) {
    if (traced_) traced_->result = CallValue(value);
    return value;
}

template <class T>
T PlatformCall::pointer(T value) {
    if (traced_) traced_->result = Pointer{value == nullptr};
    return value;
}

}  // namespace simulated_mac
