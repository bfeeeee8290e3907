#pragma once

#include <string_view>

namespace displaycheck {

/// The JSON Schema (draft 7) of the JSON report: report.schema.json.
std::string_view reportSchema();

}  // namespace displaycheck
