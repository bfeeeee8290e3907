#pragma once

#include <string>
#include <vector>

#include "tests/support/RequiredWaits.h"

namespace test {

/// The Mac files in examples/, without ".yaml", in order.
std::vector<std::string> namesOfExamples();

/// A Mac's row in the table of waits in docs/performance.md.
std::string waitsRow(const std::string& name, const RequiredWaits& required);

}  // namespace test
