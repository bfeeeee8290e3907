#pragma once

#import <AppKit/AppKit.h>

// Clicks on views that have click gesture recognizers.

/// Sends the action of a view's first recognizer. However many there are, one takes the click.
void sendClickTo(NSView* view);

/// The view at a place of the window that takes clicks through recognizers; nil for none.
NSView* viewTakingClicksAt(NSWindow* window, NSPoint place);

/// The first view in a view that takes clicks; nil for none.
NSView* viewTakingClicksIn(NSView* view);
