#pragma once

#include <string>
#include <vector>

#include "simulated_mac/description/RecordedRegistry.h"
#include "simulated_mac/hardware/CFValue.h"

namespace simulated_mac {

/// The properties of a registry entry, in their order. Those of a recorded entry become values when
/// they are first asked for: a real Mac's registry has tens of thousands, and a run needs few.
class EntryProperties {
  public:
    EntryProperties() = default;
    /// `entry` outlives the properties.
    explicit EntryProperties(const RecordedEntry& entry) : recorded_(&entry) {}
    /// A copy is no recorded entry's any more.
    EntryProperties(const EntryProperties& other) : values_(other.all()) {}
    EntryProperties(EntryProperties&&) = default;
    EntryProperties& operator=(EntryProperties&&) = default;

    /// No value takes the property out.
    void set(const std::string& key, CFPointer value);
    /// nullptr for a property that is not there, or whose recorded text is cut.
    CFPointer get(const std::string& key) const;
    const CFObject::Dictionary& all() const;
    /// Whether all still are as recorded; false for those that are not recorded.
    bool areAsRecorded() const;
    /// The same of one.
    bool isAsRecorded(const std::string& key) const;

  private:
    const RecordedEntry* recorded_ = nullptr;
    std::vector<std::string> changed_;  ///< keys; of a recorded entry
    mutable bool isRead_ = false;       ///< the values are those of the record
    mutable CFObject::Dictionary values_;
};

}  // namespace simulated_mac
