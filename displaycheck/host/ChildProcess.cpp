#include "displaycheck/host/ChildProcess.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>
#ifdef __linux__
#include <sys/prctl.h>
#endif

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <system_error>

namespace displaycheck {

namespace {

using Clock = std::chrono::steady_clock;

// The last byte of a child's output is its status, or this if it failed.
constexpr char failed = 127;

[[noreturn]] void runBody(const std::function<void(const ChildEnd&)>& body, int pipe) {
#ifdef __linux__
    prctl(PR_SET_PDEATHSIG, SIGKILL);
#endif
    const ChildEnd end(pipe);
    try {
        body(end);
    } catch (const std::exception& error) {
        end.fail(error.what());
    }
    end.fail("ended without a report");
}

/// Reads until the other end is closed. False if `deadline` passes first.
bool readUntil(int pipe, Clock::time_point deadline, std::string& all) {
    std::array<char, 65536> piece;
    for (;;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) return false;
        pollfd waiting{pipe, POLLIN, 0};
        // In slices: the timeout of poll is an int of milliseconds.
        if (poll(&waiting, 1, static_cast<int>(std::min<long long>(left.count(), 60'000))) <= 0) {
            continue;
        }
        const ssize_t count = read(pipe, piece.data(), piece.size());
        if (count == 0) return true;
        if (count > 0) all.append(piece.data(), static_cast<std::size_t>(count));
    }
}

int waitFor(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) == -1 && errno == EINTR) {
    }
    return status;
}

ChildResult failure(std::string reason) {
    ChildResult result;
    result.failure = std::move(reason);
    return result;
}

ChildResult resultOf(std::string handedOver, int waitStatus) {
    if (WIFSIGNALED(waitStatus)) {
        return failure(fmt::format("crashed: {}", strsignal(WTERMSIG(waitStatus))));
    }
    if (WEXITSTATUS(waitStatus) != 0 || handedOver.empty()) {
        return failure(fmt::format("ended early, with exit status {}", WEXITSTATUS(waitStatus)));
    }
    const char last = handedOver.back();
    handedOver.pop_back();
    if (last == failed) return failure(std::move(handedOver));
    return {std::move(handedOver), last, std::nullopt};
}

}  // namespace

void ChildEnd::finish(std::string_view output, int status) const {
    end(output, static_cast<char>(status));
}

void ChildEnd::fail(std::string_view reason) const {
    end(reason, failed);
}

void ChildEnd::end(std::string_view output, char last) const {
    std::string all(output);
    all += last;
    for (std::size_t at = 0; at < all.size();) {
        const ssize_t count = write(pipe_, all.data() + at, all.size() - at);
        if (count > 0) at += static_cast<std::size_t>(count);
        if (count == -1 && errno != EINTR) _exit(EXIT_FAILURE);
    }
    _exit(EXIT_SUCCESS);
}

ChildResult runInChild(const std::function<void(const ChildEnd&)>& body,
                       std::chrono::milliseconds limit) {
    std::array<int, 2> ends{};
    // The child would write buffered output a second time.
    std::fflush(nullptr);
    if (pipe(ends.data()) != 0) {
        throw std::system_error(errno, std::generic_category(), "can't make a pipe");
    }
    for (const int end : ends) fcntl(end, F_SETFD, FD_CLOEXEC);
    const pid_t child = fork();
    if (child == 0) {
        close(ends[0]);
        runBody(body, ends[1]);
    }
    const int error = errno;
    close(ends[1]);
    if (child == -1) {
        close(ends[0]);
        throw std::system_error(error, std::generic_category(), "can't start a process");
    }

    std::string handedOver;
    const bool ended = readUntil(ends[0], Clock::now() + limit, handedOver);
    close(ends[0]);
    if (!ended) kill(child, SIGKILL);
    const int status = waitFor(child);
    if (!ended) {
        return failure(fmt::format("timed out: killed after {} s",
                                   std::chrono::duration<double>(limit).count()));
    }
    return resultOf(std::move(handedOver), status);
}

}  // namespace displaycheck
