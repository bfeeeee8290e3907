#pragma once

#import <AppKit/AppKit.h>

// Parts of AppKit that the pane uses and GNUstep's declarations lack; the window provides them.

extern "C" {
/// A reference that does not keep its object, and is nil when that is gone.
id objc_storeWeak(id* location, id object);
/// The object, which lives until the pool is emptied; nil when it is gone.
id objc_loadWeak(id* location);
}

@interface NSScreen (LocalizedName)
@property(readonly, copy) NSString* localizedName;
@end

@interface NSClickGestureRecognizer (TargetAndAction)
- (instancetype)initWithTarget:(id)target action:(SEL)action;
@end

@interface NSView (GestureRecognizers)
- (void)addGestureRecognizer:(NSGestureRecognizer*)recognizer;
@end
