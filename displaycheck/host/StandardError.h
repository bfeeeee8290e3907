#pragma once

#include <fmt/format.h>

#include <cstdio>
#include <utility>

namespace displaycheck {

/// Prints to standard error. Failures are ignored: there is nowhere to report them.
template <class... Values>
void printError(fmt::format_string<Values...> format, Values&&... values) {
    std::fputs(fmt::format(format, std::forward<Values>(values)...).c_str(), stderr);
}

}  // namespace displaycheck
