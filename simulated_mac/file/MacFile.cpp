#include "simulated_mac/file/MacFile.h"

#include <fmt/format.h>

#include "simulated_mac/description/ReadFile.h"
#include "simulated_mac/file/MacFileFormat.h"
#include "simulated_mac/file/YAMLReader.h"

namespace simulated_mac {
namespace {

MacFileError errorAt(const std::filesystem::path& path, TextPosition position,
                     const std::string& message) {
    return MacFileError(
        fmt::format("{}:{}:{}: {}", path.string(), position.line, position.column, message));
}

}  // namespace

MacDescription readMacFile(const std::filesystem::path& path) {
    try {
        const YAMLDocument document(readFile(path, YAMLLimits::bytes));
        YAMLReader reader(document, path.parent_path());
        return readMac(reader, document.root());
    } catch (const UnreadableFile& error) {
        throw errorAt(path, {}, fmt::format("{}; expected a Mac file", error.what()));
    } catch (const YAMLMistake& mistake) {
        throw errorAt(path, mistake.position, mistake.what());
    }
}

}  // namespace simulated_mac
