#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

#include "simulated_mac/description/MacDescription.h"
#include "simulated_mac/description/Time.h"

namespace simulated_mac {

/// One request that reached a monitor, and its reply.
struct Exchange {
    Time time{0};
    Bytes request;  ///< from the source address on
    Bytes reply;    ///< empty if the monitor sent nothing
};

/// A monitor on an I2C bus: a DDC/CI device (VESA DDC/CI 1.1) that answers gets from its table of
/// VCP codes, with the faults that its description gives it.
class Monitor {
  public:
    static constexpr std::uint8_t address = 0x37;  ///< 7-bit I2C address
    static constexpr std::size_t replySize = 11;

    explicit Monitor(MonitorDescription description) : description_(std::move(description)) {}

    /// Takes the bytes of a request off the bus, from the source address on. One that is not a
    /// valid DDC/CI message for this monitor is ignored.
    void receive(std::span<const std::uint8_t> message, Time time);

    /// The reply to the last request, if the host waited for `delay` nanoseconds; nothing if there
    /// is none.
    std::optional<Bytes> reply(std::uint64_t delay);
    /// The same for a host that chose its own wait and reads now.
    std::optional<Bytes> replyAt(Time now);

    std::vector<Exchange> exchanges() const;

  private:
    Bytes goodReply(std::uint8_t code) const;
    std::optional<Bytes> applyFault(Bytes reply);

    const MonitorDescription description_;
    mutable std::mutex mutex_;
    std::optional<std::uint8_t> requestedCode_;
    std::size_t replies_ = 0;
    bool settled_ = false;
    std::vector<Exchange> exchanges_;
};

}  // namespace simulated_mac
