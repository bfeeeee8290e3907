#pragma once

#include <string>

/// The tables of keys in docs/mac-files.md.
namespace simulated_mac {

/// The document with its tables written anew: what stands between a line such as
/// `<!-- keys of a screen -->` and the next `<!-- end -->`. Throws std::runtime_error when these
/// lines are not in pairs, when one names a structure that no Mac file has, or when a structure has
/// no table.
std::string withKeyTables(const std::string& document);

}  // namespace simulated_mac
