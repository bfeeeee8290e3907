#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "displaycheck/dumps/PropertyListRegistry.h"
#include "plugin/Utilities/RunCommand.h"
#include "simulated_mac/description/EDID.h"
#include "simulated_mac/description/RecordedRegistry.h"
#include "simulated_mac/description/RecordedValue.h"
#include "simulated_mac/machine/Mac.h"

// A simulated Mac's registry as its own tool prints it, as property list and as text.

namespace displaycheck {
namespace registry_round_trip_test {

using namespace simulated_mac;

std::string shell(const std::string& commandLine) {
    return RunCommand().runCommand(commandLine).value_or("no UTF-8");
}

/// With the keys of dictionaries in order: a property list has its own.
PropertyValue sorted(PropertyValue value) {
    if (auto* const list = std::get_if<PropertyList>(&value.value)) {
        for (PropertyValue& element : *list) element = sorted(std::move(element));
    }
    if (auto* const map = std::get_if<PropertyMap>(&value.value)) {
        for (auto& [key, element] : *map) element = sorted(std::move(element));
        std::sort(map->begin(), map->end(),
                  [](const auto& a, const auto& b) { return a.first < b.first; });
    }
    return value;
}

/// All that the record says of an entry. How long a service was busy is left out: the one form
/// leaves out a time that the other gives as nothing.
std::vector<std::string> factsOf(const RecordedEntry& entry) {
    std::vector<std::string> facts;
    for (const RecordedProperty& property : entry.properties()) {
        const auto value = parseRecordedValue(property.text);
        EXPECT_TRUE(value) << property.key;
        if (!value) continue;
        facts.push_back(std::string(property.key) + " = " + printRecordedValue(sorted(*value)));
    }
    std::sort(facts.begin(), facts.end());
    facts.push_back("name " + std::string(entry.name));
    facts.push_back("location " + std::string(entry.location));
    facts.push_back("class " + std::string(entry.className));
    facts.push_back("ID " + std::to_string(entry.id.value_or(0)));
    facts.push_back("state " + std::string(entry.state.substr(0, entry.state.find(", busy"))));
    facts.push_back("parent " + std::to_string(entry.parent));
    return facts;
}

/// Compares what the tool prints with these options in its two forms. Returns the number of
/// entries.
std::size_t expectTheSame(const std::string& options) {
    const RecordedRegistry text(shell("ioreg -w0 " + options));
    const auto converted = registryTextOf(shell("ioreg -a " + options));
    EXPECT_TRUE(converted);
    if (!converted) return 0;
    const RecordedRegistry list(*converted);
    EXPECT_EQ(list.entries().size(), text.entries().size());
    for (std::size_t i = 0; i < std::min(list.entries().size(), text.entries().size()); ++i) {
        EXPECT_EQ(factsOf(list.entries()[i]), factsOf(text.entries()[i]));
    }
    return text.entries().size();
}

TEST(RegistryAsPropertyList, SaysWhatItSaysAsText) {
    MacDescription description;
    ScreenDescription monitor;
    EDIDFields fields;
    fields.name = "VORN P27";
    monitor.monitor.edid = makeEDID(fields);
    description.screens = {monitor, monitor};
    const Mac mac(description);
    EXPECT_GT(expectTheSame("-l"), 5u);
    EXPECT_EQ(expectTheSame("-r -l -c IODisplayConnect"), expectTheSame("-r -c IODisplayConnect"));
}

TEST(RegistryAsPropertyList, KeepsEachKindOfValue) {
    Mac mac{MacDescription()};
    RegistryEntry hub;
    hub.name = "hub";
    hub.location = "1F,2";
    hub.classes = {"VornHub", "IOService"};
    const auto entry = mac.registry.add(mac.registry.root(), hub);
    const auto set = [&](const char* key, CFPointer value) {
        mac.registry.setProperty(entry, key, std::move(value));
    };
    set("Number", makeCF(std::int64_t{42}));
    set("Negative", makeCF(std::int64_t{-1}));
    set("Yes", makeCF(true));
    set("No", makeCF(false));
    set("Text", makeCFText("a <\"b\"> & \u00E9"));
    set("NoText", makeCFText(""));
    set("OneText", makeCF(Bytes{'V', 'o', 'r', 'n', 0}));
    set("Texts", makeCF(Bytes{'V', 'o', 'r', 'n', 0, 'h', 'u', 'b'}));
    set("Data", makeCF(Bytes{0x00, 0xFF, 0x10}));
    set("NoData", makeCF(Bytes{}));
    const auto one = makeCF(std::int64_t{1});
    set("List", makeCF(CFObject::Array{one, makeCFText("b"), makeCF(CFObject::Array{})}));
    set("Dictionary",
        makeCF(CFObject::Dictionary{{"z", makeCF(CFObject::Dictionary{{"x", makeCF(Bytes{'V'})}})},
                                    {"a", makeCF(CFObject::Dictionary{})}}));
    EXPECT_GT(expectTheSame("-l"), 1u);
    EXPECT_EQ(expectTheSame("-r -l -n hub"), 1u);
}

}  // namespace registry_round_trip_test
}  // namespace displaycheck
