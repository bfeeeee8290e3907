#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace displaycheck {

/// `displaycheck sweep`: runs the Mac of a file under each of the answers that its monitors can
/// give, on both kinds of chip, and prints a table of what the pane shows. Returns the exit status.
int sweepMacFile(const std::string& file, const std::optional<std::size_t>& jobs);

}  // namespace displaycheck
