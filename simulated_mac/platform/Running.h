#pragma once

#include <string_view>

#include "simulated_mac/platform/Crash.h"

namespace simulated_mac {

/// Whose code a thread runs: the plug-in's from where it is entered, the platform's (and the
/// host's) from where that calls the platform. Memory can be made to fail for the plug-in's alone.
enum class Code { platform, plugin };

/// While an object exists, its thread runs this code.
class Running {
  public:
    explicit Running(Code code);
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;
    ~Running();

  private:
    const Code before_;
};

/// Whether the Mac file refuses the calling thread's memory request. Each request of the plug-in is
/// one use of the call "operator new".
bool memoryIsRefused();

/// Runs the plug-in's code for `call`, which let it in. An exception that escapes ends the process.
template <class Work>
void runPlugin(std::string_view call, const Work& work) {
    const Running plugin(Code::plugin);
    try {
        work();
    } catch (...) {
        crash(call, "an exception left the plug-in");
    }
}

}  // namespace simulated_mac
