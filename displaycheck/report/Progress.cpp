#include "displaycheck/report/Progress.h"

#include <fmt/format.h>

#include <cstdio>

#include "displaycheck/host/StandardError.h"
#include "displaycheck/report/TextReport.h"

namespace displaycheck {

using namespace std::chrono_literals;

Progress::Progress(bool terminal, std::size_t columns, const Palette& palette)
    : terminal_(terminal), columns_(columns), palette_(palette) {
    if (terminal_) ticker_ = std::thread([this] { keepLiveLine(); });
}

Progress::~Progress() {
    if (!terminal_) return;
    {
        const std::lock_guard lock(mutex_);
        over_ = true;
        eraseLiveLine();
    }
    ended_.notify_one();
    ticker_.join();
}

void Progress::show(const simulated_mac::TimelineEntry& entry) {
    const std::lock_guard lock(mutex_);
    if (terminal_) eraseLiveLine();
    printError("{}", timelineText(entry, columns_, palette_));
    if (terminal_) drawLiveLine();
}

void Progress::keepLiveLine() {
    std::unique_lock lock(mutex_);
    while (!ended_.wait_for(lock, 100ms, [this] { return over_; })) {
        eraseLiveLine();
        drawLiveLine();
    }
}

void Progress::drawLiveLine() const {
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start_;
    printError("{:>10.1f} s  ...", elapsed.count());
}

void Progress::eraseLiveLine() const {
    printError("\r\x1B[K");
}

}  // namespace displaycheck
