#pragma once

#include <filesystem>
#include <string>

/// The program's files, found relative to its executable: bin/ holds programs,
/// libexec/simulated_mac/ the Mac's system tools, share/displaycheck/ the pane's resources.
namespace simulated_mac::Installation {

std::filesystem::path tools();
/// The program that shows the pane in a window, its own resources, and the plug-in's bundle.
std::filesystem::path window();
std::filesystem::path windowResources();
std::filesystem::path plugin();
/// A file of the pane's resources, such as "en.lproj/Localizable.strings".
std::filesystem::path resource(const std::string& name);

}  // namespace simulated_mac::Installation
