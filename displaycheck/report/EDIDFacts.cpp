#include "displaycheck/report/EDIDFacts.h"

#include <fmt/format.h>

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "displaycheck/report/TerminalText.h"
#include "simulated_mac/description/EDID.h"

namespace displaycheck {
namespace {

using JSON = nlohmann::ordered_json;
using simulated_mac::Bytes;
using simulated_mac::edidBlockSize;
using simulated_mac::EDIDIdentity;

/// Week 255 marks the year as a model year; 0 and 55 to 254 are no weeks.
constexpr std::uint8_t modelYearMark = 255;

bool hasWeek(const EDIDIdentity& identity) {
    return identity.week >= 1 && identity.week <= 54;
}

std::string dateText(const EDIDIdentity& identity) {
    if (identity.week == modelYearMark) return fmt::format("model year {}", identity.year);
    if (hasWeek(identity)) return fmt::format("week {} of {}", identity.week, identity.year);
    return fmt::format("year {}", identity.year);
}

std::string sizeText(const EDIDIdentity& identity) {
    const unsigned width = identity.widthCm;
    const unsigned height = identity.heightCm;
    if (width != 0 && height != 0) return fmt::format("{} x {} cm", width, height);
    if (width == 0 && height == 0) return "(none)";
    // One of the two is the aspect ratio, in hundredths from 1.00 on (VESA E-EDID 1.4,
    // section 3.6.2).
    const unsigned hundredths = width + height + 99;
    return fmt::format("(none; {} with sides as {:.2f} to 1)",
                       height == 0 ? "landscape" : "portrait", hundredths / 100.0);
}

struct Checksum {
    std::uint8_t is = 0;
    std::uint8_t expected = 0;
};

/// Those of the whole blocks.
std::vector<Checksum> checksumsOf(const Bytes& edid) {
    std::vector<Checksum> checksums;
    for (std::size_t at = 0; at + edidBlockSize <= edid.size(); at += edidBlockSize) {
        const auto block = std::span(edid).subspan(at, edidBlockSize);
        checksums.push_back({block.back(), simulated_mac::edidChecksum(block)});
    }
    return checksums;
}

std::string checksumText(const Checksum& checksum) {
    if (checksum.is == checksum.expected) return "right";
    return fmt::format("wrong: is 0x{:02X}, expected 0x{:02X}", checksum.is, checksum.expected);
}

std::string blocksText(const Bytes& edid) {
    const std::size_t announced = simulated_mac::announcedBlocks(edid);
    const std::size_t present = edid.size() / edidBlockSize;
    const std::size_t rest = edid.size() % edidBlockSize;
    std::string text = fmt::format("{} announced, {}{} present", announced,
                                   present < announced ? "only " : "", present);
    if (rest != 0) text += fmt::format(" and {} bytes of another", rest);
    return text;
}

}  // namespace

std::string edidFactsAsText(const Bytes& edid, std::size_t columns) {
    const auto row = [columns](std::string_view label, const std::string& text) {
        return labelledWords(label, edidTextIndent, text, columns);
    };
    const EDIDIdentity identity = simulated_mac::identifyEDID(edid);
    std::string text = row("manufactured", dateText(identity)) + row("size", sizeText(identity)) +
                       row("header", "ok") + row("length", fmt::format("{} bytes", edid.size())) +
                       row("blocks", blocksText(edid));
    std::size_t block = 0;
    for (const Checksum& checksum : checksumsOf(edid)) {
        text += row(fmt::format("checksum {}", block++), checksumText(checksum));
    }
    return text;
}

nlohmann::ordered_json edidFactsAsJSON(const Bytes& edid) {
    const EDIDIdentity identity = simulated_mac::identifyEDID(edid);
    JSON object;
    object["header"] = "ok";
    object["length"] = edid.size();
    object["blocks"] = {{"announced", simulated_mac::announcedBlocks(edid)},
                        {"present", edid.size() / edidBlockSize}};
    object["checksums"] = JSON::array();
    for (const Checksum& checksum : checksumsOf(edid)) {
        object["checksums"].push_back({{"ok", checksum.is == checksum.expected},
                                       {"is", checksum.is},
                                       {"expected", checksum.expected}});
    }
    const auto orNull = [](bool has, unsigned value) { return has ? JSON(value) : JSON(); };
    const bool isModelYear = identity.week == modelYearMark;
    const bool hasSize = identity.widthCm != 0 && identity.heightCm != 0;
    object["week"] = orNull(hasWeek(identity), identity.week);
    object["year"] = identity.year;
    object["is_model_year"] = isModelYear;
    object["width_cm"] = orNull(hasSize, identity.widthCm);
    object["height_cm"] = orNull(hasSize, identity.heightCm);
    return object;
}

}  // namespace displaycheck
