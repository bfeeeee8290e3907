#pragma once

#import <AppKit/AppKit.h>

/// What the installer's window shows.
@interface InstallerView : NSView {
  @private
    NSArray* steps;
    NSUInteger step;
    NSString* title;
    NSView* content;
    NSString* note;
    NSString* noteHeading;
    NSButton* continueButton;
    NSButton* backButton;
}

/// The place and size that the view has.
+ (NSRect)frame;

- (instancetype)initWithSteps:(NSArray*)titles;

- (NSButton*)continueButton;
- (NSButton*)backButton;

/// Shows a step: its title above the box, and in the box its content, if any.
- (void)showStep:(NSUInteger)index title:(NSString*)text content:(NSView*)view;

/// Shows a note below the steps, in as many lines as it takes.
- (void)showNote:(NSString*)text below:(NSString*)heading;

@end
