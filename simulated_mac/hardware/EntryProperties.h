#pragma once

#include <memory>
#include <mutex>
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
    explicit EntryProperties(const RecordedEntry& entry);
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
    struct Recorded {
        explicit Recorded(const RecordedEntry& what) : entry(what) {}

        const RecordedEntry& entry;
        std::once_flag read;
        std::vector<std::string> changed;  ///< keys
    };

    // The first question can come from any thread.
    std::shared_ptr<Recorded> recorded_;
    mutable CFObject::Dictionary values_;
};

}  // namespace simulated_mac
