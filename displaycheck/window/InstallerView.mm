#import "displaycheck/window/InstallerView.h"

#import "displaycheck/window/InstallerButton.h"

namespace {

// In points. The box holds a pane of 418 by 330.
constexpr CGFloat width = 648;
constexpr CGFloat height = 438;
constexpr CGFloat sideWidth = 196;
constexpr CGFloat margin = 17;
constexpr NSRect box = {{sideWidth + margin, 58}, {418, 330}};
constexpr CGFloat buttonWidth = 112;
constexpr CGFloat buttonHeight = 24;
constexpr CGFloat stepHeight = 26;

NSColor* grey(CGFloat white) {
    return [NSColor colorWithCalibratedWhite:white alpha:1];
}

NSDictionary* look(NSFont* font, NSColor* colour) {
    NSMutableParagraphStyle* style = [[[NSMutableParagraphStyle alloc] init] autorelease];
    [style setLineBreakMode:NSLineBreakByTruncatingTail];
    return [NSDictionary dictionaryWithObjectsAndKeys:font, NSFontAttributeName, colour,
                                                      NSForegroundColorAttributeName, style,
                                                      NSParagraphStyleAttributeName, nil];
}

}  // namespace

@implementation InstallerView

+ (NSRect)frame {
    return NSMakeRect(0, 0, width, height);
}

- (instancetype)initWithSteps:(NSArray*)titles {
    self = [super initWithFrame:[InstallerView frame]];
    if (self == nil) return nil;
    steps = [titles retain];
    title = @"";
    note = @"";
    const CGFloat right = NSMaxX(box) - buttonWidth;
    continueButton = [[InstallerButton alloc]
        initWithFrame:NSMakeRect(right, margin, buttonWidth, buttonHeight)];
    [continueButton setKeyEquivalent:@"\r"];
    backButton = [[InstallerButton alloc]
        initWithFrame:NSMakeRect(right - buttonWidth - 12, margin, buttonWidth, buttonHeight)];
    [self addSubview:continueButton];
    [self addSubview:backButton];
    return self;
}

- (NSButton*)continueButton {
    return continueButton;
}

- (NSButton*)backButton {
    return backButton;
}

- (void)showStep:(NSUInteger)index title:(NSString*)text content:(NSView*)view {
    step = index;
    [title autorelease];
    title = [text copy];
    [content removeFromSuperview];
    content = view;
    if (content != nil) {
        [content setFrame:box];
        [self addSubview:content];
    }
    [self setNeedsDisplay:YES];
}

- (void)showNote:(NSString*)text {
    [note autorelease];
    note = [text copy];
    [self setNeedsDisplay:YES];
}

- (void)drawRect:(NSRect)dirty {
    (void)dirty;
    [grey(0.96) set];
    NSRectFill([self bounds]);
    [self drawSteps];
    [title drawInRect:NSMakeRect(NSMinX(box), NSMaxY(box) + 10, NSWidth(box), 22)
        withAttributes:look([NSFont boldSystemFontOfSize:14], grey(0.1))];
    [[NSColor whiteColor] set];
    NSRectFill(box);
    [grey(0.8) set];
    NSFrameRect(NSInsetRect(box, -1, -1));
    [note drawInRect:NSMakeRect(margin, 6, width - 2 * margin, 14)
        withAttributes:look([NSFont systemFontOfSize:9], grey(0.45))];
}

/// The steps at the left, each after its dot; the dot of the current step is blue.
- (void)drawSteps {
    [grey(0.91) set];
    NSRectFill(NSMakeRect(0, 0, sideWidth, height));
    CGFloat top = NSMaxY(box) - 4;
    for (NSUInteger index = 0; index < [steps count]; ++index) {
        const bool current = index == step;
        const bool reached = index <= step;
        NSColor* blue = [NSColor colorWithCalibratedRed:0.04 green:0.48 blue:1 alpha:1];
        [(current ? blue : grey(reached ? 0.55 : 0.76)) set];
        [[NSBezierPath bezierPathWithOvalInRect:NSMakeRect(margin, top - 14, 8, 8)] fill];
        NSFont* font = current ? [NSFont boldSystemFontOfSize:12] : [NSFont systemFontOfSize:12];
        [[steps objectAtIndex:index]
                drawInRect:NSMakeRect(margin + 16, top - 19, sideWidth - margin - 24, 18)
            withAttributes:look(font, grey(reached ? 0.15 : 0.5))];
        top -= stepHeight;
    }
}

@end
