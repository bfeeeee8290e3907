#include "displaycheck/commands/EDIDCommand.h"

#include <fmt/format.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "displaycheck/commands/ExitStatus.h"
#include "displaycheck/dumps/EDIDText.h"
#include "displaycheck/report/EDIDFacts.h"
#include "displaycheck/report/Terminal.h"
#include "displaycheck/report/TerminalText.h"
#include "plugin/DDCCI/DDCCtl.h"
#include "plugin/Platform/Text.h"
#include "plugin/Utilities/EDIDUtils.h"
#include "plugin/Utilities/StringUtil.h"
#include "simulated_mac/description/EDID.h"
#include "simulated_mac/description/HexText.h"
#include "simulated_mac/description/ReadFile.h"

using namespace vorn;

namespace displaycheck {

namespace {

using JSON = nlohmann::ordered_json;

using simulated_mac::Bytes;
using simulated_mac::edidBlockSize;
using simulated_mac::edidHeader;

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

/// Limit for one file or standard input, far above any real collection of EDIDs.
constexpr std::size_t maxBytes = 64U << 20;

/// A text to decode as it is, and where it was found.
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
    printMessages(printable(place) + ": " + printable(what));
}

void printJSON(const JSON& object) {
    fmt::print("{}\n", object.dump(-1, ' ', false, JSON::error_handler_t::replace));
}

/// Says why a file as a whole gives no EDID.
void refuseFile(const std::string& name, const std::string& fault, bool json) {
    if (json) {
        printJSON({{"error", fault}, {"file", name}, {"line", nullptr}, {"offset", nullptr}});
    } else {
        complain(name, fault);
    }
}

/// All bytes of a file or of standard input. If it can't be read, says so and returns nothing.
std::optional<std::string> readAll(const std::string& name, const std::string& path, bool json) {
    try {
        return path == "-" ? simulated_mac::readStandardInput(maxBytes)
                           : simulated_mac::readFile(path, maxBytes);
    } catch (const simulated_mac::TooLongFile&) {
        refuseFile(name, fmt::format("is too large; expected at most {} MiB", maxBytes >> 20),
                   json);
    } catch (const simulated_mac::UnreadableFile& error) {
        refuseFile(name, error.what(), json);
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
    return simulated_mac::hexText(Bytes(bytes.begin(), bytes.end()));
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
    if (!isText(bytes)) return {{name, upperHex(bytes)}};
    return linesOf(name, bytes);
}

JSON paneFields(const EDIDInfo& info) {
    const auto orNull = [](const std::optional<std::string>& text) {
        return text ? JSON(*text) : JSON();
    };
    return {{"serialNumber", info.serialNumber},
            {"modelName", orNull(info.modelName)},
            {"serviceTag", orNull(info.serviceTag)},
            {"modelInfo", orNull(info.modelInfo)},
            {"plugNplayID", orNull(info.plugNplayID)}};
}

std::string paneText(const std::string& place, const EDIDInfo& info, std::size_t columns) {
    const auto row = [columns](std::string_view label, const std::string& text) {
        return labelledWords(label, edidTextIndent, text, columns);
    };
    const auto orNone = [](const std::optional<std::string>& text) {
        return text.value_or("(none)");
    };
    return wholeWords(place, columns, 0, 2) + row("model name", orNone(info.modelName)) +
           row("PnP ID", orNone(info.plugNplayID)) +
           row("serial number",
               fmt::format("{} (0x{:08X})", info.serialNumber, info.serialNumber)) +
           row("service tag", orNone(info.serviceTag)) + row("model info", orNone(info.modelInfo));
}

/// Where something was found in a file. Binary files have no lines.
std::string placeOf(const std::string& name, std::size_t line, std::size_t offset) {
    if (line != 0) return fmt::format("{}:{}", name, line);
    return offset == 0 ? name : fmt::format("{}, offset {}", name, offset);
}

void addPlace(JSON& object, const std::string& name, std::size_t line, std::size_t offset) {
    object["file"] = name;
    object["line"] = line == 0 ? JSON() : JSON(line);
    object["offset"] = line == 0 ? JSON(offset) : JSON();
}

void show(const std::string& name, const FoundEDID& edid, bool json) {
    const EDIDInfo info = edidUtils->generateEDIDInfo(simulated_mac::hexText(edid.bytes));
    if (json) {
        JSON object = paneFields(info);
        addPlace(object, name, edid.line, edid.offset);
        object["form"] = edid.form;
        object.update(edidFactsAsJSON(edid.bytes));
        printJSON(object);
    } else {
        const Terminal terminal;
        terminal.print(paneText(placeOf(name, edid.line, edid.offset), info, terminal.columns) +
                       edidFactsAsText(edid.bytes, terminal.columns));
    }
}

void refuse(const std::string& name, const NotAnEDID& refused, bool json) {
    if (json) {
        JSON object = {{"error", refused.fault}};
        addPlace(object, name, refused.line, refused.offset);
        printJSON(object);
    } else {
        complain(placeOf(name, refused.line, refused.offset), refused.fault);
    }
}

int showEDIDsIn(const std::string& name, const std::string& contents, bool json) {
    const EDIDSearch search = searchForEDIDs(contents);
    auto refused = search.refused.begin();
    const auto isBefore = [](const NotAnEDID& a, const FoundEDID& b) {
        return std::pair(a.line, a.offset) < std::pair(b.line, b.offset);
    };
    for (const FoundEDID& edid : search.found) {
        for (; refused != search.refused.end() && isBefore(*refused, edid); ++refused) {
            refuse(name, *refused, json);
        }
        show(name, edid, json);
    }
    for (; refused != search.refused.end(); ++refused) refuse(name, *refused, json);
    if (search.found.empty() && search.refused.empty()) {
        refuseFile(
            name,
            fmt::format("has no EDID; expected {} bytes or more that begin with {}, binary, as hex "
                        "digits, or as base64",
                        edidBlockSize, simulated_mac::hexText(edidHeader)),
            json);
        return badInput;
    }
    return search.refused.empty() ? done : badInput;
}

// The texts of a file line by line, whatever they are.

bool beginsAsEDID(std::string_view hexText) {
    return uppercaseText(std::string(hexText.substr(0, 2 * edidHeader.size()))) ==
           simulated_mac::hexText(edidHeader);
}

int showVerbatim(const Source& source, bool json) {
    try {
        const EDIDInfo info = edidUtils->generateEDIDInfo(source.hexText);
        if (!json && !beginsAsEDID(source.hexText)) {
            complain(source.place,
                     fmt::format("does not begin with the EDID header {}; decoding it anyway",
                                 simulated_mac::hexText(edidHeader)));
        }
        if (json) {
            printJSON(paneFields(info));
        } else {
            const Terminal terminal;
            terminal.print(paneText(source.place, info, terminal.columns));
        }
        return done;
    } catch (const std::out_of_range& error) {
        if (json) {
            printJSON({{"error", error.what()}});
        } else {
            complain(source.place, error.what());
        }
        return badInput;
    }
}

int showLinesIn(const std::string& name, const std::string& contents, bool json) {
    int status = done;
    for (const Source& source : sourcesIn(name, contents)) {
        status = std::max(status, showVerbatim(source, json));
    }
    return status;
}

bool isBlank(std::string_view contents) {
    if (contents.starts_with(byteOrderMark)) contents.remove_prefix(byteOrderMark.size());
    return contents.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

int showFile(const std::string& path, const EDIDOptions& options) {
    const std::string name = path == "-" ? "standard input" : path;
    const auto contents = readAll(name, path, options.json);
    if (!contents) return badInput;
    if (isBlank(*contents)) {
        refuseFile(name, "is empty; expected an EDID, binary or as a line of hex digits",
                   options.json);
        return badInput;
    }
    return options.verbatim ? showLinesIn(name, *contents, options.json)
                            : showEDIDsIn(name, *contents, options.json);
}

}  // namespace

int showEDIDs(const EDIDOptions& options) {
    makeDecoder();
    int status = done;
    const std::vector<std::string> standardInput = {"-"};
    for (const std::string& path : options.files.empty() ? standardInput : options.files) {
        status = std::max(status, showFile(path, options));
    }
    return status;
}

}  // namespace displaycheck
