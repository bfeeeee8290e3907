#include "displaycheck/facts/Reading.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "plugin/DDCCI/DDCCtl.h"
#include "plugin/DDCCI/VCPPackets.h"
#include "simulated_mac/machine/CallText.h"

using namespace vorn;

namespace displaycheck {

namespace {

using simulated_mac::Bytes;
using simulated_mac::Exchange;
using simulated_mac::Mac;
using simulated_mac::TracedCall;

using Calls = std::vector<TracedCall>;
using ReplyBuffer = std::array<std::uint8_t, VCP::replySize>;

constexpr simulated_mac::Hex success{0};
constexpr std::string_view requestsResult = "request's result";
constexpr std::size_t codeInRequest = 3;
constexpr std::uint8_t replyOpcode = 0x02;

bool isAbout(const TracedCall& call, const std::string& name, std::uint32_t displayID) {
    return call.call == name && call.argument("display") == displayID;
}

/// The calls that the thread of the last call `anchor` about a display made after it, up to its
/// next such call about any display. Nothing when there is no such call off the main thread.
std::optional<Calls> callsAfterLast(const std::string& anchor, std::uint32_t displayID,
                                    const Calls& trace) {
    const auto last = std::find_if(trace.rbegin(), trace.rend(), [&](const TracedCall& call) {
        return isAbout(call, anchor, displayID) && call.thread != "main";
    });
    if (last == trace.rend()) return std::nullopt;
    Calls calls;
    for (auto call = last.base(); call != trace.end(); ++call) {
        if (call->thread != last->thread) continue;
        if (call->call == anchor) break;
        calls.push_back(*call);
    }
    return calls;
}

/// A number among a call's arguments; 0 without one.
std::uint32_t numberOf(std::string_view name, const TracedCall& call) {
    const auto* const number = std::get_if<std::int64_t>(&call.argument(name).value);
    return number != nullptr ? static_cast<std::uint32_t>(*number) : 0;
}

std::string resultOf(const TracedCall& call) {
    return fmt::format("({}{})", resultText(call), call.failed ? ", made to fail" : "");
}

bool succeeded(const TracedCall& call) {
    return call.result == success;
}

/// Takes over what a monitor saw of a call that sent: the clock stands still between the two.
void takeExchange(Try& attempt, const Mac& mac, const TracedCall& call) {
    const std::uint32_t displayID = numberOf("display", call);
    const auto* const display = mac.display(displayID);
    if (display == nullptr) return;
    const auto exchanges = display->monitor.exchanges();
    const auto seen =
        std::find_if(exchanges.begin(), exchanges.end(),
                     [&call](const Exchange& exchange) { return exchange.time == call.time; });
    if (seen == exchanges.end()) return;
    attempt.reached = displayID;
    attempt.request = seen->request;
    attempt.reply = seen->reply;
}

std::vector<std::string> faultsOf(const ReplyBuffer& reply, std::uint8_t code) {
    std::vector<std::string> faults;
    const auto expect = [&](const char* what, std::size_t at, std::uint8_t expected) {
        if (reply[at] == expected) return;
        faults.push_back(fmt::format("{} {:02X}, not {:02X}", what, reply[at], expected));
    };
    expect("source", 0, VCP::writeAddress);
    expect("opcode", 2, replyOpcode);
    expect("VCP code", 4, code);
    expect("checksum", 10, VCP::replyChecksum(reply.data()));
    return faults;
}

/// Judges a try by the bytes in the pane's reply buffer.
void judge(Try& attempt, const ReplyBuffer& buffer, bool transactionSucceeded) {
    const auto code = requestedCode(attempt.request);
    if (!code) return;
    attempt.good = transactionSucceeded && VCP::isGoodReply(buffer.data(), *code);
    if (!attempt.good && !attempt.reply.empty()) attempt.faults = faultsOf(buffer, *code);
}

void fill(ReplyBuffer& buffer, const Bytes& reply) {
    std::copy_n(reply.begin(), std::min(reply.size(), buffer.size()), buffer.begin());
}

void readValue(Reading& reading, const ReplyBuffer& buffer) {
    if (reading.tries.empty() || !reading.tries.back().good) return;
    reading.value = VCP::currentValue(buffer.data());
    // The value that stands for "nothing read" reads as nothing.
    if (*reading.value != DDCCtl::nothingRead) reading.status = DDCCtl::success;
}

/// What one call means for a try over a framebuffer. `bus` is the one that was looked up last.
void followFramebufferCall(Try& attempt, std::uint32_t& bus, const TracedCall& call) {
    if (call.call == "IOServiceMatching") {
        attempt.hadLock = true;
    } else if (call.call == "IOFBCopyI2CInterfaceForBus") {
        bus = numberOf("bus", call);
        if (!succeeded(call)) {
            attempt.obstacles.push_back(
                fmt::format("bus {} has no interface {}", bus, resultOf(call)));
        }
    } else if (call.call == "IOI2CInterfaceOpen" && !succeeded(call)) {
        attempt.obstacles.push_back(fmt::format("bus {} does not open {}", bus, resultOf(call)));
    } else if (call.call == "IOI2CSendRequest" && !succeeded(call)) {
        const bool sent = !call.furtherResults.empty();
        attempt.obstacles.push_back(
            sent ? fmt::format("bus {} was not given back ({})", bus, textOf(call.result))
                 : fmt::format("bus {} does not take the request {}", bus, resultOf(call)));
    }
}

/// What the platform puts into the reply buffer: what was sent, the monitor's reply in its front.
ReplyBuffer bufferAfter(const Try& attempt) {
    ReplyBuffer buffer{};
    fill(buffer, attempt.request);
    fill(buffer, attempt.reply);
    return buffer;
}

/// Over a framebuffer's I2C buses, as Intel Macs do. Every try looks up the kinds of transactions
/// first and begins with that.
Reading readOverFramebuffer(const Mac& mac, const Calls& calls) {
    Reading reading{{}, DDCCtl::noValue, std::nullopt};
    ReplyBuffer buffer{};
    std::uint32_t bus = 0;
    for (const TracedCall& call : calls) {
        if (call.call == "IOServiceNameMatching") {
            reading.tries.push_back({});
            reading.tries.back().at = call.time;
        }
        if (reading.tries.empty()) continue;
        Try& attempt = reading.tries.back();
        followFramebufferCall(attempt, bus, call);
        if (call.call != "IOI2CSendRequest") continue;
        takeExchange(attempt, mac, call);
        if (!succeeded(call)) continue;
        const bool transacted = call.furtherResult(requestsResult) == success;
        if (!transacted) attempt.transaction = textOf(call.furtherResults);
        if (transacted && attempt.request.empty()) {
            attempt.obstacles.push_back(
                fmt::format("bus {} took the request and did nothing", bus));
        }
        buffer = bufferAfter(attempt);
        judge(attempt, buffer, transacted);
    }
    for (Try& attempt : reading.tries) {
        if (attempt.request.empty() && attempt.obstacles.empty() && attempt.transaction.empty()) {
            attempt.obstacles.emplace_back(
                attempt.hadLock ? "no framebuffer with I2C buses has this display"
                                : "the pane has no lock for this display: it makes 50 at most");
        }
    }
    readValue(reading, buffer);
    return reading;
}

/// Over an AV service, as Apple-silicon Macs do: writes, then one read a try. Between tries there
/// may be writes of another request, by which a monitor settles.
Reading readOverAVService(const Mac& mac, const Calls& calls) {
    Reading reading{{}, DDCCtl::noValue, std::nullopt};
    ReplyBuffer buffer{};
    std::optional<Try> attempt;
    simulated_mac::NamedValues request;
    for (const TracedCall& call : calls) {
        const bool writes = call.call == "IOAVServiceWriteI2C";
        if (!writes && call.call != "IOAVServiceReadI2C") continue;
        if (request.empty()) request = call.arguments;
        if (writes && call.arguments != request) continue;
        if (!attempt) {
            attempt.emplace();
            attempt->at = call.time;
        }
        if (!succeeded(call)) {
            attempt->obstacles.push_back(fmt::format("the service does not {} {}",
                                                     writes ? "write" : "read", resultOf(call)));
        }
        if (writes) {
            takeExchange(*attempt, mac, call);
            continue;
        }
        buffer = {};
        fill(buffer, attempt->reply);
        judge(*attempt, buffer, succeeded(call));
        reading.status = succeeded(call) ? DDCCtl::badReply : DDCCtl::noValue;
        reading.tries.push_back(std::move(*attempt));
        attempt.reset();
    }
    // A failed write ends the read.
    if (attempt) {
        reading.status = DDCCtl::noValue;
        reading.tries.push_back(std::move(*attempt));
    }
    readValue(reading, buffer);
    return reading;
}

}  // namespace

std::optional<std::uint8_t> requestedCode(const Bytes& request) {
    if (request.size() <= codeInRequest) return std::nullopt;
    return request[codeInRequest];
}

std::set<std::string, std::less<>> callsOfReadings() {
    return {"CGDisplayIOServicePort",     "IOServiceNameMatching", "IOServiceMatching",
            "IOFBCopyI2CInterfaceForBus", "IOI2CInterfaceOpen",    "IOI2CSendRequest",
            "CGDisplayIsBuiltin",         "IOAVServiceWriteI2C",   "IOAVServiceReadI2C"};
}

std::optional<Reading> lastReading(const Mac& mac, std::uint32_t displayID, const Calls& trace) {
    const bool appleSilicon = DDC->UseArm64;
    const auto calls = callsAfterLast(
        appleSilicon ? "CGDisplayIsBuiltin" : "CGDisplayIOServicePort", displayID, trace);
    if (!calls) return std::nullopt;
    auto reading = appleSilicon ? readOverAVService(mac, *calls) : readOverFramebuffer(mac, *calls);
    if (reading.tries.empty()) return std::nullopt;
    return reading;
}

}  // namespace displaycheck
