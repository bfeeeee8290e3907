#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

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

/// What a child process does; it ends with finish(). An exception from it is its failure.
using ChildBody = std::function<void(const ChildEnd&)>;

/// Runs the body in a child process. Kills it after `limit` of real time.
ChildResult runInChild(const ChildBody& body, std::chrono::milliseconds limit);

/// Runs each body likewise, at most `most` (1 or more) at a time and started in their order. `take`
/// gets each one's index and result as soon as it has ended.
void runInChildren(const std::vector<ChildBody>& bodies, std::size_t most,
                   std::chrono::milliseconds limit,
                   const std::function<void(std::size_t, ChildResult)>& take);

}  // namespace displaycheck
