#include "displaycheck/dumps/SystemProfile.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <limits>
#include <nlohmann/json.hpp>
#include <utility>

#include "displaycheck/dumps/DumpError.h"
#include "displaycheck/dumps/PropertyListFile.h"

using namespace simulated_mac;

namespace displaycheck {

namespace {

constexpr std::string_view displaysType = "SPDisplaysDataType";
constexpr std::string_view hardwareType = "SPHardwareDataType";

constexpr std::string_view reportBlanks = " \t\r";

/// The whole text as a number; nothing for any other text and for larger numbers.
template <class Number>
std::optional<Number> wholeNumberIn(std::string_view text, int base) {
    Number number = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number, base);
    if (result.ec != std::errc() || result.ptr != end) return std::nullopt;
    return number;
}

/// With or without "0x".
std::optional<std::uint32_t> hexNumberIn(std::string_view text) {
    if (text.substr(0, 2) == "0x") text.remove_prefix(2);
    return wholeNumberIn<std::uint32_t>(text, 16);
}

/// Far more than any Mac has. GPUs and displays are counted each on their own.
constexpr std::size_t mostInReport = 1'000;

template <class Element>
void addTo(std::vector<Element>& list, Element element) {
    if (list.size() == mostInReport) {
        throw DumpError(
            fmt::format("the report lists too much; expected at most {} displays and as many GPUs",
                        mostInReport));
    }
    list.push_back(std::move(element));
}

// A report as text. Indentation shows what belongs to what.

struct ReportLine {
    std::size_t indent = 0;
    std::string_view key;    // in front of the colon
    std::string_view value;  // behind it; empty for a heading
};

std::string_view withoutBlanks(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(reportBlanks);
    if (begin == std::string_view::npos) return {};
    return text.substr(begin, text.find_last_not_of(reportBlanks) - begin + 1);
}

ReportLine reportLineOf(std::string_view text) {
    ReportLine line;
    line.indent = std::min(text.find_first_not_of(' '), text.size());
    text = withoutBlanks(text);
    // A heading may be a display's name with a colon of its own.
    const std::size_t colon =
        !text.empty() && text.back() == ':' ? text.size() - 1 : text.find(": ");
    line.key = text.substr(0, colon);
    if (colon != std::string_view::npos) line.value = withoutBlanks(text.substr(colon + 1));
    return line;
}

class TextReport {
  public:
    std::optional<SystemProfile> read(std::string_view text) {
        while (!text.empty()) {
            const std::size_t end = std::min(text.find('\n'), text.size());
            const std::string_view line = text.substr(0, end);
            if (!withoutBlanks(line).empty()) readLine(reportLineOf(line));
            text.remove_prefix(std::min(end + 1, text.size()));
        }
        endDisplay();
        if (!hasDisplays_ && !profile_.model) return std::nullopt;
        return std::move(profile_);
    }

  private:
    enum class Section { other, hardware, displays };

    void readLine(const ReportLine& line) {
        if (line.indent == 0) {
            endDisplay();
            list_.reset();
            section_ = Section::other;
            if (line.key == "Hardware" && line.value.empty()) section_ = Section::hardware;
            if (line.key == "Graphics/Displays" && line.value.empty()) {
                section_ = Section::displays;
                hasDisplays_ = true;
            }
        } else if (section_ == Section::hardware) {
            if (line.key == "Model Identifier" && !line.value.empty()) profile_.model = line.value;
        } else if (section_ == Section::displays) {
            readGraphicsLine(line);
        }
    }

    void readGraphicsLine(const ReportLine& line) {
        if (list_ && line.indent <= *list_) {
            endDisplay();
            list_.reset();
        }
        if (!list_) {
            if (line.key == "Chipset Model") addTo(profile_.chipsets, std::string(line.value));
            if (line.key == "Displays" && line.value.empty()) list_ = line.indent;
        } else if (!display_ || line.indent <= displayIndent_) {
            endDisplay();
            display_.emplace();
            display_->name = line.key;
            displayIndent_ = line.indent;
        } else {
            readDisplayLine(line);
        }
    }

    void readDisplayLine(const ReportLine& line) {
        const auto begins = [&line](std::string_view with) {
            return line.value.substr(0, with.size()) == with;
        };
        if (line.key == "Status") isInUse_ = isInUse_ && !begins("No Display");
        if (line.key == "Online") isInUse_ = isInUse_ && line.value != "No";
        if ((line.key == "Connection Type" && line.value == "Internal") ||
            (line.key == "Display Type" && begins("Built-In")) ||
            (line.key == "Built-In" && line.value == "Yes")) {
            display_->builtIn = true;
        }
        if (line.key == "Vendor ID") display_->vendor = hexNumberIn(line.value);
        if (line.key == "Product ID") display_->product = hexNumberIn(line.value);
        // As a rule this is the text on the case; the number is marked as one.
        if (line.key == "Display Serial Number" && begins("0x")) {
            display_->serial = hexNumberIn(line.value);
        }
    }

    void endDisplay() {
        if (display_ && isInUse_) addTo(profile_.displays, *std::move(display_));
        display_.reset();
        isInUse_ = true;
    }

    SystemProfile profile_;
    Section section_ = Section::other;
    bool hasDisplays_ = false;
    std::optional<std::size_t> list_;  // the indentation of the "Displays:" that lines belong to
    std::optional<ProfiledDisplay> display_;
    std::size_t displayIndent_ = 0;
    bool isInUse_ = true;
};

// A report as property list or JSON: a list of items for each data type.

std::string itemText(const PropertyValue& item, std::string_view key) {
    const PropertyValue* const value = find(item, key);
    const auto* const text = value != nullptr ? std::get_if<std::string>(&value->value) : nullptr;
    return text != nullptr ? *text : std::string();
}

const PropertyList& itemList(const PropertyValue& item, std::string_view key) {
    static const PropertyList none;
    const PropertyValue* const value = find(item, key);
    const auto* const list = value != nullptr ? std::get_if<PropertyList>(&value->value) : nullptr;
    return list != nullptr ? *list : none;
}

/// A number that is given as such or, as the tool does, as a text.
template <class Number>
std::optional<Number> itemNumber(const PropertyValue& item, std::string_view key, int base) {
    const PropertyValue* const value = find(item, key);
    const auto* const number =
        value != nullptr ? std::get_if<std::int64_t>(&value->value) : nullptr;
    if (number != nullptr) {
        if (*number < 0 || *number > std::numeric_limits<Number>::max()) return std::nullopt;
        return static_cast<Number>(*number);
    }
    const std::string text = itemText(item, key);
    if (base == 16) return hexNumberIn(text);
    return wholeNumberIn<Number>(text, base);
}

std::optional<ProfiledDisplay> displayOf(const PropertyValue& item) {
    if (!std::holds_alternative<PropertyMap>(item.value) ||
        itemText(item, "spdisplays_status") == "spdisplays_not_connected" ||
        itemText(item, "spdisplays_online") == "spdisplays_no") {
        return std::nullopt;
    }
    constexpr std::string_view builtInType = "spdisplays_built-in";
    const auto hexAt = [&item](std::string_view key) {
        return itemNumber<std::uint32_t>(item, key, 16);
    };
    ProfiledDisplay display;
    display.name = itemText(item, "_name");
    display.builtIn =
        itemText(item, "spdisplays_connection_type") == "spdisplays_internal" ||
        itemText(item, "spdisplays_display_type").compare(0, builtInType.size(), builtInType) ==
            0 ||
        itemText(item, "spdisplays_builtin") == "spdisplays_yes";
    display.displayID = hexAt("_spdisplays_displayID");
    display.vendor = hexAt("_spdisplays_display-vendor-id");
    display.product = hexAt("_spdisplays_display-product-id");
    display.serial = hexAt("_spdisplays_display-serial-number");
    display.week = itemNumber<int>(item, "_spdisplays_display-week", 10);
    display.year = itemNumber<int>(item, "_spdisplays_display-year", 10);
    return display;
}

void readItems(std::string_view type, const PropertyList& items, SystemProfile& profile) {
    for (const PropertyValue& item : items) {
        if (type == hardwareType) {
            std::string model = itemText(item, "machine_model");
            if (!model.empty()) profile.model = std::move(model);
            continue;
        }
        std::string chipset = itemText(item, "sppci_model");
        if (!chipset.empty()) addTo(profile.chipsets, std::move(chipset));
        for (const PropertyValue& display : itemList(item, "spdisplays_ndrvs")) {
            if (auto found = displayOf(display)) addTo(profile.displays, *std::move(found));
        }
    }
}

bool isWanted(std::string_view type) {
    return type == displaysType || type == hardwareType;
}

std::optional<SystemProfile> profileInPropertyList(std::string_view contents) {
    const auto root = readPropertyList(contents);
    const auto* const sections = root ? std::get_if<PropertyList>(&root->value) : nullptr;
    if (sections == nullptr) return std::nullopt;
    std::optional<SystemProfile> profile;
    for (const PropertyValue& section : *sections) {
        const std::string type = itemText(section, "_dataType");
        if (!isWanted(type)) continue;
        if (!profile) profile.emplace();
        readItems(type, itemList(section, "_items"), *profile);
    }
    return profile;
}

PropertyValue valueOfJSON(const nlohmann::ordered_json& json) {
    if (json.is_boolean()) return {json.get<bool>()};
    if (json.is_number_integer()) return {json.get<std::int64_t>()};
    if (json.is_string()) return {json.get<std::string>()};
    if (json.is_array()) {
        PropertyList list;
        for (const auto& element : json) list.push_back(valueOfJSON(element));
        return {std::move(list)};
    }
    if (json.is_object()) {
        PropertyMap map;
        for (const auto& element : json.items()) {
            map.emplace_back(element.key(), valueOfJSON(element.value()));
        }
        return {std::move(map)};
    }
    return {};
}

/// The wanted sections alone: a whole report may be large.
nlohmann::ordered_json parseJSON(std::string_view contents) {
    using Event = nlohmann::ordered_json::parse_event_t;
    constexpr int mostLevels = 100;
    constexpr std::size_t mostValues = 100'000;
    bool wanted = false;
    std::size_t values = 0;
    const auto keep = [&](int level, Event event, const nlohmann::ordered_json& parsed) {
        if (level == 0) return true;
        if (level == 1 && event == Event::key)
            wanted = isWanted(parsed.get_ref<const std::string&>());
        if (!wanted) return false;
        if (level > mostLevels || ++values > mostValues) {
            throw DumpError(
                fmt::format("the report has too many values; expected at most {}, in {} levels",
                            mostValues, mostLevels));
        }
        return true;
    };
    try {
        return nlohmann::ordered_json::parse(contents, keep);
    } catch (const nlohmann::ordered_json::parse_error& error) {
        const auto place =
            contents.begin() + static_cast<std::ptrdiff_t>(std::min(error.byte, contents.size()));
        throw DumpError(fmt::format("line {}: the report is damaged; expected JSON",
                                    1 + std::count(contents.begin(), place, '\n')));
    } catch (const nlohmann::ordered_json::out_of_range&) {
        throw DumpError("the report is damaged; expected numbers of at most 64 bits");
    }
}

std::optional<SystemProfile> profileInJSON(std::string_view contents) {
    const PropertyValue root = valueOfJSON(parseJSON(contents));
    std::optional<SystemProfile> profile;
    for (const std::string_view type : {displaysType, hardwareType}) {
        if (find(root, type) == nullptr) continue;
        if (!profile) profile.emplace();
        readItems(type, itemList(root, type), *profile);
    }
    return profile;
}

}  // namespace

std::optional<SystemProfile> readSystemProfile(std::string_view contents) {
    const auto holds = [contents](std::string_view text) {
        return contents.find(text) != std::string_view::npos;
    };
    if (holds(displaysType) || holds(hardwareType)) {
        const std::size_t begin = contents.find_first_not_of(" \t\r\n");
        auto profile =
            contents[begin] == '{' ? profileInJSON(contents) : profileInPropertyList(contents);
        // A text may name them too, in the command that stands above it.
        if (profile) return profile;
    }
    if (holds("Graphics/Displays:") || holds("Model Identifier:")) {
        return TextReport().read(contents);
    }
    return std::nullopt;
}

}  // namespace displaycheck
