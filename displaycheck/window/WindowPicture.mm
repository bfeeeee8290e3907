#import "displaycheck/window/WindowPicture.h"

#include <cmath>

#import "displaycheck/window/Appearance.h"

namespace displaycheck {

namespace {

// In points.
constexpr CGFloat barHeight = 28;
constexpr CGFloat iconSize = 16;
constexpr CGFloat buttonSize = 12;
constexpr CGFloat buttonDistance = 20;

void drawButtons(NSRect bar) {
    CGFloat left = NSMinX(bar) + 8;
    for (const unsigned colour : {0xFF5F57U, 0xFEBC2EU, 0x28C840U}) {
        [colourOf(colour) set];
        [[NSBezierPath bezierPathWithOvalInRect:NSMakeRect(left, NSMidY(bar) - buttonSize / 2,
                                                           buttonSize, buttonSize)] fill];
        left += buttonDistance;
    }
}

/// The icon and the title, in the middle.
void drawTitle(NSRect bar, NSString* title) {
    NSDictionary* look = [NSDictionary
        dictionaryWithObjectsAndKeys:[NSFont boldSystemFontOfSize:13], NSFontAttributeName,
                                     colourOf(appearance().label), NSForegroundColorAttributeName,
                                     nil];
    const NSSize size = [title sizeWithAttributes:look];
    constexpr CGFloat gap = 6;
    const CGFloat left = std::floor(NSMidX(bar) - (iconSize + gap + size.width) / 2);
    NSImage* icon = [NSApp applicationIconImage];
    [icon drawInRect:NSMakeRect(left, NSMidY(bar) - iconSize / 2, iconSize, iconSize)
            fromRect:NSZeroRect
           operation:NSCompositeSourceOver
            fraction:1];
    [title drawAtPoint:NSMakePoint(left + iconSize + gap, NSMidY(bar) - size.height / 2)
        withAttributes:look];
}

void drawBar(NSRect bar, NSString* title) {
    [colourOf(appearance().titleBar) set];
    NSRectFill(bar);
    [colourOf(appearance().line) set];
    NSRectFill(NSMakeRect(NSMinX(bar), NSMinY(bar), NSWidth(bar), 1));
    drawButtons(bar);
    drawTitle(bar, title);
}

NSBitmapImageRep* bitmapOf(NSView* view) {
    [view lockFocus];
    NSBitmapImageRep* bitmap =
        [[[NSBitmapImageRep alloc] initWithFocusedViewRect:[view bounds]] autorelease];
    [view unlockFocus];
    return bitmap;
}

}  // namespace

NSData* pictureOf(NSWindow* window) {
    NSView* view = [window contentView];
    NSBitmapImageRep* contents = bitmapOf(view);
    const NSSize size = [view bounds].size;
    const NSRect whole = NSMakeRect(0, 0, size.width, size.height + barHeight);
    NSImage* picture = [[[NSImage alloc] initWithSize:whole.size] autorelease];
    [picture lockFocus];
    [contents drawAtPoint:NSMakePoint(0, 0)];
    drawBar(NSMakeRect(0, size.height, size.width, barHeight), [window title]);
    NSBitmapImageRep* bitmap =
        [[[NSBitmapImageRep alloc] initWithFocusedViewRect:whole] autorelease];
    [picture unlockFocus];
    return [bitmap representationUsingType:NSPNGFileType properties:[NSDictionary dictionary]];
}

}  // namespace displaycheck
