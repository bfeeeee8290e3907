#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "displaycheck/report/TerminalText.h"
#include "simulated_mac/machine/Mac.h"

namespace displaycheck {

/// Shows the progress of a real-time run on standard error: its timeline as it happens and, on
/// a terminal, one live line with the time.
class Progress {
  public:
    /// `terminal`: whether standard error is one. Entries are wrapped to `columns`.
    Progress(bool terminal, std::size_t columns, const Palette& palette);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void show(const simulated_mac::TimelineEntry& entry);

  private:
    void keepLiveLine();
    void drawLiveLine() const;
    void eraseLiveLine() const;

    const bool terminal_;
    const std::size_t columns_;
    const Palette palette_;
    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    std::mutex mutex_;
    std::condition_variable ended_;
    bool over_ = false;
    std::thread ticker_;
};

}  // namespace displaycheck
