#pragma once

#import <AppKit/AppKit.h>

// What the pane asks of AppKit and GNUstep's declarations lack; the window brings it.

@interface NSScreen (LocalizedName)
@property(readonly, copy) NSString* localizedName;
@end

@interface NSClickGestureRecognizer (TargetAndAction)
- (instancetype)initWithTarget:(id)target action:(SEL)action;
@end

@interface NSView (GestureRecognizers)
- (void)addGestureRecognizer:(NSGestureRecognizer*)recognizer;
@end
