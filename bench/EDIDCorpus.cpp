#include "bench/EDIDCorpus.h"

#include <fmt/format.h>

#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include "simulated_mac/description/EDID.h"

namespace bench {

namespace {

constexpr int madeEDIDs = 100;
constexpr std::size_t blockSize = 128;

std::vector<std::string> readCorpus(const std::string& path) {
    std::ifstream file(path);
    std::vector<std::string> texts;
    std::string line;
    std::getline(file, line);  // the header
    while (std::getline(file, line)) texts.push_back(line.substr(line.rfind('\t') + 1));
    if (texts.empty()) throw std::runtime_error("no EDIDs in " + path);
    return texts;
}

}  // namespace

std::vector<std::string> corpusOfEDIDs() {
    if (const char* const path = std::getenv("EDID_CORPUS")) return readCorpus(path);
    std::vector<std::string> texts;
    for (int number = 0; number < madeEDIDs; ++number) {
        texts.push_back(madeEDID(number, number % 2));
    }
    return texts;
}

std::string originOfEDIDs() {
    const char* const path = std::getenv("EDID_CORPUS");
    return path != nullptr ? std::string("in ") + path : "made here";
}

std::string madeEDID(int number, int extensions) {
    simulated_mac::EDIDFields fields;
    fields.product = static_cast<std::uint16_t>(number);
    fields.serial = static_cast<std::uint32_t>(number) * 7919;
    fields.name = fmt::format("VORN K{}", number * number);
    fields.serialText = fmt::format("{:07}", number);
    auto bytes = simulated_mac::makeEDID(fields);
    bytes.resize(blockSize * static_cast<std::size_t>(1 + extensions));
    return fmt::format("{:02x}", fmt::join(bytes, ""));
}

}  // namespace bench
