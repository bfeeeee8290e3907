#import "Cocoa/PaneClass.h"

#include "Cocoa/NSStringText.h"

@implementation MyInstallerPane

@synthesize lb_title;
@synthesize lb_warnings;

/// Made at its first use: by then the interface file has connected the labels.
- (vorn::MyInstallerPane*)pane {
    if (pane == nullptr) {
        pane = new vorn::MyInstallerPane(self, lb_title, lb_warnings);
        // Neither is ever released: a detection run may outlast the installer's interest.
        [self retain];
    }
    return pane;
}

- (NSString*)title {
    return Cocoa::makeNSString([self pane]->title());
}

- (void)didEnterPane:(InstallerSectionDirection)direction {
    [self pane]->didEnterPane(static_cast<int>(direction));
}

- (void)initializeUI {
    [self pane]->initializeUI();
}

- (void)showHyperLink {
    [self pane]->showHyperLink();
}

- (void)vornWebsiteBtnDidClicked {
    [self pane]->vornWebsiteBtnDidClicked();
}

@end
