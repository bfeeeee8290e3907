#pragma once

#include <string>

namespace displaycheck {

/// Takes up what this process writes to its standard output, byte for byte, for as long as it
/// lives. Throws std::system_error when the system has no room for it.
class CapturedOutput {
  public:
    CapturedOutput();
    ~CapturedOutput();
    CapturedOutput(const CapturedOutput&) = delete;
    CapturedOutput& operator=(const CapturedOutput&) = delete;

    /// All that was written so far.
    std::string text() const;

  private:
    int file_ = -1;
    int original_ = -1;
};

}  // namespace displaycheck
