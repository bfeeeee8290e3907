#pragma once

#include <exception>

#include "plugin/Cocoa/FailureLog.h"

/// Does work that no exception may leave: one that did would end the process of the installer that
/// shows the pane. It is logged instead, under the name of the work. Whether there was none.
template <class Work>
bool attempt(const char* name, const Work& work) noexcept {
    try {
        work();
        return true;
    } catch (const std::exception& exception) {
        Cocoa::logFailure(name, exception.what());
    } catch (...) {
        Cocoa::logFailure(name, "an exception of another kind");
    }
    return false;
}
