#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <CoreGraphics/CoreGraphics.h>

extern "C" {
/// The system's data about a display: vendor, product, date of manufacture, image size in
/// millimetres, names by language, serial number. The caller owns the dictionary. A private
/// interface of the CoreDisplay framework, imported weakly.
CFDictionaryRef CoreDisplay_DisplayCreateInfoDictionary(CGDirectDisplayID display)
    __attribute__((weak));
}
