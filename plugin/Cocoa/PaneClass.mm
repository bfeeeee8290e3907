#import "Cocoa/PaneClass.h"

#import <objc/runtime.h>

#include "Cocoa/NSStringText.h"

@implementation MyInstallerPane

- (void)dealloc {
    [self setLb_title:nil];
    [self setLb_warnings:nil];
    [super dealloc];
}

- (NSTextField*)lb_title {
    return objc_loadWeak(&title_);
}

- (void)setLb_title:(NSTextField*)label {
    objc_storeWeak(&title_, label);
}

- (NSTextField*)lb_warnings {
    return objc_loadWeak(&warnings_);
}

- (void)setLb_warnings:(NSTextField*)label {
    objc_storeWeak(&warnings_, label);
}

- (vorn::MyInstallerPane*)pane {
    if (pane == nullptr) {
        pane = new vorn::MyInstallerPane(self);
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
