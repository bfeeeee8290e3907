#include "plugin/Extension/NSString+normalization.h"

#include "plugin/Platform/Text.h"

using namespace vorn;

std::string regularMonitorName(const std::string& displayName) {
    const std::string withoutBrand = replaceAll(uppercaseText(displayName), "VORN", "");
    return getRealModelNameWithStr(displayName, trimWhitespace(withoutBrand));
}

std::string getRealModelNameWithStr(const std::string& displayName, const std::string& str) {
    constexpr auto fullWidthBracket = "\xEF\xBC\x88";  // U+FF08

    std::string name = str;
    if (displayName.find(" (") != std::string::npos) name = replaceAll(name, " (", "(");
    const auto bracket = name.find('(');
    if (bracket != std::string::npos && bracket > 0) name.resize(bracket);
    const auto wideBracket = name.find(fullWidthBracket);
    if (wideBracket != std::string::npos) name.resize(wideBracket);
    return name;
}
