#include "plugin/Utilities/RunCommand.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <thread>

#include "plugin/Platform/Text.h"

using namespace vorn;

RunCommand* runCmd = nullptr;

namespace {

/// All of a command's environment: where the system's tools are. What the installer was started
/// with decides nothing.
constexpr auto environmentPath = "PATH=/usr/bin:/bin:/usr/sbin:/sbin";

/// Starts the shell with `output` as its standard output; -1 when that fails.
pid_t startShell(const std::string& commandLine, int output) {
    std::string command = commandLine;
    std::string shell = "/bin/sh";
    std::string option = "-c";
    const std::array<char*, 4> arguments{shell.data(), option.data(), command.data(), nullptr};
    std::string path = environmentPath;
    const std::array<char*, 2> environment{path.data(), nullptr};

    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_CLOEXEC_DEFAULT);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, STDERR_FILENO, STDERR_FILENO);

    pid_t child = -1;
    const int error = posix_spawn(&child, shell.c_str(), &actions, &attributes, arguments.data(),
                                  environment.data());
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    return error == 0 ? child : -1;
}

std::string readToEnd(int descriptor) {
    std::string all;
    std::array<char, 65536> piece;
    for (;;) {
        const ssize_t count = read(descriptor, piece.data(), piece.size());
        if (count > 0) {
            all.append(piece.data(), static_cast<std::size_t>(count));
        } else if (count == 0 || errno != EINTR) {
            return all;
        }
    }
}

/// Collects the child's exit status, so that it leaves no zombie, without waiting for it here: it
/// may go on after it closed its output.
void reap(pid_t child) {
    const auto collect = [child] {
        while (waitpid(child, nullptr, 0) == -1 && errno == EINTR) {
        }
    };
    try {
        std::thread(collect).detach();
    } catch (const std::system_error&) {
        collect();
    }
}

}  // namespace

std::optional<std::string> RunCommand::runCommand(const std::string& commandLine) const {
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) return std::string();
    const pid_t child = startShell(commandLine, ends[1]);
    close(ends[1]);
    const std::string output = child > 0 ? readToEnd(ends[0]) : std::string();
    close(ends[0]);
    if (child > 0) reap(child);
    if (!isUTF8(output)) return std::nullopt;
    return output;
}
