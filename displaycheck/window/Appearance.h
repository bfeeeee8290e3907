#pragma once

#import <AppKit/AppKit.h>

#include <string>
#include <vector>

namespace displaycheck {

/// How a Mac's windows look, in its light or its dark appearance. Colours are 0xRRGGBB.
struct Appearance {
    unsigned titleBar;
    unsigned window;
    unsigned sideBar;
    unsigned box;  ///< around the pane
    unsigned line;
    unsigned label;  ///< of labels and titles
    unsigned secondaryLabel;
    unsigned disabledLabel;
    unsigned dot;  ///< before a step that is still to come
    unsigned button;
    unsigned pressedButton;
    unsigned disabledButton;
    unsigned buttonLine;
    unsigned blue;  ///< the system's
    unsigned pressedBlue;
    unsigned onBlue;
};

/// The one that the window has.
const Appearance& appearance();

/// Selects it, before there is a window.
void selectAppearance(bool dark);

NSColor* colourOf(unsigned colour);

/// Makes GNUstep's fonts and colours the ones that a Mac has: an interface file's bold system font,
/// the system's blue.
void takeSystemLook();

/// The same for the colours that GNUstep takes from its defaults, as words of its command line.
std::vector<std::string> defaultsOfSystemColours();

}  // namespace displaycheck
