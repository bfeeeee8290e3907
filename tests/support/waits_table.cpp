// Prints the rows of the table of waits in docs/performance.md, for scripts/update-reports.

#include <cstdio>
#include <exception>
#include <string>

#include "displaycheck/host/AssumedMac.h"
#include "simulated_mac/file/MacFile.h"
#include "tests/support/WaitsTable.h"

int main() {
    try {
        for (const std::string& name : test::namesOfExamples()) {
            const auto mac =
                simulated_mac::readMacFile(PROJECT_SOURCE_DIR "/examples/" + name + ".yaml");
            for (const auto& assumed : displaycheck::assumptionsFor(mac)) {
                const auto required = test::requiredWaits(displaycheck::assumedMac(mac, assumed));
                std::puts(test::waitsRow(test::nameOfRun(name, assumed), required).c_str());
            }
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "waits_table: %s\n", error.what());
        return 1;
    }
    return 0;
}
