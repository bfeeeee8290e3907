#include "plugin/Extension/NSString+normalization.h"

#include <utility>

#include "plugin/Platform/Text.h"

using namespace vorn;

std::string regularMonitorName(const std::string& displayName) {
    return bareModelName(displayName, uppercaseText(displayName));
}

std::string bareModelName(const std::string& displayName, std::string upperCase) {
    std::string withoutBrand = replaceAll(std::move(upperCase), "VORN", "");
    return getRealModelNameWithStr(displayName, trimWhitespace(std::move(withoutBrand)));
}

std::string getRealModelNameWithStr(const std::string& displayName, std::string name) {
    constexpr auto fullWidthBracket = "\xEF\xBC\x88";  // U+FF08

    if (displayName.find(" (") != std::string::npos) name = replaceAll(std::move(name), " (", "(");
    const auto bracket = name.find('(');
    if (bracket != std::string::npos && bracket > 0) name.resize(bracket);
    const auto wideBracket = name.find(fullWidthBracket);
    if (wideBracket != std::string::npos) name.resize(wideBracket);
    return name;
}
