#include "simulated_mac/hardware/EntryProperties.h"

#include <algorithm>

#include "simulated_mac/description/RecordedValue.h"

namespace simulated_mac {

namespace {

auto find(CFObject::Dictionary& values, const std::string& key) {
    return std::find_if(values.begin(), values.end(),
                        [&](const auto& property) { return property.first == key; });
}

}  // namespace

EntryProperties::EntryProperties(const RecordedEntry& entry)
    : recorded_(std::make_shared<Recorded>(entry)) {}

const CFObject::Dictionary& EntryProperties::all() const {
    if (recorded_ == nullptr) return values_;
    std::call_once(recorded_->read, [this] {
        for (const RecordedProperty& property : recorded_->entry.properties()) {
            if (const auto value = parseRecordedValue(property.text)) {
                values_.emplace_back(property.key, makeCF(*value));
            }
        }
    });
    return values_;
}

CFPointer EntryProperties::get(const std::string& key) const {
    all();
    const auto known = find(values_, key);
    return known != values_.end() ? known->second : nullptr;
}

void EntryProperties::set(const std::string& key, CFPointer value) {
    all();
    if (recorded_ != nullptr) recorded_->changed.push_back(key);
    const auto known = find(values_, key);
    if (known == values_.end()) {
        if (value != nullptr) values_.emplace_back(key, std::move(value));
    } else if (value != nullptr) {
        known->second = std::move(value);
    } else {
        values_.erase(known);
    }
}

bool EntryProperties::areAsRecorded() const {
    return recorded_ != nullptr && recorded_->changed.empty();
}

bool EntryProperties::isAsRecorded(const std::string& key) const {
    if (recorded_ == nullptr) return false;
    const auto& changed = recorded_->changed;
    return std::find(changed.begin(), changed.end(), key) == changed.end();
}

}  // namespace simulated_mac
