#pragma once

/// Marks the process-wide objects and free functions that the plug-in exports under their plain
/// names; every other symbol of the bundle is hidden. Each is listed in exported-symbols.txt, too.
#define EXPORTED extern "C" __attribute__((visibility("default")))

/// Marks the Objective-C class that the plug-in exports.
#define EXPORTED_CLASS __attribute__((visibility("default")))
