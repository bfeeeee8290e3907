#import "displaycheck/window/InstallerButton.h"

#import "displaycheck/window/Appearance.h"

using displaycheck::appearance;
using displaycheck::colourOf;

@implementation InstallerButton

- (void)drawRect:(NSRect)dirty {
    (void)dirty;
    const bool isBlue = [self isEnabled] && [[self keyEquivalent] isEqualToString:@"\r"];
    const bool pressed = [[self cell] isHighlighted];
    unsigned fill = pressed ? appearance().pressedButton : appearance().button;
    unsigned ink = appearance().label;
    if (![self isEnabled]) {
        fill = appearance().disabledButton;
        ink = appearance().disabledLabel;
    } else if (isBlue) {
        fill = pressed ? appearance().pressedBlue : appearance().blue;
        ink = appearance().onBlue;
    }
    const NSRect shape = NSInsetRect([self bounds], 1, 1);
    NSBezierPath* outline = [NSBezierPath bezierPathWithRoundedRect:shape xRadius:6 yRadius:6];
    [colourOf(fill) set];
    [outline fill];
    [colourOf(appearance().buttonLine) set];
    if (!isBlue) [outline stroke];

    NSDictionary* look = [NSDictionary
        dictionaryWithObjectsAndKeys:[NSFont systemFontOfSize:13], NSFontAttributeName,
                                     colourOf(ink), NSForegroundColorAttributeName, nil];
    const NSSize size = [[self title] sizeWithAttributes:look];
    [[self title]
           drawAtPoint:NSMakePoint(NSMidX(shape) - size.width / 2, NSMidY(shape) - size.height / 2)
        withAttributes:look];
}

@end
