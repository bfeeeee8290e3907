// Runs a command on a simulated Mac, whose system tools come first on the command's PATH:
//
//     on_mac FILE COMMAND [ARGUMENT]...
//
// FILE describes the Mac. The exit status is the command's; 2 for wrong usage or an invalid file,
// and 127 for a command that can't be run.

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "simulated_mac/file/MacFile.h"
#include "simulated_mac/machine/Mac.h"

#ifdef __APPLE__
extern char** environ;
#endif

namespace {

int run(const simulated_mac::Mac& mac, char* command[]) {
    std::vector<std::string> variables = mac.environment(environ);
    std::vector<char*> environment;
    environment.reserve(variables.size() + 1);
    for (std::string& variable : variables) environment.push_back(variable.data());
    environment.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        environ = environment.data();
        execvp(command[0], command);
        std::perror(command[0]);
        _exit(127);
    }
    // The command is interrupted, not the Mac.
    std::signal(SIGINT, SIG_IGN);
    int status = 0;
    if (child == -1 || waitpid(child, &status, 0) == -1) return 127;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

int main(int count, char* arguments[]) {
    if (count < 3) {
        std::fputs("usage: on_mac FILE COMMAND [ARGUMENT]...\n", stderr);
        return 2;
    }
    try {
        const simulated_mac::Mac mac(simulated_mac::readMacFile(arguments[1]));
        return run(mac, arguments + 2);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "on_mac: %s\n", error.what());
        return 2;
    }
}
