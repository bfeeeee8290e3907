#include "simulated_mac/machine/CallText.h"

#include <fmt/format.h>

#include "simulated_mac/description/HexText.h"

namespace simulated_mac {

namespace {

struct Writer {
    std::string operator()(std::monostate) const { return {}; }
    std::string operator()(bool flag) const { return flag ? "YES" : "NO"; }
    std::string operator()(std::int64_t number) const { return std::to_string(number); }
    std::string operator()(Hex number) const { return fmt::format("{:#x}", number.value); }
    std::string operator()(Time duration) const { return fmt::format("{} us", duration.count()); }
    std::string operator()(const std::string& text) const { return text; }
    std::string operator()(const Quoted& quoted) const { return '"' + quoted.text + '"'; }
    std::string operator()(const Bytes& bytes) const { return hexText(bytes, " "); }
    std::string operator()(Pointer pointer) const { return pointer.isNull ? "NULL" : "ok"; }
    std::string operator()(const RegistryObject& object) const {
        return object.entryName ? fmt::format("{:#x} ({})", object.handle, *object.entryName)
                                : fmt::format("{:#x}", object.handle);
    }
};

std::string textOf(const NamedValue& named) {
    std::string text(named.label);
    if (named.value == CallValue()) return text;
    if (!text.empty()) text += ' ';
    return text + textOf(named.value);
}

}  // namespace

std::string textOf(const CallValue& value) {
    return std::visit(Writer(), value.value);
}

std::string textOf(const NamedValues& values) {
    std::string text;
    for (const NamedValue& named : values) {
        if (&named != &values.front()) text += named.label == labelIn ? " " : ", ";
        text += textOf(named);
    }
    return text;
}

std::string resultText(const TracedCall& call) {
    std::string text = textOf(call.result);
    if (!call.furtherResults.empty()) text += ", " + textOf(call.furtherResults);
    return text;
}

}  // namespace simulated_mac
