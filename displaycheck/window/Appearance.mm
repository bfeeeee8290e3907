#import "displaycheck/window/Appearance.h"

#include <fmt/format.h>
#import <objc/runtime.h>

#include <cmath>

namespace displaycheck {

namespace {

constexpr Appearance light = {.titleBar = 0xECECEC,
                              .window = 0xF5F5F5,
                              .sideBar = 0xE8E8E8,
                              .box = 0xFFFFFF,
                              .line = 0xCCCCCC,
                              .label = 0x1A1A1A,
                              .secondaryLabel = 0x595959,
                              .disabledLabel = 0xB3B3B3,
                              .dot = 0xC2C2C2,
                              .button = 0xFFFFFF,
                              .pressedButton = 0xD9D9D9,
                              .disabledButton = 0xF0F0F0,
                              .buttonLine = 0xC7C7C7,
                              .blue = 0x007AFF,
                              .pressedBlue = 0x0062CC,
                              .onBlue = 0xFFFFFF};

constexpr Appearance dark = {.titleBar = 0x383838,
                             .window = 0x2B2B2B,
                             .sideBar = 0x363636,
                             .box = 0x1E1E1E,
                             .line = 0x4A4A4A,
                             .label = 0xE5E5E5,
                             .secondaryLabel = 0xABABAB,
                             .disabledLabel = 0x707070,
                             .dot = 0x5C5C5C,
                             .button = 0x5E5E5E,
                             .pressedButton = 0x7A7A7A,
                             .disabledButton = 0x3D3D3D,
                             .buttonLine = 0x6B6B6B,
                             .blue = 0x0A84FF,
                             .pressedBlue = 0x3D9DFF,
                             .onBlue = 0xFFFFFF};

const Appearance* selected = &light;

struct Components {
    double red;
    double green;
    double blue;
};

Components componentsOf(unsigned colour) {
    return {(colour >> 16) / 255.0, (colour >> 8 & 0xFF) / 255.0, (colour & 0xFF) / 255.0};
}

id systemBlueColor(id, SEL) {
    return colourOf(appearance().blue);
}

/// A whole row of pixels below the baseline, as on a Mac; GNUstep's underline blurs into two.
void drawUnderline(NSLayoutManager* layout, SEL, NSRange glyphs, NSInteger, CGFloat, NSRect line,
                   NSRange, NSPoint origin) {
    NSTextContainer* container = [layout textContainerForGlyphAtIndex:glyphs.location
                                                       effectiveRange:NULL];
    const NSRect place = [layout boundingRectForGlyphRange:glyphs inTextContainer:container];
    const CGFloat baseline =
        origin.y + NSMinY(line) + [layout locationForGlyphAtIndex:glyphs.location].y;
    const auto firstGlyph = static_cast<unsigned>(glyphs.location);
    NSColor* colour =
        [[layout textStorage] attribute:NSForegroundColorAttributeName
                                atIndex:[layout characterIndexForGlyphAtIndex:firstGlyph]
                         effectiveRange:NULL];
    [colour set];
    NSRectFill(NSMakeRect(origin.x + NSMinX(place), std::round(baseline) + 1, NSWidth(place), 1));
}

IMP realFontWithCoder = nullptr;

/// GNUstep takes the system's bold font in an interface file for its regular one.
id fontWithCoder(id self, SEL selector, NSCoder* coder) {
    NSFont* font =
        reinterpret_cast<id (*)(id, SEL, NSCoder*)>(realFontWithCoder)(self, selector, coder);
    NSString* const name = @"metaFont";
    if (![coder allowsKeyedCoding] || ![coder containsValueForKey:name] ||
        ![[coder decodeObjectForKey:name] isEqual:@"systemBold"]) {
        return font;
    }
    NSFont* bold = [[NSFont boldSystemFontOfSize:[font pointSize]] retain];
    [font release];
    return bold;
}

}  // namespace

const Appearance& appearance() {
    return *selected;
}

void selectAppearance(bool isDark) {
    selected = isDark ? &dark : &light;
}

NSColor* colourOf(unsigned colour) {
    const auto [red, green, blue] = componentsOf(colour);
    return [NSColor colorWithCalibratedRed:red green:green blue:blue alpha:1];
}

void takeSystemLook() {
    const auto replace = [](Method method, auto* function) {
        return method_setImplementation(method, reinterpret_cast<IMP>(function));
    };
    replace(class_getClassMethod([NSColor class], @selector(systemBlueColor)), systemBlueColor);
    replace(class_getInstanceMethod(
                [NSLayoutManager class],
                @selector(drawUnderlineForGlyphRange:
                                       underlineType:baselineOffset:lineFragmentRect
                                                    :lineFragmentGlyphRange:containerOrigin:)),
            drawUnderline);
    realFontWithCoder =
        replace(class_getInstanceMethod([NSFont class], @selector(initWithCoder:)), fontWithCoder);
}

std::vector<std::string> defaultsOfSystemColours() {
    const auto [red, green, blue] = componentsOf(appearance().label);
    return {"-labelColor", fmt::format("{} {} {}", red, green, blue)};
}

}  // namespace displaycheck
