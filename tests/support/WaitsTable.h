#pragma once

#include <optional>
#include <string>
#include <vector>

#include "simulated_mac/description/Assumption.h"
#include "tests/support/RequiredWaits.h"

namespace test {

/// The Mac files in examples/, without ".yaml", in order.
std::vector<std::string> namesOfExamples();

/// "intel-recent-unknown, silent": a run on an example as the table names it.
std::string nameOfRun(const std::string& example,
                      const std::optional<simulated_mac::Assumption>& assumed);

/// A Mac's row in the table of waits in docs/performance.md.
std::string waitsRow(const std::string& name, const RequiredWaits& required);

}  // namespace test
