#include <crt_externs.h>
#include <fmt/format.h>
#include <spawn.h>

#include <cerrno>
#include <string>
#include <vector>

#include "Mac.h"
#include "Trace.h"

// Starting processes: they run in the Mac's environment, and no descriptor of this process reaches
// them that the file actions don't name.

#undef posix_spawn
#undef posix_spawnattr_setflags

using namespace simulated_mac;

extern char** environ;

namespace {

/// Keeps all descriptors but those of the standard streams from the child.
void closeOthers(posix_spawn_file_actions_t* actions) {
#ifdef __APPLE__
    // The system knows the flag that asks for it.
    static_cast<void>(actions);
#else
    posix_spawn_file_actions_addclosefrom_np(actions, 3);
#endif
}

}  // namespace

char*** _NSGetEnviron() {
    return &environ;
}

int simulated_posix_spawnattr_setflags(posix_spawnattr_t* attributes, short flags) {
#ifndef __APPLE__
    // The system doesn't know the flag: simulated_posix_spawn does what it asks for.
    flags = static_cast<short>(flags & ~POSIX_SPAWN_CLOEXEC_DEFAULT);
#endif
    return posix_spawnattr_setflags(attributes, flags);
}

int simulated_posix_spawn(pid_t* pid, const char* path,
                          const posix_spawn_file_actions_t* fileActions,
                          const posix_spawnattr_t* attributes, char* const arguments[],
                          char* const environment[]) {
    FallibleCall call("posix_spawn", [&] {
        std::string text = path;
        for (char* const* word = arguments + 1; *word != nullptr; ++word) {
            text += fmt::format(", \"{}\"", *word);
        }
        return text;
    });
    if (call.fails()) return call.result(EAGAIN);

    // The closing is added to the caller's own actions: they can't be copied.
    posix_spawn_file_actions_t none;
    posix_spawn_file_actions_init(&none);
    auto* const actions =
        fileActions != nullptr ? const_cast<posix_spawn_file_actions_t*>(fileActions) : &none;
    closeOthers(actions);
    std::vector<std::string> variables;
    if (const Mac* const mac = Mac::current()) {
        variables = mac->environment(environment);
    } else {
        for (char* const* variable = environment; *variable != nullptr; ++variable) {
            variables.emplace_back(*variable);
        }
    }
    std::vector<char*> pointers;
    for (std::string& variable : variables) pointers.push_back(variable.data());
    pointers.push_back(nullptr);
    const int error = posix_spawn(pid, path, actions, attributes, arguments, pointers.data());
    posix_spawn_file_actions_destroy(&none);
    return call.result(error);
}
