#pragma once

#import <Cocoa/Cocoa.h>

#import "plugin/Cocoa/InstallerPlugins.h"
#include "plugin/Platform/Exported.h"

namespace vorn {
class MyInstallerPane;
}

/// The class that the installer loads by name. It forwards every call to the C++ pane of the same
/// name.
EXPORTED_CLASS @interface MyInstallerPane : InstallerPane {
  @private
    id title_;
    id warnings_;
    vorn::MyInstallerPane* pane;
}

/// The labels, connected by the interface file. The pane's view owns them: nil once they are gone.
- (NSTextField*)lb_title;
- (void)setLb_title:(NSTextField*)label;
- (NSTextField*)lb_warnings;
- (void)setLb_warnings:(NSTextField*)label;

- (void)initializeUI;
- (void)showHyperLink;
- (void)vornWebsiteBtnDidClicked;

@end
