#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

namespace simulated_mac {

/// Quotes and brackets of a YAML text up to some byte, valid or not. What is inside quotes,
/// comments and block scalars is passed over.
struct YAMLScan {
    struct Quoted {
        std::size_t opening;
        std::size_t closing;
    };

    YAMLScan(std::string_view text, std::size_t end);

    std::vector<std::size_t> openBrackets;  ///< the innermost one last
    std::optional<std::size_t> openQuote;
    std::optional<Quoted> lastQuoted;
    /// The first tab in the indentation of a line that no bracket goes on to.
    std::optional<std::size_t> tab;
    /// The first invisible character where a key or a value begins.
    std::optional<std::size_t> invisible;
};

}  // namespace simulated_mac
