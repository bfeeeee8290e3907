#pragma once

#import <Cocoa/Cocoa.h>

// The installer's framework for plug-ins. Every SDK has the framework, not every one its header:
// where that is missing, what the plug-in uses of it is declared here.

#if __has_include(<InstallerPlugins/InstallerPlugins.h>)

#import <InstallerPlugins/InstallerPlugins.h>

#else

typedef enum {
    InstallerDirectionForward = 0,
    InstallerDirectionBackward = 1,
    InstallerDirectionUndefined = 2,
} InstallerSectionDirection;

@interface InstallerPane : NSObject
@property(readonly) NSString* title;
@property BOOL nextEnabled;
- (void)didEnterPane:(InstallerSectionDirection)direction;
@end

#endif
