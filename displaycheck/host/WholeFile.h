#pragma once

#include <filesystem>
#include <string_view>

namespace displaycheck {

/// Writes a file so that either all of it is there or what was there before. Throws
/// std::system_error.
void writeWholeFile(const std::filesystem::path& path, std::string_view contents);

}  // namespace displaycheck
