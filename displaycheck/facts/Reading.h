#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "simulated_mac/machine/Mac.h"

/// How the pane asked a monitor over DDC/CI, derived from the platform calls of the run and from
/// the bytes that the monitor saw.
namespace displaycheck {

/// One try to read a VCP code (VESA DDC/CI 1.1, Get VCP Feature).
struct Try {
    simulated_mac::Time at{0};
    /// Over framebuffers: the pane holds the display's lock before it looks for its framebuffer.
    bool hadLock = false;
    /// The obstacles between the request and the monitor, in order; empty if there were none.
    std::vector<std::string> obstacles;
    simulated_mac::Bytes request;  ///< what reached a monitor, empty for nothing
    simulated_mac::Bytes reply;    ///< what that monitor sent back, empty for nothing
    std::string transaction;       ///< "request's result 0xe00002bc" of a transaction that failed
    /// The display of the monitor that was reached: with twins it may be another than the one
    /// asked.
    std::uint32_t reached = 0;
    bool good = false;  ///< the pane took the reply
    /// The faults of a reply that the pane did not take, by its bytes.
    std::vector<std::string> faults;
};

/// One read of a VCP code: tries up to the first good one.
struct Reading {
    std::vector<Try> tries;
    std::int32_t status = 0;             ///< as DDCCtl::Get answers
    std::optional<std::uint16_t> value;  ///< the current value in the good reply
};

/// The VCP code that a request which reached a monitor asks for; nothing if it is too short.
std::optional<std::uint8_t> requestedCode(const simulated_mac::Bytes& request);

/// The platform calls that a trace has to keep.
std::set<std::string, std::less<>> callsOfReadings();

/// The last read of a display in a run whose platform calls are `trace`; nothing if there was none.
std::optional<Reading> lastReading(const simulated_mac::Mac& mac, std::uint32_t displayID,
                                   const std::vector<simulated_mac::TracedCall>& trace);

}  // namespace displaycheck
