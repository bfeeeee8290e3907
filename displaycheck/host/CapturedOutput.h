#pragma once

#include <string>

namespace displaycheck {

/// Captures this process's standard output, byte for byte, during its lifetime. Throws
/// std::system_error if the system has no room for it.
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
