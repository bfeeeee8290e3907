#include "simulated_mac/machine/Installation.h"

#ifdef __APPLE__
#include <mach-o/dyld.h>
#endif

#include <cstdint>

namespace simulated_mac::Installation {

namespace {

std::filesystem::path executable() {
#ifdef __APPLE__
    std::uint32_t size = 0;
    _NSGetExecutablePath(nullptr, &size);
    std::string path(size, '\0');
    _NSGetExecutablePath(path.data(), &size);
    return std::filesystem::canonical(path.c_str());
#else
    return std::filesystem::read_symlink("/proc/self/exe");
#endif
}

std::filesystem::path prefix() {
    return executable().parent_path().parent_path();
}

}  // namespace

std::filesystem::path tools() {
    return prefix() / "libexec" / "simulated_mac";
}

std::filesystem::path window() {
    return prefix() / "bin" / "displaycheck-window";
}

std::filesystem::path windowResources() {
    return prefix() / "lib" / "displaycheck" / "Window.bundle";
}

std::filesystem::path plugin() {
    return prefix() / "lib" / "displaycheck" / "VornDisplayCheck.bundle";
}

std::filesystem::path resource(const std::string& name) {
    return prefix() / "share" / "displaycheck" / name;
}

}  // namespace simulated_mac::Installation
