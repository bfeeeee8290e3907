#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

#include "displaycheck/dumps/RecordedDisplays.h"
#include "simulated_mac/description/RecordedRegistry.h"

namespace displaycheck {

/// Changes to the text of a recorded registry.
class RegistryEdits {
  public:
    /// `registry` outlives the edits.
    explicit RegistryEdits(const simulated_mac::RecordedRegistry& registry) : registry_(registry) {}

    /// Gives a display another EDID, and the properties of its entry what follows from it.
    void putMonitor(const RecordedDisplay& display, const simulated_mac::Bytes& edid);
    /// The lines of the tree with all changes; those before, between and after it are dropped.
    std::string apply() const;

  private:
    struct Edit {
        std::size_t length;
        std::string text;
    };

    void set(std::size_t entry, std::string_view key, const std::string& text);
    void putOnIntel(std::size_t node, const simulated_mac::Bytes& edid);
    void putOnAppleSilicon(std::size_t framebuffer, const simulated_mac::Bytes& edid);
    std::size_t offsetOf(std::string_view part) const;

    const simulated_mac::RecordedRegistry& registry_;
    std::map<std::size_t, Edit> edits_;  ///< by offset in the text
};

}  // namespace displaycheck
