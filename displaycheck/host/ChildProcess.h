#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace displaycheck {

/// The end of a child process: hands its output to the parent.
class ChildEnd {
  public:
    explicit ChildEnd(int pipe) : pipe_(pipe) {}

    /// Ends the process at once, without destroying anything: threads of a run that got stuck can't
    /// be joined. `status` is 0 to 100.
    [[noreturn]] void finish(std::string_view output, int status) const;
    /// Ends the process likewise, with the reason why it has no output.
    [[noreturn]] void fail(std::string_view reason) const;

  private:
    [[noreturn]] void end(std::string_view output, char last) const;

    int pipe_;
};

struct ChildResult {
    std::string output;
    int status = 0;
    /// Why the child did not finish ("crashed: Segmentation fault"); there is no output then.
    std::optional<std::string> failure;
};

/// Runs `body`, which ends with finish(), in a child process. Kills it after `limit` of real time.
/// An exception from `body` is its failure.
ChildResult runInChild(const std::function<void(const ChildEnd&)>& body,
                       std::chrono::milliseconds limit);

}  // namespace displaycheck
