#include "simulated_mac/hardware/Monitor.h"

#include <algorithm>
#include <numeric>

namespace simulated_mac {

namespace {

// VESA DDC/CI 1.1: addresses in 8-bit form, Get VCP Feature and its reply.
constexpr std::uint8_t monitorWriteAddress = 0x6E;
constexpr std::uint8_t hostSourceAddress = 0x51;
constexpr std::uint8_t hostVirtualAddress = 0x50;
constexpr std::uint8_t lengthFlag = 0x80;
constexpr std::uint8_t getOpcode = 0x01;
constexpr std::uint8_t replyOpcode = 0x02;
constexpr std::uint8_t unsupportedCode = 0x01;

std::uint8_t exclusiveOr(std::span<const std::uint8_t> bytes, std::uint8_t start) {
    return std::accumulate(bytes.begin(), bytes.end(), start, [](std::uint8_t sum, auto byte) {
        return static_cast<std::uint8_t>(sum ^ byte);
    });
}

/// The VCP code that a message asks for; nothing if it is not a valid get.
std::optional<std::uint8_t> codeOfGet(std::span<const std::uint8_t> message) {
    if (message.size() != 5 || message[0] != hostSourceAddress || message[1] != (lengthFlag | 2) ||
        message[2] != getOpcode || exclusiveOr(message, monitorWriteAddress) != 0) {
        return std::nullopt;
    }
    return message[3];
}

/// Appends the checksum of the other bytes. The source address counts as the monitor's own,
/// whatever it is.
void finish(Bytes& reply) {
    const auto checked = std::span(reply).subspan(1, Monitor::replySize - 2);
    reply[Monitor::replySize - 1] = exclusiveOr(checked, hostVirtualAddress ^ monitorWriteAddress);
}

}  // namespace

void Monitor::receive(std::span<const std::uint8_t> message, Time time) {
    const std::lock_guard lock(mutex_);
    requestedCode_ = codeOfGet(message);
    if (requestedCode_ == 0) settled_ = true;
    exchanges_.push_back({time, Bytes(message.begin(), message.end()), {}});
}

std::optional<Bytes> Monitor::reply(std::uint64_t delay) {
    const std::lock_guard lock(mutex_);
    if (!requestedCode_) return std::nullopt;
    auto reply = delay < description_.needsReplyDelay ? std::nullopt
                                                      : applyFault(goodReply(*requestedCode_));
    if (reply) exchanges_.back().reply = *reply;
    return reply;
}

std::optional<Bytes> Monitor::replyAt(Time now) {
    Time waited{0};
    {
        const std::lock_guard lock(mutex_);
        if (!exchanges_.empty()) waited = now - exchanges_.back().time;
    }
    return reply(static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(waited).count()));
}

std::vector<Exchange> Monitor::exchanges() const {
    const std::lock_guard lock(mutex_);
    return exchanges_;
}

Bytes Monitor::goodReply(std::uint8_t code) const {
    const auto known = description_.vcp.find(code);
    const VCPEntry entry =
        known != description_.vcp.end() ? known->second : VCPEntry{0, 0, 0, unsupportedCode};
    const auto high = [](std::uint16_t value) { return static_cast<std::uint8_t>(value >> 8); };
    const auto low = [](std::uint16_t value) { return static_cast<std::uint8_t>(value & 0xFF); };
    Bytes reply = {monitorWriteAddress,
                   lengthFlag | 8,
                   replyOpcode,
                   entry.result,
                   code,
                   entry.type,
                   high(entry.maximum),
                   low(entry.maximum),
                   high(entry.current),
                   low(entry.current),
                   0};
    finish(reply);
    return reply;
}

std::optional<Bytes> Monitor::applyFault(Bytes reply) {
    const auto& answers = description_.answers;
    const DDCAnswer answer =
        answers.empty() ? DDCAnswer{} : answers[std::min(replies_, answers.size() - 1)];
    ++replies_;
    if (description_.settlesAfterClean && !settled_) {
        reply.back() ^= 0xFF;
        return reply;
    }
    switch (answer.kind) {
        case DDCAnswer::Kind::good:
            return reply;
        case DDCAnswer::Kind::silent:
            return std::nullopt;
        case DDCAnswer::Kind::bytes:
            return answer.bytes;
        case DDCAnswer::Kind::badChecksum:
            reply.back() ^= 0xFF;
            return reply;
        case DDCAnswer::Kind::wrongSource:
            reply[0] = hostVirtualAddress;
            return reply;
        case DDCAnswer::Kind::wrongLength:
            reply[1] = lengthFlag;
            break;
        case DDCAnswer::Kind::wrongOpcode:
            reply[2] = static_cast<std::uint8_t>(replyOpcode + 1);
            break;
        case DDCAnswer::Kind::wrongCode:
            reply[4] ^= 0xFF;
            break;
    }
    finish(reply);
    return reply;
}

}  // namespace simulated_mac
