#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "simulated_mac/description/RecordedRegistry.h"
#include "simulated_mac/description/RecordedValue.h"

// Any text in place of what `ioreg` prints: every entry is found by its path, and every value that
// can be read is printed so that it reads the same again.

using namespace simulated_mac;

namespace {

void require(bool holds) {
    if (!holds) std::abort();
}

void checkValue(std::string_view text) {
    const auto value = parseRecordedValue(text);
    if (!value) return;
    const std::string printed = printRecordedValue(*value);
    const auto again = parseRecordedValue(printed);
    require(again && printRecordedValue(*again) == printed);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    checkValue(text);
    try {
        const RecordedRegistry registry(text);
        for (std::size_t index = 0; index < registry.entries().size(); ++index) {
            const RecordedEntry& entry = registry.entries()[index];
            require(entry.parent == RecordedEntry::none || entry.parent < index);
            for (const RecordedProperty& property : entry.properties()) checkValue(property.text);
            const auto found = registry.find(registry.pathOf(index));
            require(std::find(found.begin(), found.end(), index) != found.end());
        }
    } catch (const RecordedRegistryError&) {
        // A message is what no registry should get.
    }
    return 0;
}
