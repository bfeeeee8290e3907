#include <spawn.h>

#include <cerrno>
#include <string>
#include <vector>

#include "simulated_mac/machine/Mac.h"
#include "simulated_mac/platform/PlatformCall.h"

// Starting processes: they run in the Mac's environment, and with POSIX_SPAWN_CLOEXEC_DEFAULT none
// of this process's descriptors reaches them but those of the standard streams.

#undef posix_spawn
#undef posix_spawnattr_setflags

using namespace simulated_mac;

namespace {

#ifndef __APPLE__
// Stands for POSIX_SPAWN_CLOEXEC_DEFAULT, which the system doesn't know. It has no effect of its
// own.
constexpr short closesOthers = POSIX_SPAWN_USEVFORK;
#endif

/// Keeps all descriptors but those of the standard streams from the child, where that was asked
/// for.
void closeOthers(posix_spawn_file_actions_t* actions, const posix_spawnattr_t* attributes) {
#ifdef __APPLE__
    // The system does it.
    static_cast<void>(actions);
    static_cast<void>(attributes);
#else
    short flags = 0;
    if (attributes != nullptr) posix_spawnattr_getflags(attributes, &flags);
    if ((flags & closesOthers) != 0) posix_spawn_file_actions_addclosefrom_np(actions, 3);
#endif
}

/// The time that a command takes passes before it starts: once it runs, nothing here could wait for
/// the Mac's clock.
void letTimePass(Mac& mac, char* const arguments[]) {
    for (char* const* word = arguments; *word != nullptr; ++word) {
        const Time duration = mac.durationOf(*word);
        if (duration > Time(0)) mac.scheduler.sleep(duration);
    }
}

}  // namespace

int simulated_posix_spawnattr_setflags(posix_spawnattr_t* attributes, short flags) {
#ifndef __APPLE__
    if ((flags & POSIX_SPAWN_CLOEXEC_DEFAULT) != 0) {
        flags = static_cast<short>((flags & ~POSIX_SPAWN_CLOEXEC_DEFAULT) | closesOthers);
    }
#endif
    return posix_spawnattr_setflags(attributes, flags);
}

int simulated_posix_spawn(pid_t* pid, const char* path,
                          const posix_spawn_file_actions_t* fileActions,
                          const posix_spawnattr_t* attributes, char* const arguments[],
                          char* const environment[]) {
    FallibleCall call("posix_spawn", [&] {
        NamedValues words{{"path", path, unlabelled}};
        for (char* const* word = arguments + 1; *word != nullptr; ++word) {
            words.emplace_back("argument", Quoted{*word}, unlabelled);
        }
        return words;
    });
    if (call.fails()) return call.result(EAGAIN);

    // The closing is added to the caller's own actions: they can't be copied.
    posix_spawn_file_actions_t none;
    posix_spawn_file_actions_init(&none);
    auto* const actions =
        fileActions != nullptr ? const_cast<posix_spawn_file_actions_t*>(fileActions) : &none;
    closeOthers(actions, attributes);
    std::vector<std::string> variables;
    if (Mac* const mac = Mac::current()) {
        letTimePass(*mac, arguments);
        variables = mac->environment(environment);
    } else {
        for (char* const* variable = environment; *variable != nullptr; ++variable) {
            variables.emplace_back(*variable);
        }
    }
    std::vector<char*> pointers;
    pointers.reserve(variables.size() + 1);
    for (std::string& variable : variables) pointers.push_back(variable.data());
    pointers.push_back(nullptr);
    const int error = posix_spawn(pid, path, actions, attributes, arguments, pointers.data());
    posix_spawn_file_actions_destroy(&none);
    return call.result(error);
}
