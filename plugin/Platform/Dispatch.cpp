#include "plugin/Platform/Dispatch.h"

#include <CoreFoundation/CoreFoundation.h>

#include <memory>
#include <utility>

#include "plugin/Platform/Attempt.h"

namespace vorn {

namespace {

constexpr auto nameOfWork = "the work of a queue";

}  // namespace

SerialQueue::~SerialQueue() {
    if (queue_ != nullptr) dispatch_release(queue_);
}

void SerialQueue::async(std::function<void()> work) const {
    if (queue_ == nullptr) {
        attempt(nameOfWork, work);
        return;
    }
    auto owned = std::make_unique<std::function<void()>>(std::move(work));
    dispatch_async_f(queue_, owned.release(), [](void* context) {
        const std::unique_ptr<std::function<void()>> submitted(
            static_cast<std::function<void()>*>(context));
        attempt(nameOfWork, *submitted);
    });
}

void runOnMainThread(const std::function<void()>& work) {
    // A synchronous dispatch from the main thread to itself would never return.
    if (CFRunLoopGetCurrent() == CFRunLoopGetMain()) {
        attempt(nameOfWork, work);
        return;
    }
    auto context = &work;
    dispatch_sync_f(dispatch_get_main_queue(), &context, [](void* pointer) {
        attempt(nameOfWork, **static_cast<const std::function<void()>**>(pointer));
    });
}

}  // namespace vorn
