#pragma once

// AppKit, as far as the plug-in uses it: the platform's documented declarations.

#import <Foundation/Foundation.h>

typedef NSString* NSDeviceDescriptionKey;

#ifdef __cplusplus
extern "C" {
#endif

extern const NSAttributedStringKey NSForegroundColorAttributeName;
extern const NSAttributedStringKey NSUnderlineStyleAttributeName;

#ifdef __cplusplus
}
#endif

@interface NSColor : NSObject
@property(class, strong, readonly) NSColor* systemBlueColor;
@end

@interface NSScreen : NSObject
@property(class, readonly, copy) NSArray<NSScreen*>* screens;
@property(readonly, copy) NSDictionary<NSDeviceDescriptionKey, id>* deviceDescription;
@property(readonly, copy) NSString* localizedName;
@end

@interface NSGestureRecognizer : NSObject
- (instancetype)initWithTarget:(id)target action:(SEL)action;
@end

@interface NSClickGestureRecognizer : NSGestureRecognizer
@end

@interface NSResponder : NSObject
@end

@interface NSView : NSResponder
- (void)addGestureRecognizer:(NSGestureRecognizer*)gestureRecognizer;
@end

@interface NSControl : NSView
@property(copy) NSString* stringValue;
@property(copy) NSAttributedString* attributedStringValue;
@end

@interface NSTextField : NSControl
@end

@interface NSWorkspace : NSObject
@property(class, readonly, strong) NSWorkspace* sharedWorkspace;
- (BOOL)openURL:(NSURL*)url;
@end
