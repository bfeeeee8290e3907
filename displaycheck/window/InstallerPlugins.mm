#import <InstallerPlugins/InstallerPlugins.h>

#import "displaycheck/window/InstallerWindow.h"
#include "simulated_mac/machine/Mac.h"
#include "simulated_mac/platform/PlatformCall.h"

// The framework's classes, as the window needs them.

@implementation InstallerSection

@synthesize firstPane;

- (instancetype)initWithBundle:(NSBundle*)sectionBundle {
    self = [super init];
    if (self != nil) bundle = [sectionBundle retain];
    return self;
}

- (NSBundle*)bundle {
    return bundle;
}

- (NSString*)title {
    NSString* key = @"InstallerSectionTitle";
    return [bundle localizedStringForKey:key
                                   value:[bundle objectForInfoDictionaryKey:key]
                                   table:@"InfoPlist"];
}

- (void)willLoadMainNib {
}

- (void)didLoadMainNib {
}

- (BOOL)shouldLoad {
    return YES;
}

@end

@implementation InstallerPane

@synthesize nextPane;
@synthesize contentView;
@synthesize initialKeyView;
@synthesize firstKeyView;
@synthesize lastKeyView;

- (instancetype)initWithSection:(id)parent {
    self = [super init];
    if (self != nil) parentSection = parent;
    return self;
}

- (instancetype)init {
    self = [super init];
    if (self != nil) {
        nextEnabled = YES;
        previousEnabled = YES;
    }
    return self;
}

- (void)dealloc {
    [contentView release];
    [super dealloc];
}

- (InstallerSection*)section {
    return parentSection;
}

- (NSString*)title {
    return @"";
}

- (BOOL)nextEnabled {
    return nextEnabled;
}

- (void)setNextEnabled:(BOOL)enabled {
    const simulated_mac::PlatformCall call("InstallerPane.setNextEnabled", [&] {
        return simulated_mac::NamedValues{{"enabled", enabled != NO, simulated_mac::unlabelled}};
    });
    nextEnabled = enabled;
    simulated_mac::Mac::current()->journal.note(
        "pane", enabled ? "Continue is enabled" : "Continue is disabled");
    [[InstallerWindow shared] paneChangedItsButtons];
}

- (BOOL)previousEnabled {
    return previousEnabled;
}

- (void)setPreviousEnabled:(BOOL)enabled {
    previousEnabled = enabled;
    [[InstallerWindow shared] paneChangedItsButtons];
}

- (void)willEnterPane:(InstallerSectionDirection)direction {
    (void)direction;
}

- (void)didEnterPane:(InstallerSectionDirection)direction {
    (void)direction;
}

- (BOOL)shouldExitPane:(InstallerSectionDirection)direction {
    (void)direction;
    return YES;
}

- (void)willExitPane:(InstallerSectionDirection)direction {
    (void)direction;
}

- (void)didExitPane:(InstallerSectionDirection)direction {
    (void)direction;
}

- (BOOL)gotoNextPane {
    [[InstallerWindow shared] goForward:self];
    return YES;
}

- (BOOL)gotoPreviousPane {
    [[InstallerWindow shared] goBack:self];
    return YES;
}

@end
