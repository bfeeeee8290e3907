#include "displaycheck/commands/DumpFiles.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include "displaycheck/dumps/DumpFile.h"
#include "displaycheck/dumps/EDIDText.h"
#include "displaycheck/dumps/PropertyListRegistry.h"
#include "displaycheck/dumps/SystemProfile.h"

namespace displaycheck {

namespace {

using simulated_mac::RecordedRegistry;

/// A name for the Mac: the dump's without what says how it was made.
std::string titleOf(const std::string& file) {
    if (file == "-") return "imported";
    std::string title = std::filesystem::path(file).filename().string();
    for (const char* const ending : {".gz", ".txt", ".plist", ".xml", ".tar", ".tgz", ".ioreg"}) {
        const std::string_view end = ending;
        if (title.size() > end.size() && title.substr(title.size() - end.size()) == end) {
            title.erase(title.size() - end.size());
        }
    }
    return title;
}

bool looksLikeRegistry(std::string_view text) {
    return text.find("+-o ") != std::string_view::npos;
}

/// How much it tells: displays with an ID, then displays at all.
auto wealthOf(const SystemProfile& profile) {
    const auto withID =
        std::count_if(profile.displays.begin(), profile.displays.end(),
                      [](const auto& display) { return display.displayID.has_value(); });
    return std::pair(static_cast<std::size_t>(withID), profile.displays.size());
}

class Reader {
  public:
    void read(const std::string& path) {
        for (DumpFile& file : filesOf(path)) {
            const bool isProfile = readProfile(file);
            const bool isRegistry = readRegistry(path, file);
            // The EDIDs of a registry are its displays' own.
            const bool hasEDIDs = !isRegistry && readEDIDs(path, file);
            if (isRegistry || isProfile || hasEDIDs) continue;
            // An archive holds other things too.
            if (file.name != path && path != "-") {
                passOver(file.name);
                continue;
            }
            throw DumpError(fmt::format(
                "{}: is not a dump of a Mac; expected the output of ioreg, system_profiler or "
                "afktool, or an EDID",
                file.name));
        }
    }

    MacRecord result() { return std::move(record_); }

  private:
    static std::vector<DumpFile> filesOf(const std::string& path) {
        try {
            return readDumpFiles(path);
        } catch (const DumpError& error) {
            throw DumpError(
                fmt::format("{}: {}", path == "-" ? "standard input" : path, error.what()));
        }
    }

    /// Takes the contents of a file that is one.
    bool readRegistry(const std::string& path, DumpFile& file) {
        std::optional<std::string> text;
        try {
            text = registryTextOf(file.contents);
            if (!text && looksLikeRegistry(file.contents)) text = std::move(file.contents);
            if (!text) return false;
            auto registry = std::make_unique<RecordedRegistry>(std::move(*text));
            // Of several the one that tells most counts: an archive can hold parts beside the
            // whole.
            if (record_.registry != nullptr &&
                record_.registry->text().size() >= registry->text().size()) {
                return true;
            }
            record_.registry = std::move(registry);
        } catch (const std::runtime_error& error) {
            throw DumpError(fmt::format("{}: {}", file.name, error.what()));
        }
        record_.registryPlace = file.name;
        record_.title = titleOf(path);
        return true;
    }

    void passOver(const std::string& name) {
        constexpr std::size_t mostNames = 10;
        if (record_.passedOver.size() < mostNames) {
            record_.passedOver.push_back(name);
        } else {
            record_.passedOver.back() = "and others";
        }
    }

    bool readProfile(const DumpFile& file) {
        const auto profile = readSystemProfile(file.contents);
        if (!profile) return false;
        // The text for people is in archives beside the property list, and tells less.
        if (record_.profile && wealthOf(*record_.profile) >= wealthOf(*profile)) {
            passOver(file.name);
            return true;
        }
        if (record_.profile) passOver(record_.profilePlace);
        record_.profile = *profile;
        record_.profilePlace = file.name;
        return true;
    }

    bool readEDIDs(const std::string& path, const DumpFile& file) {
        const auto found = findEDIDs(file.contents);
        for (const FoundEDID& edid : found) {
            record_.EDIDs.push_back({edid.bytes, edid.line == 0
                                                     ? file.name
                                                     : fmt::format("{}:{}", file.name, edid.line)});
        }
        if (!found.empty() && record_.title.empty()) record_.title = titleOf(path);
        return !found.empty();
    }

    MacRecord record_;
};

}  // namespace

MacRecord readMacRecord(const std::vector<std::string>& files) {
    Reader reader;
    for (const std::string& file : files) reader.read(file);
    return reader.result();
}

}  // namespace displaycheck
