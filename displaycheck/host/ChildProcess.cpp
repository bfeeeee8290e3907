#include "displaycheck/host/ChildProcess.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>
#ifdef __linux__
#include <sys/prctl.h>
#endif

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <system_error>
#include <utility>

namespace displaycheck {

namespace {

using Clock = std::chrono::steady_clock;

// The last byte of a child's output is its status, or this if it failed.
constexpr char failed = 127;

[[noreturn]] void runBody(const ChildBody& body, int pipe) {
#ifdef __linux__
    prctl(PR_SET_PDEATHSIG, SIGKILL);
#endif
    const ChildEnd end(pipe);
    try {
        body(end);
    } catch (const std::exception& error) {
        end.fail(std::string("failed: ") + error.what());
    }
    end.fail("ended without a report");
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

/// A child process that runs.
class Child {
  public:
    Child(std::size_t index, const ChildBody& body, std::chrono::milliseconds limit)
        : index_(index), limit_(limit) {
        std::array<int, 2> ends{};
        // The child would write buffered output a second time.
        std::fflush(nullptr);
        if (pipe(ends.data()) != 0) {
            throw std::system_error(errno, std::generic_category(), "can't make a pipe");
        }
        for (const int end : ends) fcntl(end, F_SETFD, FD_CLOEXEC);
        process_ = fork();
        if (process_ == 0) {
            close(ends[0]);
            runBody(body, ends[1]);
        }
        const int error = errno;
        close(ends[1]);
        if (process_ == -1) {
            close(ends[0]);
            throw std::system_error(error, std::generic_category(), "can't start a process");
        }
        pipe_ = ends[0];
    }

    std::size_t index() const { return index_; }
    int source() const { return pipe_; }
    Clock::time_point deadline() const { return deadline_; }

    /// Takes what has come. False once the other end is closed.
    bool readOn() {
        std::array<char, 65536> piece;
        const ssize_t count = read(pipe_, piece.data(), piece.size());
        if (count > 0) handedOver_.append(piece.data(), static_cast<std::size_t>(count));
        return count != 0;
    }

    /// The result of one that has closed its end.
    ChildResult result() {
        const int status = release();
        return resultOf(std::move(handedOver_), status);
    }

    /// Kills it. The result says so.
    ChildResult timedOut() {
        kill(process_, SIGKILL);
        release();
        return failure(fmt::format("timed out: killed after {} s",
                                   std::chrono::duration<double>(limit_).count()));
    }

  private:
    int release() const {
        close(pipe_);
        return waitFor(process_);
    }

    std::size_t index_;
    std::chrono::milliseconds limit_;
    Clock::time_point deadline_ = Clock::now() + limit_;
    pid_t process_ = -1;
    int pipe_ = -1;
    std::string handedOver_;
};

/// Waits until one of the children hands something over, or until the first deadline.
std::vector<pollfd> waitForAny(const std::vector<Child>& children) {
    std::vector<pollfd> waiting;
    auto deadline = Clock::time_point::max();
    for (const Child& child : children) {
        waiting.push_back({child.source(), POLLIN, 0});
        deadline = std::min(deadline, child.deadline());
    }
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count() + 1;
    // In slices: the timeout of poll is an int of milliseconds.
    const auto slice = static_cast<int>(std::clamp<long long>(left, 0, 60'000));
    if (poll(waiting.data(), waiting.size(), slice) <= 0) {
        for (pollfd& one : waiting) one.revents = 0;
    }
    return waiting;
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

ChildResult runInChild(const ChildBody& body, std::chrono::milliseconds limit) {
    ChildResult result;
    runInChildren({body}, 1, limit,
                  [&result](std::size_t, ChildResult one) { result = std::move(one); });
    return result;
}

void runInChildren(const std::vector<ChildBody>& bodies, std::size_t most,
                   std::chrono::milliseconds limit,
                   const std::function<void(std::size_t, ChildResult)>& take) {
    std::vector<Child> running;
    for (std::size_t next = 0; next < bodies.size() || !running.empty();) {
        while (next < bodies.size() && running.size() < most) {
            running.emplace_back(next, bodies[next], limit);
            ++next;
        }
        const std::vector<pollfd> waited = waitForAny(running);
        // From the back: a child that has ended is taken out.
        for (std::size_t at = running.size(); at-- > 0;) {
            Child& child = running[at];
            if (waited[at].revents != 0 && !child.readOn()) {
                take(child.index(), child.result());
            } else if (Clock::now() >= child.deadline()) {
                take(child.index(), child.timedOut());
            } else {
                continue;
            }
            running.erase(running.begin() + static_cast<std::ptrdiff_t>(at));
        }
    }
}

}  // namespace displaycheck
