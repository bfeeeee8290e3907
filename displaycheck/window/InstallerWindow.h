#pragma once

#import <AppKit/AppKit.h>
#import <InstallerPlugins/InstallerPlugins.h>

@class InstallerView;

/// How the installer makes a section.
@interface InstallerSection (Loading)
- (instancetype)initWithBundle:(NSBundle*)sectionBundle;
@end

/// A window in the look of the graphical installer: its steps at the left, of which one is the
/// plug-in's section, and Go Back and Continue. Only the section's step has a pane; the others
/// stand for what the installer does before and after.
@interface InstallerWindow : NSWindow {
  @private
    InstallerSection* section;
    NSArray* steps;
    NSUInteger step;
    InstallerView* face;
}

/// Gives the application its icon. Its first window already asks for that.
+ (void)takeIcon;

/// The one window; nil before it was made.
+ (InstallerWindow*)shared;

/// A window for a section whose interface file was loaded.
- (instancetype)initWithSection:(InstallerSection*)loaded;

/// Shows the section's step and enters its pane.
- (void)enterPane;

/// Releases the pane's view.
- (void)releasePaneView;

/// Clicks the pane's warning label if it takes clicks.
- (void)clickWarning;

- (void)goForward:(id)sender;
- (void)goBack:(id)sender;
- (void)paneChangedItsButtons;

/// Whether the user can't go on.
- (BOOL)continueIsGreyed;

/// Says below the steps which address was opened.
- (void)showOpenedAddress:(NSString*)address;

/// Writes the window with its title bar to a PNG file; NO if that fails.
- (BOOL)writePNGTo:(NSString*)path;

@end
