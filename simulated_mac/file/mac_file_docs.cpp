// Writes what the documentation says of the keys of Mac files anew: mac_file_docs FOLDER, with the
// folder of mac-files.md and mac-file.schema.json.

#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "simulated_mac/description/ReadFile.h"
#include "simulated_mac/file/MacFileFormat.h"
#include "simulated_mac/file/MacFileTables.h"

namespace {

void write(const std::filesystem::path& path, const std::string& contents) {
    std::ofstream file(path, std::ios::binary);
    if (!(file << contents).flush()) throw std::runtime_error(path.string() + ": can't be written");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: mac_file_docs FOLDER\n", stderr);
        return 2;
    }
    try {
        using namespace simulated_mac;
        const std::filesystem::path folder = argv[1];
        const auto page = folder / "mac-files.md";
        write(page, withKeyTables(readFile(page)));
        write(folder / "mac-file.schema.json", macFileSchema());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "mac_file_docs: %s\n", error.what());
        return 1;
    }
    return 0;
}
