#pragma once

#import <Cocoa/Cocoa.h>

// The installer's framework for plug-ins: what a section's panes are to the installer.

typedef enum {
    InstallerDirectionForward = 0,
    InstallerDirectionBackward = 1,
    InstallerDirectionUndefined = 2,
} InstallerSectionDirection;

@class InstallerPane;

/// A step of the installer; the file's owner of its interface file.
@interface InstallerSection : NSObject {
  @private
    InstallerPane* firstPane;
    NSBundle* bundle;
}
@property(assign) IBOutlet InstallerPane* firstPane;
@property(readonly) NSBundle* bundle;
@property(readonly) NSString* title;
- (void)willLoadMainNib;
- (void)didLoadMainNib;
- (BOOL)shouldLoad;
@end

/// What the user sees of a section at a time.
@interface InstallerPane : NSObject {
  @private
    InstallerSection* parentSection;
    InstallerPane* nextPane;
    NSView* contentView;
    NSView* initialKeyView;
    NSView* firstKeyView;
    NSView* lastKeyView;
    BOOL nextEnabled;
    BOOL previousEnabled;
}
- (instancetype)initWithSection:(id)parent;

@property(readonly) InstallerSection* section;
@property(readonly) NSString* title;
@property(assign) IBOutlet InstallerPane* nextPane;
@property(retain) IBOutlet NSView* contentView;
@property(assign) IBOutlet NSView* initialKeyView;
@property(assign) IBOutlet NSView* firstKeyView;
@property(assign) IBOutlet NSView* lastKeyView;
@property BOOL nextEnabled;
@property BOOL previousEnabled;

- (void)willEnterPane:(InstallerSectionDirection)direction;
- (void)didEnterPane:(InstallerSectionDirection)direction;
- (BOOL)shouldExitPane:(InstallerSectionDirection)direction;
- (void)willExitPane:(InstallerSectionDirection)direction;
- (void)didExitPane:(InstallerSectionDirection)direction;
- (BOOL)gotoNextPane;
- (BOOL)gotoPreviousPane;
@end
