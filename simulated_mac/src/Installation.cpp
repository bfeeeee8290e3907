#include "Installation.h"

namespace simulated_mac::Installation {

namespace {

std::filesystem::path prefix() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path();
}

}  // namespace

std::filesystem::path tools() {
    return prefix() / "libexec" / "simulated_mac";
}

std::filesystem::path resource(const std::string& name) {
    return prefix() / "share" / "displaycheck" / name;
}

}  // namespace simulated_mac::Installation
