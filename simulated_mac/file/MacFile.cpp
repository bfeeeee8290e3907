#include "simulated_mac/file/MacFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "simulated_mac/description/ReadFile.h"
#include "simulated_mac/file/MacFileFormat.h"
#include "simulated_mac/file/YAMLReader.h"

namespace simulated_mac {
namespace {

/// A line for each mistake or warning, and one more if there are too many to show.
std::string linesOf(const std::vector<YAMLMistake>& mistakes, const std::string& name,
                    std::string_view text, std::string_view kind) {
    const std::string_view before = kind == "warning" ? "warning: " : "";
    std::string lines;
    const std::size_t shown = std::min(mistakes.size(), MacFileError::mostLines);
    for (std::size_t at = 0; at < shown; ++at) {
        const TextPosition position = positionIn(text, mistakes[at].offset);
        lines += fmt::format("{}{}:{}:{}: {}{}", at > 0 ? "\n" : "", name, position.line,
                             position.column, before, mistakes[at].what());
    }
    if (shown == mistakes.size()) return lines;
    const std::size_t more = mistakes.size() - shown;
    return lines + fmt::format("\n{}: and {} more {}{}", name, more, kind, more == 1 ? "" : "s");
}

MacFileError errorOf(const std::vector<YAMLMistake>& mistakes, const std::string& name,
                     std::string_view text) {
    return MacFileError(linesOf(mistakes, name, text, "mistake"));
}

std::string_view withoutByteOrderMark(std::string_view text) {
    constexpr std::string_view mark = "\xEF\xBB\xBF";
    return text.starts_with(mark) ? text.substr(mark.size()) : text;
}

}  // namespace

CheckedMac readMacText(const MacFileText& file, const MakesCall& makesCall) {
    const std::string_view text = withoutByteOrderMark(file.contents);
    try {
        const YAMLDocument document(text);
        YAMLReader reader(document, file.folder);
        MacDescription mac = readMac(reader, document.root());
        const auto mistakes = reader.mistakes();
        if (!mistakes.empty()) throw errorOf(mistakes, file.name, text);
        const auto warnings = warningsOf(document.root(), mac, makesCall);
        return {std::move(mac), linesOf(warnings, file.name, text, "warning")};
    } catch (const YAMLMistake& mistake) {
        throw errorOf({mistake}, file.name, text);
    }
}

MacDescription readMacFile(const std::filesystem::path& path) {
    try {
        const MacFileText text = {path.string(), readFile(path, YAMLLimits::bytes),
                                  path.parent_path()};
        return readMacText(text, [](const auto&, auto) { return true; }).description;
    } catch (const UnreadableFile& error) {
        throw unreadableMacFile(path.string(), error.what());
    }
}

MacFileError unreadableMacFile(const std::string& name, const std::string& why) {
    return errorOf({YAMLMistake(0, why + "; expected a Mac file")}, name, "");
}

}  // namespace simulated_mac
