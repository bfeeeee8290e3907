#import "plugin/Cocoa/PaneClass.h"

#import <objc/runtime.h>

#include <new>

#include "plugin/Cocoa/NSStringText.h"
#include "plugin/MyInstallerPane.h"

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

/// Null where there is no memory for it: then nothing happens, and Continue stays enabled.
- (vorn::MyInstallerPane*)pane {
    if (pane == nullptr) {
        pane = new (std::nothrow) vorn::MyInstallerPane(self);
        // Neither is ever released: a detection run may outlast the installer's interest.
        if (pane != nullptr) [self retain];
    }
    return pane;
}

- (NSString*)title {
    return [self pane] != nullptr ? Cocoa::makeNSString(pane->title()) : @"PaneTitle";
}

- (void)didEnterPane:(InstallerSectionDirection)direction {
    if ([self pane] != nullptr) pane->didEnterPane(static_cast<int>(direction));
}

- (void)initializeUI {
    if ([self pane] != nullptr) pane->initializeUI();
}

- (void)showHyperLink {
    if ([self pane] != nullptr) pane->showHyperLink();
}

- (void)vornWebsiteBtnDidClicked {
    if ([self pane] != nullptr) pane->vornWebsiteBtnDidClicked();
}

@end
