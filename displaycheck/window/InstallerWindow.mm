#import "displaycheck/window/InstallerWindow.h"

#import <objc/runtime.h>

#import "displaycheck/window/ClickRecognizers.h"
#import "displaycheck/window/InstallerView.h"
#import "displaycheck/window/WindowPicture.h"
#include "simulated_mac/machine/Installation.h"
#include "simulated_mac/machine/Mac.h"
#include "simulated_mac/platform/Running.h"

using simulated_mac::Mac;
using simulated_mac::runPlugin;

namespace {

InstallerWindow* sharedWindow = nil;

/// Places among the steps: before the section, the section, after it.
enum Step : NSUInteger { introduction, section_, installation, summary };

/// The window's own texts and its icon.
NSBundle* resources() {
    NSString* path =
        [NSString stringWithUTF8String:simulated_mac::Installation::windowResources().c_str()];
    return [NSBundle bundleWithPath:path];
}

NSString* text(NSString* key) {
    return [resources() localizedStringForKey:key value:nil table:@"Window"];
}

/// The application's icon.
NSImage* icon(id, SEL) {
    static NSImage* const image = [[NSImage alloc]
        initWithContentsOfFile:[resources() pathForResource:@"Icon" ofType:@"png"]];
    return image;
}

}  // namespace

@implementation InstallerWindow

+ (void)takeIcon {
    Method method = class_getInstanceMethod([NSApplication class], @selector(applicationIconImage));
    method_setImplementation(method, reinterpret_cast<IMP>(icon));
}

+ (InstallerWindow*)shared {
    return sharedWindow;
}

- (instancetype)initWithSection:(InstallerSection*)loaded {
    self = [super
        initWithContentRect:[InstallerView frame]
                  styleMask:NSTitledWindowMask | NSClosableWindowMask | NSMiniaturizableWindowMask
                    backing:NSBackingStoreBuffered
                      defer:NO];
    if (self == nil) return nil;
    sharedWindow = self;
    [self setReleasedWhenClosed:NO];
    section = [loaded retain];
    steps = [[NSArray alloc] initWithObjects:text(@"Introduction"), [section title],
                                             text(@"Installation"), text(@"Summary"), nil];
    face = [[InstallerView alloc] initWithSteps:steps];
    [[face continueButton] setTitle:text(@"Continue")];
    [[face continueButton] setTarget:self];
    [[face continueButton] setAction:@selector(goForward:)];
    [[face backButton] setTitle:text(@"Go Back")];
    [[face backButton] setTarget:self];
    [[face backButton] setAction:@selector(goBack:)];
    [self setContentView:face];
    [self setTitle:text(@"Install Vorn Display Manager")];
    return self;
}

/// Ends the program's loop.
- (void)close {
    [super close];
    [NSApp stop:self];
}

- (void)enterPane {
    @autoreleasepool {
        [self goTo:section_ direction:InstallerDirectionForward];
    }
}

- (void)releasePaneView {
    @autoreleasepool {
        InstallerPane* pane = [section firstPane];
        if (step == section_) [face showStep:step title:[pane title] content:nil];
        [pane setContentView:nil];
    }
}

- (void)goForward:(id)sender {
    (void)sender;
    if (step + 1 == [steps count]) return [self close];
    [self goTo:step + 1 direction:InstallerDirectionForward];
}

- (void)goBack:(id)sender {
    (void)sender;
    if (step > introduction) [self goTo:step - 1 direction:InstallerDirectionBackward];
}

/// Leaves the current step and enters another one.
- (void)goTo:(NSUInteger)target direction:(InstallerSectionDirection)direction {
    InstallerPane* pane = [section firstPane];
    const BOOL leaves = step == section_ && target != section_;
    const BOOL enters = target == section_;
    if (leaves && ![pane shouldExitPane:direction]) return;
    if (leaves) [pane willExitPane:direction];
    if (enters) [pane willEnterPane:direction];
    step = target;
    [face showStep:step
             title:enters ? [pane title] : [steps objectAtIndex:step]
           content:enters ? [pane contentView] : nil];
    [face showNote:@"" below:@""];
    Mac::current()->journal.note("user", enters   ? "enters the pane"
                                         : leaves ? "leaves the pane"
                                                  : "goes on");
    if (leaves) [pane didExitPane:direction];
    if (enters) runPlugin("didEnterPane:", [&] { [pane didEnterPane:direction]; });
    [self paneChangedItsButtons];
}

- (void)paneChangedItsButtons {
    InstallerPane* pane = step == section_ ? [section firstPane] : nil;
    [[face continueButton] setEnabled:pane == nil || [pane nextEnabled]];
    [[face backButton] setEnabled:step > introduction && (pane == nil || [pane previousEnabled])];
}

- (BOOL)continueIsGreyed {
    return ![[face continueButton] isEnabled];
}

- (void)showOpenedAddress:(NSString*)address {
    [face showNote:address below:text(@"Opened")];
}

- (void)clickWarning {
    [self click:viewTakingClicksIn(face)];
}

- (void)click:(NSView*)view {
    Mac::current()->journal.note(
        "user", view != nil ? "clicks the warning"
                            : "clicks where the warning would be; nothing takes the click");
    if (view != nil) sendClickTo(view);
}

/// A click on a view with recognizers is theirs.
- (void)sendEvent:(NSEvent*)event {
    NSView* view =
        [event type] == NSLeftMouseDown ? viewTakingClicksAt(self, [event locationInWindow]) : nil;
    if (view != nil) {
        [self click:view];
    } else {
        [super sendEvent:event];
    }
}

- (BOOL)writePNGTo:(NSString*)path {
    return [displaycheck::pictureOf(self) writeToFile:path atomically:YES];
}

@end
