#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace displaycheck {

/// The I/O registry that `ioreg -l -a` or `ioreg -r -l -a` printed, as the text that the same
/// command prints without -a and with -w0. Dates and numbers with a fraction, which no registry
/// holds, are texts. Nothing for contents that are no such
/// property list. Throws DumpError for one that is damaged or too large.
std::optional<std::string> registryTextOf(std::string_view contents);

}  // namespace displaycheck
