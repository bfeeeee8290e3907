#import "displaycheck/window/InstallerView.h"

#import "displaycheck/window/Appearance.h"
#import "displaycheck/window/InstallerButton.h"
#import "displaycheck/window/LineBreaks.h"

using displaycheck::appearance;
using displaycheck::colourOf;

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

NSDictionary* look(NSFont* font, unsigned colour) {
    NSMutableParagraphStyle* style = [[[NSMutableParagraphStyle alloc] init] autorelease];
    [style setLineBreakMode:NSLineBreakByTruncatingTail];
    return [NSDictionary dictionaryWithObjectsAndKeys:font, NSFontAttributeName, colourOf(colour),
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
    noteHeading = @"";
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

- (void)showNote:(NSString*)text below:(NSString*)heading {
    [note autorelease];
    [noteHeading autorelease];
    note = [text copy];
    noteHeading = [heading copy];
    [self setNeedsDisplay:YES];
}

- (void)drawRect:(NSRect)dirty {
    (void)dirty;
    [colourOf(appearance().window) set];
    NSRectFill([self bounds]);
    [self drawSteps];
    [self drawNote];
    [title drawInRect:NSMakeRect(NSMinX(box), NSMaxY(box) + 10, NSWidth(box), 22)
        withAttributes:look([NSFont boldSystemFontOfSize:14], appearance().label)];
    [colourOf(appearance().box) set];
    NSRectFill(box);
    [colourOf(appearance().line) set];
    NSFrameRect(NSInsetRect(box, -1, -1));
}

/// The steps at the left, each after its dot; the dot of the current step is blue.
- (void)drawSteps {
    [colourOf(appearance().sideBar) set];
    NSRectFill(NSMakeRect(0, 0, sideWidth, height));
    CGFloat top = NSMaxY(box) - 4;
    for (NSUInteger index = 0; index < [steps count]; ++index) {
        const bool current = index == step;
        const bool reached = index <= step;
        const unsigned doneDot = reached ? appearance().secondaryLabel : appearance().dot;
        [colourOf(current ? appearance().blue : doneDot) set];
        [[NSBezierPath bezierPathWithOvalInRect:NSMakeRect(margin, top - 14, 8, 8)] fill];
        NSFont* font = current ? [NSFont boldSystemFontOfSize:12] : [NSFont systemFontOfSize:12];
        [[steps objectAtIndex:index]
                drawInRect:NSMakeRect(margin + 16, top - 19, sideWidth - margin - 24, 18)
            withAttributes:look(font, reached ? appearance().label : appearance().secondaryLabel)];
        top -= stepHeight;
    }
}

/// The note at the foot, below the steps.
- (void)drawNote {
    NSAttributedString* text = [[[NSAttributedString alloc]
        initWithString:note
            attributes:look([NSFont systemFontOfSize:11], appearance().label)] autorelease];
    const CGFloat lineWidth = sideWidth - 2 * margin;
    NSAttributedString* lines = displaycheck::inLines(text, lineWidth);
    const CGFloat linesHeight = [lines size].height;
    [lines drawInRect:NSMakeRect(margin, margin, lineWidth, linesHeight)];
    [noteHeading drawAtPoint:NSMakePoint(margin, margin + linesHeight + 3)
              withAttributes:look([NSFont boldSystemFontOfSize:11], appearance().label)];
}

@end
