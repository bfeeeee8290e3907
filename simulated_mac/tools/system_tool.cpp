// A system tool of the simulated Mac. The name under which it is started decides which one it is;
// its output and exit status come from the running Mac.

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "simulated_mac/tools/LocalSocket.h"

namespace {

constexpr int failure = 70;

int fail(const char* tool, const char* what) {
    std::fprintf(stderr, "%s: %s\n", tool, what);
    return failure;
}

bool writeAll(int descriptor, const char* bytes, std::size_t size) {
    while (size > 0) {
        const ssize_t count = write(descriptor, bytes, size);
        if (count <= 0) return false;
        bytes += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

}  // namespace

int main(int argumentCount, char* arguments[]) {
    const char* const slash = std::strrchr(arguments[0], '/');
    const char* const tool = slash != nullptr ? slash + 1 : arguments[0];
    const char* const address = std::getenv("SIMULATED_MAC_SOCKET");
    const auto place = simulated_mac::localSocket(address != nullptr ? address : "");
    if (address == nullptr || !place) return fail(tool, "no simulated Mac runs here");

    const int mac = socket(AF_UNIX, SOCK_STREAM, 0);
    if (connect(mac, place->pointer(), place->size) != 0) {
        return fail(tool, "the simulated Mac doesn't answer");
    }

    std::string question = tool;
    question += '\0';
    for (int at = 1; at < argumentCount; ++at) {
        question += arguments[at];
        question += '\0';
    }
    if (!writeAll(mac, question.data(), question.size())) {
        return fail(tool, "the simulated Mac doesn't listen");
    }
    shutdown(mac, SHUT_WR);

    // The last byte of the answer is the exit status, so one is kept back.
    std::array<char, 65536> piece;
    std::size_t kept = 0;
    for (ssize_t count; (count = read(mac, piece.data() + kept, piece.size() - kept)) > 0;) {
        const std::size_t last = kept + static_cast<std::size_t>(count) - 1;
        writeAll(STDOUT_FILENO, piece.data(), last);
        piece[0] = piece[last];
        kept = 1;
    }
    if (kept == 0) return fail(tool, "the simulated Mac gave no answer");
    return static_cast<unsigned char>(piece[0]);
}
