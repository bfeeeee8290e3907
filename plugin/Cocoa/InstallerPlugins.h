#pragma once

#import <Cocoa/Cocoa.h>

// The installer's framework for plug-ins. Every SDK has the framework, but some lack its header:
// then the parts that the plug-in uses are declared here.

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
