#include "simulated_mac/hardware/CFValue.h"

#include <unicode/unistr.h>

namespace simulated_mac {

namespace {

CFObject::Array makeArray(const PropertyList& list) {
    CFObject::Array array;
    for (const PropertyValue& element : list) {
        if (auto object = makeCF(element)) array.push_back(std::move(object));
    }
    return array;
}

CFObject::Dictionary makeDictionary(const PropertyMap& map) {
    CFObject::Dictionary dictionary;
    for (const auto& [key, value] : map) {
        if (auto object = makeCF(value)) dictionary.emplace_back(key, std::move(object));
    }
    return dictionary;
}

struct PropertyValueMaker {
    PropertyValue operator()(const CFObject::String& value) const { return {utf8Of(value)}; }
    PropertyValue operator()(const CFObject::Array& value) const {
        PropertyList list;
        list.reserve(value.size());
        for (const CFPointer& element : value) list.push_back(propertyValueOf(*element));
        return {std::move(list)};
    }
    PropertyValue operator()(const CFObject::Dictionary& value) const {
        return {propertyMapOf(value)};
    }
    PropertyValue operator()(const CFObject::Opaque& value) const { return {value.type}; }
    template <class Plain>
    PropertyValue operator()(const Plain& value) const {
        return {value};
    }
};

}  // namespace

CFPointer makeCF(CFObject::Value value) {
    return std::make_shared<CFObject>(std::move(value));
}

CFPointer makeCFText(std::string_view utf8) {
    const auto string = icu::UnicodeString::fromUTF8({utf8.data(), static_cast<int>(utf8.size())});
    return makeCF(CFObject::String(string.getBuffer(), static_cast<std::size_t>(string.length())));
}

CFPointer makeCF(const PropertyValue& property) {
    const auto& value = property.value;
    if (const auto* const boolean = std::get_if<bool>(&value)) return makeCF(*boolean);
    if (const auto* const number = std::get_if<std::int64_t>(&value)) return makeCF(*number);
    if (const auto* const real = std::get_if<double>(&value)) return makeCF(*real);
    if (const auto* const text = std::get_if<std::string>(&value)) return makeCFText(*text);
    if (const auto* const bytes = std::get_if<Bytes>(&value)) return makeCF(*bytes);
    if (const auto* const list = std::get_if<PropertyList>(&value)) return makeCF(makeArray(*list));
    if (const auto* const map = std::get_if<PropertyMap>(&value)) {
        return makeCF(makeDictionary(*map));
    }
    return nullptr;
}

PropertyValue propertyValueOf(const CFObject& object) {
    return std::visit(PropertyValueMaker(), object.value);
}

PropertyMap propertyMapOf(const CFObject::Dictionary& dictionary) {
    PropertyMap map;
    map.reserve(dictionary.size());
    for (const auto& [key, element] : dictionary) map.emplace_back(key, propertyValueOf(*element));
    return map;
}

bool isNumber(const CFObject& object) {
    return std::holds_alternative<std::int64_t>(object.value) ||
           std::holds_alternative<double>(object.value);
}

std::string utf8Of(const CFObject::String& string) {
    std::string text;
    icu::UnicodeString(false, string.data(), static_cast<int>(string.size())).toUTF8String(text);
    return text;
}

}  // namespace simulated_mac
