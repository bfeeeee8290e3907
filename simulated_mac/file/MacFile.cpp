#include "simulated_mac/file/MacFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "simulated_mac/description/ReadFile.h"
#include "simulated_mac/file/MacFileFormat.h"
#include "simulated_mac/file/YAMLReader.h"

namespace simulated_mac {
namespace {

/// A line for each mistake, and one more if there are too many to show.
std::string linesOf(const std::vector<YAMLMistake>& mistakes, const std::filesystem::path& path,
                    std::string_view text) {
    const std::size_t shown = std::min(mistakes.size(), MacFileError::mostLines);
    std::string lines;
    for (std::size_t at = 0; at < shown; ++at) {
        const TextPosition position = positionIn(text, mistakes[at].offset);
        lines += fmt::format("{}{}:{}:{}: {}", at > 0 ? "\n" : "", path.string(), position.line,
                             position.column, mistakes[at].what());
    }
    if (shown == mistakes.size()) return lines;
    const std::size_t more = mistakes.size() - shown;
    return lines + fmt::format("\n{}: and {} more {}", path.string(), more,
                               more == 1 ? "mistake" : "mistakes");
}

/// Throws a MacFileError with all mistakes of the text.
MacDescription readText(std::string_view text, const std::filesystem::path& path) {
    try {
        const YAMLDocument document(text);
        YAMLReader reader(document, path.parent_path());
        MacDescription mac = readMac(reader, document.root());
        const auto mistakes = reader.mistakes();
        if (!mistakes.empty()) throw MacFileError(linesOf(mistakes, path, text));
        return mac;
    } catch (const YAMLMistake& mistake) {
        throw MacFileError(linesOf({mistake}, path, text));
    }
}

}  // namespace

MacDescription readMacFile(const std::filesystem::path& path) {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    try {
        const std::string contents = readFile(path, YAMLLimits::bytes);
        std::string_view text = contents;
        if (text.starts_with(byteOrderMark)) text.remove_prefix(byteOrderMark.size());
        return readText(text, path);
    } catch (const UnreadableFile& error) {
        throw MacFileError(linesOf(
            {YAMLMistake(0, fmt::format("{}; expected a Mac file", error.what()))}, path, ""));
    }
}

}  // namespace simulated_mac
