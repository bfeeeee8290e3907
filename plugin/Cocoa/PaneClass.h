#pragma once

#import <Cocoa/Cocoa.h>

#import "Cocoa/InstallerPlugins.h"
#include "MyInstallerPane.h"
#include "Platform/Exported.h"

/// The class that the installer loads by name. It hands every call over to the C++ pane of the same
/// name.
EXPORTED_CLASS @interface MyInstallerPane : InstallerPane {
  @private
    NSTextField* lb_title;
    NSTextField* lb_warnings;
    vorn::MyInstallerPane* pane;
}

/// The labels, connected by the interface file; the pane's view owns them.
@property(assign) IBOutlet NSTextField* lb_title;
@property(assign) IBOutlet NSTextField* lb_warnings;

- (void)initializeUI;
- (void)showHyperLink;
- (void)vornWebsiteBtnDidClicked;

@end
