#include "simulated_mac/machine/RaceDetection.h"

#if defined(__SANITIZE_THREAD__)
#define UNDER_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define UNDER_THREAD_SANITIZER 1
#endif
#endif

#ifdef UNDER_THREAD_SANITIZER
// ThreadSanitizer's own interface.
extern "C" {
void AnnotateIgnoreReadsBegin(const char* file, int line);
void AnnotateIgnoreReadsEnd(const char* file, int line);
void AnnotateIgnoreWritesBegin(const char* file, int line);
void AnnotateIgnoreWritesEnd(const char* file, int line);
void AnnotateIgnoreSyncBegin(const char* file, int line);
void AnnotateIgnoreSyncEnd(const char* file, int line);
void __tsan_acquire(void* address);
void __tsan_release(void* address);
}
#endif

namespace simulated_mac {

#ifdef UNDER_THREAD_SANITIZER

namespace {

// How many hide the calling thread.
thread_local int hiding = 0;

void hide() {
    AnnotateIgnoreReadsBegin(__FILE__, __LINE__);
    AnnotateIgnoreWritesBegin(__FILE__, __LINE__);
    AnnotateIgnoreSyncBegin(__FILE__, __LINE__);
}

void show() {
    AnnotateIgnoreSyncEnd(__FILE__, __LINE__);
    AnnotateIgnoreWritesEnd(__FILE__, __LINE__);
    AnnotateIgnoreReadsEnd(__FILE__, __LINE__);
}

void seen(void (*order)(void*), const void* place) {
    if (hiding > 0) show();
    order(const_cast<void*>(place));
    if (hiding > 0) hide();
}

}  // namespace

HiddenFromRaceDetection::HiddenFromRaceDetection(bool hides) : hides_(hides) {
    if (hides_ && hiding++ == 0) hide();
}

HiddenFromRaceDetection::~HiddenFromRaceDetection() {
    if (hides_ && --hiding == 0) show();
}

void orderBefore(const void* place) {
    seen(__tsan_release, place);
}

void orderAfter(const void* place) {
    seen(__tsan_acquire, place);
}

#else

HiddenFromRaceDetection::HiddenFromRaceDetection(bool hides) : hides_(hides) {}
HiddenFromRaceDetection::~HiddenFromRaceDetection() = default;
void orderBefore(const void*) {}
void orderAfter(const void*) {}

#endif

}  // namespace simulated_mac
