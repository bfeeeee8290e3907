#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <CoreGraphics/CoreGraphics.h>

extern "C" {
/// What the system knows of a display: vendor, product, date of manufacture, image size in
/// millimetres, names by language, serial number. The caller owns the dictionary. A private
/// interface of the CoreDisplay framework, imported weakly.
CFDictionaryRef CoreDisplay_DisplayCreateInfoDictionary(CGDirectDisplayID display)
    __attribute__((weak));
}
