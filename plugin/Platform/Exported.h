#pragma once

/// Marks the process-wide objects and free functions that the plug-in exports under their plain
/// names; every other symbol of the bundle is hidden.
#define EXPORTED extern "C" __attribute__((visibility("default")))
