#include "simulated_mac/platform/CFDescription.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "simulated_mac/description/HexText.h"
#include "simulated_mac/platform/CFReferences.h"

namespace simulated_mac {

namespace {

constexpr std::size_t indentStep = 4;

/// Texts of letters, digits and few signs stand as they are; others in quotes, with what is beyond
/// ASCII escaped.
std::string quotedWhereNeeded(const CFObject::String& text) {
    const auto isPlain = [](char16_t unit) {
        return (unit >= u'0' && unit <= u'9') || (unit >= u'A' && unit <= u'Z') ||
               (unit >= u'a' && unit <= u'z') ||
               std::u16string_view(u"_$/:.").find(unit) != std::u16string_view::npos;
    };
    std::string written;
    for (const char16_t unit : text) {
        if (unit == u'"' || unit == u'\\') {
            written += fmt::format("\\{}", static_cast<char>(unit));
        } else if (unit == u'\n') {
            written += "\\n";
        } else if (unit < 0x80) {
            written += static_cast<char>(unit);
        } else {
            written += fmt::format("\\U{:04x}", static_cast<unsigned>(unit));
        }
    }
    const bool plain = !text.empty() && std::all_of(text.begin(), text.end(), isPlain);
    return plain ? written : "\"" + written + "\"";
}

std::string described(const CFObject& object, std::size_t indent);

struct Describer {
    std::size_t indent;

    std::string operator()(bool value) const { return value ? "1" : "0"; }
    std::string operator()(std::int64_t value) const {
        return value < 0 ? fmt::format("\"{}\"", value) : std::to_string(value);
    }
    std::string operator()(double value) const { return fmt::format("\"{}\"", value); }
    std::string operator()(const CFObject::String& value) const { return quotedWhereNeeded(value); }
    std::string operator()(const Bytes& value) const {
        return fmt::format("{{length = {}, bytes = 0x{}}}", value.size(), lowerHexText(value));
    }
    std::string operator()(const CFObject::Array& value) const {
        std::string text = lead() + "(\n";
        for (std::size_t at = 0; at < value.size(); ++at) {
            text += fmt::format("{:{}}{}{}\n", "", indent + indentStep,
                                described(*value[at], indent + indentStep),
                                at + 1 < value.size() ? "," : "");
        }
        return text + fmt::format("{:{}})", "", indent);
    }
    std::string operator()(const CFObject::Dictionary& value) const {
        auto sorted = value;
        std::sort(sorted.begin(), sorted.end(),
                  [](const auto& a, const auto& b) { return a.first < b.first; });
        std::string text = lead() + "{\n";
        for (const auto& [key, element] : sorted) {
            const auto name = makeCFText(key);
            text += fmt::format("{:{}}{} = {};\n", "", indent + indentStep,
                                quotedWhereNeeded(std::get<CFObject::String>(name->value)),
                                described(*element, indent + indentStep));
        }
        return text + fmt::format("{:{}}}}", "", indent);
    }
    std::string operator()(const CFObject::Opaque& value) const {
        return fmt::format("<{} {:#x}>", value.type, value.id);
    }

    /// A container inside another one stands behind blanks as wide as its level.
    std::string lead() const { return std::string(indent, ' '); }
};

std::string described(const CFObject& object, std::size_t indent) {
    return std::visit(Describer{indent}, object.value);
}

}  // namespace

std::string descriptionOf(CFTypeRef object) {
    return object != nullptr ? described(*objectOf(object), 0) : "(null)";
}

}  // namespace simulated_mac
