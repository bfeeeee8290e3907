#pragma once

#include <array>
#include <cstdint>

/// The DDC/CI packets that read one VCP code (VESA DDC/CI 1.1, Get VCP Feature and its reply), the
/// same over a framebuffer's I2C bus and an AV service.
namespace VCP {

/// The monitor's I2C address as written and as read in 8-bit form, and the host's source address.
inline constexpr std::uint8_t writeAddress = 0x6E;
inline constexpr std::uint8_t readAddress = 0x6F;
inline constexpr std::uint8_t hostAddress = 0x51;

inline constexpr std::size_t replySize = 11;

/// Source address, length, opcode, VCP code, checksum.
using GetRequest = std::array<std::uint8_t, 5>;

constexpr GetRequest makeGetRequest(std::uint8_t code) {
    GetRequest request{hostAddress, 0x82, 0x01, code, writeAddress};
    for (std::size_t at = 0; at < 4; ++at) request[4] ^= request[at];
    return request;
}

/// The checksum that `reply` (at least 11 bytes) should carry in byte 10: over its bytes 1 to 9 and
/// the read address.
constexpr std::uint8_t replyChecksum(const std::uint8_t* reply) {
    std::uint8_t checksum = readAddress ^ hostAddress;
    for (std::size_t at = 1; at < replySize - 1; ++at) checksum ^= reply[at];
    return checksum;
}

/// Whether `reply` (at least 11 bytes) answers a get of `code`: source, opcode, echoed code and
/// checksum. Length, result code and type are not checked.
constexpr bool isGoodReply(const std::uint8_t* reply, std::uint8_t code) {
    return reply[0] == writeAddress && reply[2] == 0x02 && reply[4] == code &&
           reply[10] == replyChecksum(reply);
}

constexpr std::uint16_t maximumValue(const std::uint8_t* reply) {
    return static_cast<std::uint16_t>(reply[6] << 8 | reply[7]);
}
constexpr std::uint16_t currentValue(const std::uint8_t* reply) {
    return static_cast<std::uint16_t>(reply[8] << 8 | reply[9]);
}
/// Maximum in the high half, current value in the low half.
constexpr std::uint32_t fourBytes(const std::uint8_t* reply) {
    return static_cast<std::uint32_t>(maximumValue(reply)) << 16 | currentValue(reply);
}

}  // namespace VCP
