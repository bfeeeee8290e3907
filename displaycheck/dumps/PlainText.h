#pragma once

#include <string>
#include <string_view>

namespace displaycheck {

/// A file's text as UTF-8 without a byte order mark. Text without a mark, or with that of UTF-8,
/// stays as it is; UTF-16 is known by its mark, and what is invalid in it reads as U+FFFD.
std::string plainText(std::string_view contents);

}  // namespace displaycheck
