#include <dispatch/dispatch.h>

#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>

#include "simulated_mac/machine/Mac.h"
#include "simulated_mac/machine/RaceDetection.h"
#include "simulated_mac/platform/Crash.h"
#include "simulated_mac/platform/PlatformCall.h"
#include "simulated_mac/platform/Running.h"

// Grand Central Dispatch, on the Mac's own threads.

using namespace simulated_mac;

namespace {

struct Queue;
/// The queue whose work the calling thread does.
thread_local const Queue* currentQueue = nullptr;

/// A serial queue. A thread takes its work up when there is some and ends when there is none.
struct Queue : std::enable_shared_from_this<Queue> {
    std::string label;
    std::mutex mutex;
    std::deque<HandedOverWork> work;
    bool hasThread = false;

    void submit(std::function<void()> piece) {
        HandedOverWork handedOver(std::move(piece));
        const std::lock_guard lock(mutex);
        work.push_back(std::move(handedOver));
        if (hasThread) return;
        hasThread = true;
        Mac::current()->scheduler.startThread(label,
                                              [self = shared_from_this()] { self->drain(); });
    }

    void drain() {
        currentQueue = this;
        while (const auto piece = nextPiece()) {
            orderAfter(this);
            (*piece)();
            orderBefore(this);
        }
    }

    std::optional<HandedOverWork> nextPiece() {
        const HiddenFromRaceDetection hidden(Mac::current()->scheduler.hidesTurns());
        const std::lock_guard lock(mutex);
        if (work.empty()) {
            hasThread = false;
            return std::nullopt;
        }
        std::optional<HandedOverWork> piece(std::move(work.front()));
        work.pop_front();
        return piece;
    }
};

/// Dispatch objects that the plug-in holds. They outlive the Mac on which they were made, as the
/// plug-in's own objects do.
struct Objects {
    std::mutex mutex;
    std::unordered_map<const void*, std::shared_ptr<Queue>> queues;
    std::unordered_map<const void*, std::shared_ptr<Scheduler::Semaphore>> semaphores;
};

Objects& objects() {
    static auto& all = *new Objects;
    return all;
}

// Only its address counts.
char mainQueue;

/// What `made` knows under this address; nothing for a stranger.
template <class Made>
std::shared_ptr<Made> find(const std::unordered_map<const void*, std::shared_ptr<Made>>& made,
                           const void* object) {
    const std::lock_guard lock(objects().mutex);
    const auto found = made.find(object);
    return found != made.end() ? found->second : nullptr;
}

std::shared_ptr<Queue> queueOf(dispatch_queue_t queue, const char* call) {
    requireNotNull(queue, call, "queue");
    auto found = find(objects().queues, queue);
    if (found == nullptr) crash(call, "queue is not one, or was released");
    return found;
}

Scheduler::Semaphore& semaphoreOf(dispatch_semaphore_t semaphore, const char* call) {
    requireNotNull(semaphore, call, "dsema");
    const auto found = find(objects().semaphores, semaphore);
    if (found == nullptr) crash(call, "dsema is not a semaphore, or was released");
    return *found;
}

std::string labelOf(dispatch_queue_t queue) {
    if (queue == dispatch_get_main_queue()) return "main queue";
    const auto found = find(objects().queues, queue);
    return found != nullptr ? found->label : "unknown queue";
}

}  // namespace

dispatch_queue_t dispatch_queue_create(const char* label, dispatch_queue_attr_t) {
    constexpr auto name = "dispatch_queue_create";
    FallibleCall call(name, [&] { return NamedValues{{"label", Quoted{label}}}; });
    if (call.fails()) return call.pointer<dispatch_queue_t>(nullptr);
    const auto queue = std::make_shared<Queue>();
    queue->label = label;
    if (Mac* const mac = Mac::current()) mac->ledger.handedOut(Reference::dispatchQueue, name);
    const std::lock_guard lock(objects().mutex);
    objects().queues[queue.get()] = queue;
    return call.pointer(reinterpret_cast<dispatch_queue_t>(queue.get()));
}

dispatch_queue_t dispatch_get_main_queue() {
    return reinterpret_cast<dispatch_queue_t>(&mainQueue);
}

void dispatch_async_f(dispatch_queue_t queue, void* context, dispatch_function_t work) {
    constexpr auto name = "dispatch_async_f";
    const PlatformCall call(name, [&] {
        return NamedValues{{"queue", labelOf(queue), unlabelled}};
    });
    const auto piece = [=] { runPlugin(name, [=] { work(context); }); };
    if (queue == dispatch_get_main_queue()) {
        Mac::current()->scheduler.onMain(piece);
    } else {
        queueOf(queue, name)->submit(piece);
    }
}

void dispatch_sync_f(dispatch_queue_t queue, void* context, dispatch_function_t work) {
    constexpr auto name = "dispatch_sync_f";
    const PlatformCall call(name, [&] {
        return NamedValues{{"queue", labelOf(queue), unlabelled}};
    });
    Scheduler& scheduler = Mac::current()->scheduler;
    Scheduler::Semaphore done(0);
    const auto piece = [&] {
        runPlugin(name, [=] { work(context); });
        scheduler.signal(done);
    };
    const bool isMain = queue == dispatch_get_main_queue();
    const auto other = isMain ? nullptr : queueOf(queue, name);
    if (isMain ? scheduler.onMainThread() : other.get() == currentQueue) {
        crash(name, "the calling thread does the work of this queue, which would wait for itself");
    }
    if (isMain) {
        scheduler.onMain(piece);
    } else {
        other->submit(piece);
    }
    scheduler.wait(done, name);
}

void dispatch_once_f(dispatch_once_t* predicate, void* context, dispatch_function_t function) {
    static std::mutex mutex;
    constexpr auto name = "dispatch_once_f";
    const PlatformCall call(name);
    const std::lock_guard lock(mutex);
    if (*predicate != 0) return;
    runPlugin(name, [=] { function(context); });
    *predicate = -1;
}

dispatch_semaphore_t dispatch_semaphore_create(intptr_t value) {
    constexpr auto name = "dispatch_semaphore_create";
    FallibleCall call(name, [&] { return NamedValues{{"value", value}}; });
    if (call.fails()) return call.pointer<dispatch_semaphore_t>(nullptr);
    const auto semaphore = std::make_shared<Scheduler::Semaphore>(value);
    if (Mac* const mac = Mac::current()) mac->ledger.handedOut(Reference::dispatchSemaphore, name);
    const std::lock_guard lock(objects().mutex);
    objects().semaphores[semaphore.get()] = semaphore;
    return call.pointer(reinterpret_cast<dispatch_semaphore_t>(semaphore.get()));
}

intptr_t dispatch_semaphore_wait(dispatch_semaphore_t semaphore, dispatch_time_t) {
    constexpr auto name = "dispatch_semaphore_wait";
    PlatformCall call(name);
    Mac::current()->scheduler.wait(semaphoreOf(semaphore, name), name);
    return call.result<intptr_t>(0);
}

intptr_t dispatch_semaphore_signal(dispatch_semaphore_t semaphore) {
    constexpr auto name = "dispatch_semaphore_signal";
    PlatformCall call(name);
    Mac::current()->scheduler.signal(semaphoreOf(semaphore, name));
    return call.result<intptr_t>(0);
}

void dispatch_release(dispatch_object_t object) {
    constexpr auto name = "dispatch_release";
    const PlatformCall call(name);
    requireNotNull(object, name, "object");
    Mac* const mac = Mac::current();
    const auto givenBack = [mac](Reference kind, const char* maker) {
        if (mac != nullptr) mac->ledger.givenBack(kind, maker);
    };
    std::shared_ptr<Queue> queue;  // dies outside the lock
    const std::lock_guard lock(objects().mutex);
    if (const auto found = objects().queues.find(object); found != objects().queues.end()) {
        queue = found->second;
        objects().queues.erase(found);
        givenBack(Reference::dispatchQueue, "dispatch_queue_create");
    } else if (const auto semaphore = objects().semaphores.find(object);
               semaphore != objects().semaphores.end()) {
        if (semaphore->second->isTaken()) crash(name, "object is a semaphore that is taken");
        objects().semaphores.erase(semaphore);
        givenBack(Reference::dispatchSemaphore, "dispatch_semaphore_create");
    } else {
        crash(name, "object is no queue and no semaphore, or was released before");
    }
}
