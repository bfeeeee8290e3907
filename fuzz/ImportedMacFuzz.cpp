#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "displaycheck/dumps/DumpError.h"
#include "displaycheck/dumps/ImportedMac.h"
#include "simulated_mac/machine/Mac.h"

// Any text in place of a recorded registry: the written one has all its entries, with another
// monitor and without, and a Mac can be made of it.

using namespace simulated_mac;

namespace {

std::shared_ptr<const RecordedRegistry> imported(const std::string& text, bool withMonitor) {
    displaycheck::MacRecord record;
    record.registry = std::make_unique<RecordedRegistry>(text);
    displaycheck::ImportChoices choices;
    if (withMonitor) choices.withMonitor = "VORN K2725QX";
    const auto mac = displaycheck::importMac(record, choices, "registry.txt");
    auto written = std::make_shared<const RecordedRegistry>(mac.registry);
    if (written->entries().size() != record.registry->entries().size()) std::abort();
    return written;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    return std::freopen("/dev/null", "w", stdout) != nullptr ? 0 : 1;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    try {
        imported(text, true);
        MacDescription description;
        description.registry = imported(text, false);
        const Mac intel(description);
    } catch (const RecordedRegistryError&) {
        // A message is what no registry should get.
    } catch (const displaycheck::DumpError&) {
    }
    return 0;
}
