#include "simulated_mac/hardware/EntryProperties.h"

#include <algorithm>
#include <mutex>

#include "simulated_mac/description/RecordedValue.h"

namespace simulated_mac {

namespace {

auto find(CFObject::Dictionary& values, const std::string& key) {
    return std::find_if(values.begin(), values.end(),
                        [&](const auto& property) { return property.first == key; });
}

}  // namespace

const CFObject::Dictionary& EntryProperties::all() const {
    if (recorded_ == nullptr) return values_;
    // The first question can come from any thread. One lock does for the entries of all Macs, of
    // which there are too many for one each.
    static std::mutex reading;
    const std::lock_guard lock(reading);
    if (isRead_) return values_;
    for (const RecordedProperty& property : recorded_->properties()) {
        if (const auto value = parseRecordedValue(property.text)) {
            values_.emplace_back(property.key, makeCF(*value));
        }
    }
    isRead_ = true;
    return values_;
}

CFPointer EntryProperties::get(const std::string& key) const {
    // Most entries don't have it, which the recorded text shows sooner than values made of it.
    if (areAsRecorded() && !recorded_->mentions(key)) return nullptr;
    all();
    const auto known = find(values_, key);
    return known != values_.end() ? known->second : nullptr;
}

void EntryProperties::set(const std::string& key, CFPointer value) {
    all();
    if (recorded_ != nullptr) changed_.push_back(key);
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
    return recorded_ != nullptr && changed_.empty();
}

bool EntryProperties::isAsRecorded(const std::string& key) const {
    return recorded_ != nullptr &&
           std::find(changed_.begin(), changed_.end(), key) == changed_.end();
}

}  // namespace simulated_mac
