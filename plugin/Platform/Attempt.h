#pragma once

#include <exception>

#include "plugin/Cocoa/FailureLog.h"

namespace vorn {

/// Does work that no exception may leave: it would end the installer's process that shows the pane.
/// An exception is logged under the name of the work instead. Returns whether there was none.
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

}  // namespace vorn
