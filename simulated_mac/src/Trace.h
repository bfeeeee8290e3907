#pragma once

#include <IOKit/IOKitLib.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "FallibleCalls.h"
#include "MacDescription.h"
#include "RaceDetection.h"
#include "Running.h"
#include "Scheduler.h"

namespace simulated_mac {

class Mac;

/// One platform call, as a trace shows it.
struct TracedCall {
    Time time{0};
    std::string thread;
    std::string call;
    std::string arguments;  ///< "name value, name value"
    std::string result;     ///< empty where the call returns nothing
    bool failed = false;    ///< on purpose, by a fault of the Mac file
};

/// Keeps the platform calls and lets those fail that the Mac file names.
class Trace {
  public:
    explicit Trace(std::vector<FaultDescription> faults);

    /// Keeps every call, or those with these names only.
    void keepAll();
    void keepOnly(std::set<std::string, std::less<>> calls);

    /// Counts the uses of every call from now on, for uses().
    void countUses();

    /// Has something happen before a use of a call does its work, on the thread that makes it.
    void before(CallUse use, std::function<void()> action);

    /// Counts one use of a call and does what is planned for it; the fault that is due, if any.
    std::optional<FaultDescription> use(std::string_view call);
    bool keeps(std::string_view call) const;
    void add(TracedCall call);

    std::vector<TracedCall> calls() const;
    /// How often each call was used.
    std::map<std::string, std::uint64_t, std::less<>> uses() const;

  private:
    const std::vector<FaultDescription> faults_;
    std::atomic<bool> counts_;
    std::atomic<bool> keeps_ = false;
    mutable std::mutex mutex_;
    bool keepsAll_ = false;
    std::set<std::string, std::less<>> kept_;
    std::map<std::string, std::uint64_t, std::less<>> uses_;
    std::multimap<std::pair<std::string, std::uint64_t>, std::function<void()>> planned_;
    std::vector<TracedCall> calls_;
};

/// One call of the platform that is being made: notes it in the trace of the Mac that is switched
/// on.
class PlatformCall {
  public:
    explicit PlatformCall(std::string_view name);
    /// `arguments` is asked for its text only where the call is traced.
    template <class Arguments>
    PlatformCall(std::string_view name, const Arguments& arguments) : PlatformCall(name) {
        if (isTraced_) traced_.arguments = arguments();
    }
    PlatformCall(const PlatformCall&) = delete;
    PlatformCall& operator=(const PlatformCall&) = delete;
    ~PlatformCall();

    /// Notes the result and hands it back.
    IOReturn ioResult(IOReturn result);
    template <class T>
    T result(T value);
    template <class Pointer>
    Pointer pointer(Pointer value);
    void text(std::string result) { traced_.result = std::move(result); }
    bool traced() const { return isTraced_; }

  protected:
    const std::optional<FaultDescription>& fault() const { return fault_; }

  private:
    PlatformCall(Mac* mac, std::string_view name);

    const Running platform_{Code::platform};
    const HiddenFromRaceDetection hidden_;
    std::optional<FaultDescription> fault_;
    bool isTraced_ = false;
    TracedCall traced_;
};

/// A call that the Mac file can make fail.
class FallibleCall : public PlatformCall {
  public:
    explicit FallibleCall(FallibleCallName name) : PlatformCall(name.text) {}
    template <class Arguments>
    FallibleCall(FallibleCallName name, const Arguments& arguments)
        : PlatformCall(name.text, arguments) {}

    bool fails() const { return fault().has_value(); }
    /// The I/O error of a call that fails: what the Mac file says, or kIOReturnError.
    IOReturn error();
};

template <class T>
T PlatformCall::result(T value) {
    if (isTraced_) traced_.result = std::to_string(value);
    return value;
}

template <class Pointer>
Pointer PlatformCall::pointer(Pointer value) {
    if (isTraced_) traced_.result = value != nullptr ? "ok" : "NULL";
    return value;
}

}  // namespace simulated_mac
