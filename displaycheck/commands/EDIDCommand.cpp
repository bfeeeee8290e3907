#include "displaycheck/commands/EDIDCommand.h"

#include <fmt/format.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "displaycheck/commands/ExitStatus.h"
#include "displaycheck/host/StandardError.h"
#include "displaycheck/report/TerminalText.h"
#include "plugin/DDCCI/DDCCtl.h"
#include "plugin/Platform/Text.h"
#include "plugin/Utilities/EDIDUtils.h"
#include "plugin/Utilities/StringUtil.h"
#include "simulated_mac/description/HexText.h"
#include "simulated_mac/description/MacDescription.h"
#include "simulated_mac/description/ReadFile.h"

using namespace vorn;

namespace displaycheck {

namespace {

using JSON = nlohmann::ordered_json;

// The fixed header of an EDID (VESA E-EDID 1.4, section 3.3).
constexpr std::string_view header("\x00\xFF\xFF\xFF\xFF\xFF\xFF\x00", 8);
constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

/// Limit for one file or standard input, far above any real collection of EDIDs.
constexpr std::size_t maxBytes = 64U << 20;

/// An EDID and where it was found.
struct Source {
    std::string place;  ///< "FILE:LINE" in a text, "FILE" for a binary
    std::string hexText;
};

void makeDecoder() {
    if (strUtil == nullptr) strUtil = new StringUtil;
    if (DDC == nullptr) DDC = new DDCCtl;
    if (edidUtils == nullptr) edidUtils = new EDIDUtils;
}

void complain(std::string_view place, std::string_view what) {
    printError("{}: {}\n", printable(place), printable(what));
}

/// All bytes of a file or of standard input. If it can't be read, prints a message and returns
/// nothing.
std::optional<std::string> readAll(const std::string& name, const std::string& path) {
    try {
        return path == "-" ? simulated_mac::readStandardInput(maxBytes)
                           : simulated_mac::readFile(path, maxBytes);
    } catch (const simulated_mac::TooLongFile&) {
        complain(name, fmt::format("is too large; expected at most {} MiB", maxBytes >> 20));
    } catch (const simulated_mac::UnreadableFile& error) {
        complain(name, error.what());
    }
    return std::nullopt;
}

/// Whether bytes are text: UTF-8 without control characters but tabs and line ends.
bool isText(std::string_view bytes) {
    const auto acts = [](char byte) {
        return (static_cast<unsigned char>(byte) < 0x20 || byte == 0x7F) && byte != '\t' &&
               byte != '\n' && byte != '\r';
    };
    if (std::any_of(bytes.begin(), bytes.end(), acts)) return false;
    UErrorCode error = U_ZERO_ERROR;
    int32_t length = 0;
    u_strFromUTF8(nullptr, 0, &length, bytes.data(), static_cast<int32_t>(bytes.size()), &error);
    return error != U_INVALID_CHAR_FOUND;
}

std::string upperHex(std::string_view bytes) {
    return simulated_mac::hexText(simulated_mac::Bytes(bytes.begin(), bytes.end()));
}

std::string_view trimmed(std::string_view line) {
    constexpr std::string_view blanks = " \t\r";
    const auto begin = line.find_first_not_of(blanks);
    if (begin == std::string_view::npos) return {};
    return line.substr(begin, line.find_last_not_of(blanks) - begin + 1);
}

std::vector<Source> linesOf(const std::string& name, std::string_view text) {
    if (text.substr(0, byteOrderMark.size()) == byteOrderMark) {
        text.remove_prefix(byteOrderMark.size());
    }
    std::vector<Source> sources;
    for (std::size_t number = 1; !text.empty(); ++number) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const auto line = trimmed(text.substr(0, end));
        if (!line.empty()) {
            sources.push_back({fmt::format("{}:{}", name, number), std::string(line)});
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return sources;
}

std::vector<Source> sourcesIn(const std::string& name, const std::string& bytes) {
    const bool binary = bytes.compare(0, header.size(), header) == 0 || !isText(bytes);
    if (binary) return {{name, upperHex(bytes)}};
    return linesOf(name, bytes);
}

std::string jsonLine(const EDIDInfo& info) {
    const auto orNull = [](const std::optional<std::string>& text) {
        return text ? JSON(*text) : JSON();
    };
    const JSON object = {{"serialNumber", info.serialNumber},
                         {"modelName", orNull(info.modelName)},
                         {"serviceTag", orNull(info.serviceTag)},
                         {"modelInfo", orNull(info.modelInfo)},
                         {"plugNplayID", orNull(info.plugNplayID)}};
    return object.dump(-1, ' ', false, JSON::error_handler_t::replace) + "\n";
}

std::string textBlock(const std::string& place, const EDIDInfo& info) {
    const auto orNone = [](const std::optional<std::string>& text) {
        return text ? printable(*text) : "(none)";
    };
    return fmt::format(
        "{}\n"
        "  model name     {}\n"
        "  PnP ID         {}\n"
        "  serial number  {} (0x{:08X})\n"
        "  service tag    {}\n"
        "  model info     {}\n",
        printable(place), orNone(info.modelName), orNone(info.plugNplayID), info.serialNumber,
        info.serialNumber, orNone(info.serviceTag), orNone(info.modelInfo));
}

bool beginsAsEDID(std::string_view hexText) {
    return uppercaseText(std::string(hexText.substr(0, 2 * header.size()))) == upperHex(header);
}

int show(const Source& source, bool json) {
    try {
        const EDIDInfo info = edidUtils->generateEDIDInfo(source.hexText);
        if (!json && !beginsAsEDID(source.hexText)) {
            complain(source.place,
                     fmt::format("does not begin with the EDID header {}; decoding it anyway",
                                 upperHex(header)));
        }
        fmt::print("{}", json ? jsonLine(info) : textBlock(source.place, info));
        return done;
    } catch (const std::out_of_range& error) {
        if (json) {
            fmt::print("{}\n", JSON{{"error", error.what()}}.dump());
        } else {
            complain(source.place, error.what());
        }
        return badInput;
    }
}

int showFile(const std::string& path, bool json) {
    const std::string name = path == "-" ? "standard input" : path;
    const auto bytes = readAll(name, path);
    if (!bytes) return badInput;
    const auto sources = sourcesIn(name, *bytes);
    if (sources.empty()) {
        complain(name, "is empty; expected an EDID, binary or as a line of hex digits");
        return badInput;
    }
    int status = done;
    for (const Source& source : sources) status = std::max(status, show(source, json));
    return status;
}

}  // namespace

int showEDIDs(const std::vector<std::string>& files, bool json) {
    makeDecoder();
    int status = done;
    const std::vector<std::string> standardInput = {"-"};
    for (const std::string& path : files.empty() ? standardInput : files) {
        status = std::max(status, showFile(path, json));
    }
    return status;
}

}  // namespace displaycheck
