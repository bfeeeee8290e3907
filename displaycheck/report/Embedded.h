#pragma once

#include <string_view>

/// Files of this folder that are part of the program.
namespace displaycheck {

/// report.schema.json: the JSON Schema (draft 7) of the JSON report.
std::string_view reportSchema();
/// report.css: how the HTML report looks.
std::string_view reportStyle();

}  // namespace displaycheck
