#include "simulated_mac/tools/PropertyListText.h"

#include <plist/plist.h>

#include <cstdlib>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>

#include "simulated_mac/description/HexText.h"

namespace simulated_mac {

namespace {

/// Makes nodes of a property list; each belongs to the caller.
struct PropertyListMaker {
    plist_t operator()(const CFObject& object) const { return std::visit(*this, object.value); }

    plist_t operator()(bool value) const { return plist_new_bool(value ? 1 : 0); }
    plist_t operator()(std::int64_t value) const {
        return plist_new_uint(static_cast<std::uint64_t>(value));
    }
    plist_t operator()(double value) const { return plist_new_real(value); }
    plist_t operator()(const CFObject::String& value) const {
        return plist_new_string(withoutControls(utf8Of(value)).c_str());
    }
    plist_t operator()(const Bytes& value) const {
        return plist_new_data(reinterpret_cast<const char*>(value.data()), value.size());
    }
    plist_t operator()(const CFObject::Array& value) const {
        const plist_t array = plist_new_array();
        for (const CFPointer& element : value) plist_array_append_item(array, (*this)(*element));
        return array;
    }
    plist_t operator()(const CFObject::Dictionary& value) const {
        std::map<std::string, CFPointer> sorted;
        for (const auto& [key, element] : value) sorted[withoutControls(key)] = element;
        const plist_t dictionary = plist_new_dict();
        for (const auto& [key, element] : sorted) {
            plist_dict_set_item(dictionary, key.c_str(), (*this)(*element));
        }
        return dictionary;
    }
    plist_t operator()(const CFObject::Opaque& value) const {
        return plist_new_string(value.type.c_str());
    }
};

struct JSONMaker {
    using JSON = nlohmann::ordered_json;

    JSON operator()(const CFObject& object) const { return std::visit(*this, object.value); }

    JSON operator()(bool value) const { return value; }
    JSON operator()(std::int64_t value) const { return static_cast<std::uint64_t>(value); }
    JSON operator()(double value) const { return value; }
    JSON operator()(const CFObject::String& value) const { return utf8Of(value); }
    JSON operator()(const Bytes& value) const { return lowerHexText(value); }
    JSON operator()(const CFObject::Array& value) const {
        JSON array = JSON::array();
        for (const CFPointer& element : value) array.push_back((*this)(*element));
        return array;
    }
    JSON operator()(const CFObject::Dictionary& value) const {
        JSON dictionary = JSON::object();
        for (const auto& [key, element] : value) dictionary[key] = (*this)(*element);
        return dictionary;
    }
    JSON operator()(const CFObject::Opaque& value) const { return value.type; }
};

}  // namespace

std::string xmlPropertyList(const CFObject& object) {
    const std::unique_ptr<void, decltype(&plist_free)> list(PropertyListMaker()(object),
                                                            &plist_free);
    char* text = nullptr;
    std::uint32_t size = 0;
    plist_to_xml(list.get(), &text, &size);
    const std::unique_ptr<char, decltype(&std::free)> owned(text, &std::free);
    return text != nullptr ? std::string(text, size) : "";
}

std::string jsonOf(const CFObject& object) {
    using JSON = nlohmann::ordered_json;
    return JSONMaker()(object).dump(2, ' ', false, JSON::error_handler_t::replace) + "\n";
}

std::string withoutControls(std::string text) {
    std::erase_if(text, [](unsigned char c) { return c < ' ' || c == 0x7F; });
    return text;
}

}  // namespace simulated_mac
