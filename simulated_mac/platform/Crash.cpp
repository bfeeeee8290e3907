#include "simulated_mac/platform/Crash.h"

#include <fmt/format.h>

#include <cstdio>
#include <cstdlib>

#include "simulated_mac/machine/Mac.h"

namespace simulated_mac {

void crash(std::string_view call, std::string_view why) {
    const std::string what = fmt::format("{}: {}", call, why);
    if (const Mac* const mac = Mac::current(); mac != nullptr && mac->options.onCrash) {
        mac->options.onCrash(what);
    }
    std::fprintf(stderr, "a Mac ends this process: %s\n", what.c_str());
    std::abort();
}

void requireNotNull(const void* argument, std::string_view call, std::string_view parameter) {
    if (argument == nullptr) crash(call, fmt::format("{} is NULL", parameter));
}

}  // namespace simulated_mac
