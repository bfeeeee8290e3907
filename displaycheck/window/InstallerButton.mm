#import "displaycheck/window/InstallerButton.h"

namespace {

NSColor* colour(CGFloat red, CGFloat green, CGFloat blue) {
    return [NSColor colorWithCalibratedRed:red green:green blue:blue alpha:1];
}

}  // namespace

@implementation InstallerButton

- (void)drawRect:(NSRect)dirty {
    (void)dirty;
    const bool isDefault = [[self keyEquivalent] isEqualToString:@"\r"];
    const bool pressed = [[self cell] isHighlighted];
    NSColor* fill = colour(1, 1, 1);
    NSColor* ink = colour(0.1, 0.1, 0.1);
    if (![self isEnabled]) {
        fill = colour(0.94, 0.94, 0.94);
        ink = colour(0.7, 0.7, 0.7);
    } else if (isDefault) {
        fill = pressed ? colour(0, 0.38, 0.85) : colour(0.04, 0.48, 1);
        ink = colour(1, 1, 1);
    } else if (pressed) {
        fill = colour(0.85, 0.85, 0.85);
    }
    const NSRect shape = NSInsetRect([self bounds], 1, 1);
    NSBezierPath* outline = [NSBezierPath bezierPathWithRoundedRect:shape xRadius:6 yRadius:6];
    [fill set];
    [outline fill];
    [colour(0.78, 0.78, 0.78) set];
    if (!isDefault || ![self isEnabled]) [outline stroke];

    NSDictionary* look = [NSDictionary
        dictionaryWithObjectsAndKeys:[NSFont systemFontOfSize:13], NSFontAttributeName, ink,
                                     NSForegroundColorAttributeName, nil];
    const NSSize size = [[self title] sizeWithAttributes:look];
    [[self title]
           drawAtPoint:NSMakePoint(NSMidX(shape) - size.width / 2, NSMidY(shape) - size.height / 2)
        withAttributes:look];
}

@end
