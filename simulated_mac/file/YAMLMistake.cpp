#include "simulated_mac/file/YAMLMistake.h"

#include <algorithm>

namespace simulated_mac {

std::vector<YAMLMistake> inOrder(std::vector<YAMLMistake> mistakes) {
    std::stable_sort(mistakes.begin(), mistakes.end(),
                     [](const auto& a, const auto& b) { return a.offset < b.offset; });
    const auto isSame = [](const YAMLMistake& a, const YAMLMistake& b) {
        return a.offset == b.offset && std::string_view(a.what()) == b.what();
    };
    mistakes.erase(std::unique(mistakes.begin(), mistakes.end(), isSame), mistakes.end());
    return mistakes;
}

TextPosition positionIn(std::string_view text, std::size_t offset) {
    const std::string_view before = text.substr(0, std::min(offset, text.size()));
    const std::size_t lineStart = before.rfind('\n') + 1;  // npos + 1 is 0
    const auto startsCharacter = [](char byte) { return (byte & 0xC0) != 0x80; };
    const std::string_view line = before.substr(lineStart);
    return {1 + static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n')),
            1 + static_cast<std::size_t>(std::count_if(line.begin(), line.end(), startsCharacter))};
}

}  // namespace simulated_mac
