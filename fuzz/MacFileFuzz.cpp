#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>

#include "simulated_mac/file/MacFile.h"

// Any bytes in place of a Mac file.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // A file in memory leaves nothing behind.
    static const std::string path = "/proc/self/fd/" + std::to_string(memfd_create("mac.yaml", 0));
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    try {
        simulated_mac::readMacFile(path);
    } catch (const simulated_mac::MacFileError&) {
        // A message is what a bad file should get.
    }
    return 0;
}
