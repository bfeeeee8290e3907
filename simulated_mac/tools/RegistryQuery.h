#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "simulated_mac/hardware/Registry.h"

namespace simulated_mac {

/// What a command line of `ioreg` asks for.
struct RegistryQuery {
    bool allProperties = false;  ///< -l: of every entry, not only of those that match
    bool subtrees = false;       ///< -r: the subtrees of matching entries, not the whole tree
    bool tracks = false;         ///< -t: with -r, each after the way to it
    bool propertyList = false;   ///< -a: as an XML property list
    bool hexadecimal = false;    ///< -x
    std::size_t depth = 0;       ///< -d: levels below and including a root; 0: all
    std::size_t width = 0;       ///< -w: columns of a line; 0: any number
    std::string className = {};  ///< -c; empty: any
    std::string name = {};       ///< -n: a name, or "name@location"; empty: any
    std::string key = {};        ///< -k: a property; empty: any

    /// False for every entry if neither a class nor a name nor a property is asked for.
    bool matches(const RegistryEntry& entry) const;
    bool showsProperties(const RegistryEntry& entry) const;
    /// The entries whose subtrees are printed, in the registry's order: the root of the registry
    /// or, with -r, the matching entries; none of these is inside another's subtree.
    std::vector<std::shared_ptr<RegistryEntry>> roots(
        const std::shared_ptr<RegistryEntry>& root) const;
    /// The children to print of an entry on this level; a root's level is 1.
    const std::vector<std::shared_ptr<RegistryEntry>>& childrenOf(const RegistryEntry& entry,
                                                                  std::size_t level) const;
};

/// Nothing for arguments that the tool doesn't have, or that are not supported here.
std::optional<RegistryQuery> readRegistryQuery(const std::vector<std::string>& arguments);

}  // namespace simulated_mac
