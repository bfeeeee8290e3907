#include "displaycheck/dumps/PropertyListFile.h"

#include <fmt/format.h>
#include <plist/plist.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>
#include <utility>

#include "displaycheck/dumps/DumpError.h"
#include "displaycheck/dumps/PropertyListScan.h"

using namespace simulated_mac;

namespace displaycheck {

namespace {

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};
struct FreePropertyList {
    void operator()(void* node) const { plist_free(node); }
};
using ParsedList = std::unique_ptr<void, FreePropertyList>;

/// Seconds from 1970 to 2001, from which property lists count.
constexpr std::int64_t propertyListEpoch = 978'307'200;

PropertyValue parsedValue(plist_t node);

PropertyList parsedList(plist_t node) {
    PropertyList list;
    list.reserve(plist_array_get_size(node));
    plist_array_iter position = nullptr;
    plist_array_new_iter(node, &position);
    const std::unique_ptr<void, Free> owner(position);
    plist_t element = nullptr;
    for (plist_array_next_item(node, position, &element); element != nullptr;
         plist_array_next_item(node, position, &element)) {
        list.push_back(parsedValue(element));
    }
    return list;
}

PropertyMap parsedMap(plist_t node) {
    PropertyMap map;
    plist_dict_iter position = nullptr;
    plist_dict_new_iter(node, &position);
    const std::unique_ptr<void, Free> owner(position);
    for (;;) {
        char* key = nullptr;
        plist_t element = nullptr;
        plist_dict_next_item(node, position, &key, &element);
        const std::unique_ptr<char, Free> keyOwner(key);
        if (element == nullptr) return map;
        map.emplace_back(key != nullptr ? key : "", parsedValue(element));
    }
}

std::string parsedDate(plist_t node) {
    std::int32_t seconds = 0;
    std::int32_t microseconds = 0;
    plist_get_date_val(node, &seconds, &microseconds);
    const std::time_t time = propertyListEpoch + seconds;
    std::tm date = {};
    gmtime_r(&time, &date);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", date.tm_year + 1900, date.tm_mon + 1,
                       date.tm_mday, date.tm_hour, date.tm_min, date.tm_sec);
}

PropertyValue parsedValue(plist_t node) {
    switch (plist_get_node_type(node)) {
        case PLIST_BOOLEAN: {
            std::uint8_t value = 0;
            plist_get_bool_val(node, &value);
            return {value != 0};
        }
        case PLIST_UINT: {
            std::uint64_t value = 0;
            plist_get_uint_val(node, &value);
            return {static_cast<std::int64_t>(value)};
        }
        case PLIST_UID: {
            std::uint64_t value = 0;
            plist_get_uid_val(node, &value);
            return {static_cast<std::int64_t>(value)};
        }
        case PLIST_REAL: {
            double value = 0;
            plist_get_real_val(node, &value);
            return {fmt::format("{}", value)};
        }
        case PLIST_DATE:
            return {parsedDate(node)};
        case PLIST_STRING: {
            char* text = nullptr;
            plist_get_string_val(node, &text);
            const std::unique_ptr<char, Free> owner(text);
            return {std::string(text != nullptr ? text : "")};
        }
        case PLIST_DATA: {
            char* bytes = nullptr;
            std::uint64_t size = 0;
            plist_get_data_val(node, &bytes, &size);
            const std::unique_ptr<char, Free> owner(bytes);
            return {bytes != nullptr ? Bytes(bytes, bytes + size) : Bytes()};
        }
        case PLIST_ARRAY:
            return {parsedList(node)};
        case PLIST_DICT:
            return {parsedMap(node)};
        default:
            return {};
    }
}

}  // namespace

std::optional<PropertyValue> readPropertyList(std::string_view contents) {
    const std::string_view trimmed =
        contents.substr(std::min(contents.find_first_not_of(" \t\r\n"), contents.size()));
    const auto startsWith = [trimmed](std::string_view mark) {
        return trimmed.substr(0, mark.size()) == mark;
    };
    plist_t root = nullptr;
    if (contents.substr(0, 6) == "bplist") {
        scanBinaryPropertyList(contents);
        plist_from_bin(contents.data(), static_cast<std::uint32_t>(contents.size()), &root);
    } else if (startsWith("<plist") || ((startsWith("<?xml") || startsWith("<!")) &&
                                        contents.find("<plist") != std::string_view::npos)) {
        scanXMLPropertyList(trimmed);
        plist_from_xml(trimmed.data(), static_cast<std::uint32_t>(trimmed.size()), &root);
    } else {
        return std::nullopt;
    }
    const ParsedList parsed(root);
    if (!parsed) throw DumpError("the property list is damaged");
    return parsedValue(parsed.get());
}

const PropertyValue* find(const PropertyValue& dictionary, std::string_view key) {
    const auto* const map = std::get_if<PropertyMap>(&dictionary.value);
    if (map == nullptr) return nullptr;
    const auto found = std::find_if(map->begin(), map->end(),
                                    [key](const auto& entry) { return entry.first == key; });
    return found == map->end() ? nullptr : &found->second;
}

}  // namespace displaycheck
