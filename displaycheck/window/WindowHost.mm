#include "displaycheck/window/WindowHost.h"

#import <AppKit/AppKit.h>
#import <InstallerPlugins/InstallerPlugins.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "displaycheck/commands/ExitStatus.h"
#include "displaycheck/host/AssumedMac.h"
#import "displaycheck/window/Appearance.h"
#import "displaycheck/window/ClickRecognizers.h"
#import "displaycheck/window/InstallerWindow.h"
#import "displaycheck/window/SimulatedAppKit.h"
#include "simulated_mac/file/MacFile.h"
#include "simulated_mac/machine/Installation.h"
#include "simulated_mac/machine/Mac.h"

using namespace displaycheck;
using simulated_mac::Mac;
using Outcome = simulated_mac::Scheduler::Outcome;

namespace {

/// Set by the signals that ask the program to end.
volatile std::sig_atomic_t askedToEnd = 0;

/// GNUstep's own handling of these signals deadlocks if they arrive during drawing.
void setSignals(void (*handler)(int)) {
    for (const int number : {SIGHUP, SIGINT, SIGTERM}) std::signal(number, handler);
}

struct Arguments {
    std::string file;
    std::string language;
    std::string screenshot;
    double speed;
    simulated_mac::Assumption assumption;
    bool dark;
};

/// Fonts with the characters of a language, regular and bold; the user's, if one is set.
std::pair<std::string, std::string> fontsFor(const std::string& language) {
    const char* usersFont = getenv("DISPLAYCHECK_FONT");
    if (usersFont != nullptr) return {usersFont, std::string(usersFont) + "-Bold"};
    static const std::map<std::string, std::string> others = {{"ja", "NotoSansCJKjp"},
                                                              {"ko", "NotoSansCJKkr"},
                                                              {"zh-Hans", "NotoSansCJKsc"},
                                                              {"zh-Hant", "NotoSansCJKtc"}};
    const auto other = others.find(language);
    if (other == others.end()) return {"Inter-Regular", "Inter-Bold"};
    return {other->second + "-Regular", other->second + "-Bold"};
}

/// Defaults of GNUstep's that make the window look the same on every machine.
void setUpGNUstep(const Arguments& arguments) {
    const auto [regular, bold] = fontsFor(arguments.language);
    std::vector<std::string> words = {
        "displaycheck",
        "-NSFont",
        regular,
        "-NSUserFont",
        regular,
        "-NSBoldFont",
        bold,
        "-NSLanguages",
        "(\"" + arguments.language + "\")",
        "-GSSuppressAppIcon",
        "YES",
    };
    for (std::string& word : defaultsOfSystemColours()) words.push_back(std::move(word));
    std::vector<char*> pointers;
    for (std::string& word : words) pointers.push_back(word.data());
    [NSProcessInfo initializeWithArguments:pointers.data()
                                     count:static_cast<int>(pointers.size())
                               environment:environ];
}

}  // namespace

/// Loads the plug-in as the installer does and runs the Mac in real time.
@interface WindowHost : NSObject {
  @private
    Mac* mac;
    std::chrono::steady_clock::time_point start;
    double speed;
    Outcome outcome;
}
- (instancetype)initWithMac:(Mac*)switchedOn speed:(double)times;
- (InstallerSection*)loadSection;
/// Lets the Mac's clock catch up with the wall clock.
- (void)play;
/// Lets it run until nothing is left to do.
- (void)playToTheEnd;
- (Outcome)outcome;
@end

@implementation WindowHost

- (instancetype)initWithMac:(Mac*)switchedOn speed:(double)times {
    self = [super init];
    if (self == nil) return nil;
    mac = switchedOn;
    start = std::chrono::steady_clock::now();
    speed = times;
    outcome = Outcome::waiting;
    mac->onUser([](simulated_mac::EventDescription::User action) {
        using User = simulated_mac::EventDescription::User;
        if (action == User::entersPane) [[InstallerWindow shared] enterPane];
        if (action == User::clicksWarning) [[InstallerWindow shared] clickWarning];
        return true;
    });
    mac->onViewReleased([] { [[InstallerWindow shared] releasePaneView]; });
    mac->journal.onNote([](const simulated_mac::TimelineEntry& entry) {
        printf("%10.3f s  %-4s  %s\n", std::chrono::duration<double>(entry.time).count(),
               entry.source.c_str(), entry.what.c_str());
    });
    return self;
}

/// The section of the plug-in's bundle with its pane; nil, with a message, if it can't be loaded.
- (InstallerSection*)loadSection {
    NSString* path = [NSString stringWithUTF8String:simulated_mac::Installation::plugin().c_str()];
    NSBundle* bundle = [NSBundle bundleWithPath:path];
    if (bundle == nil || ![bundle load]) {
        fprintf(stderr, "displaycheck: %s: the plug-in can't be loaded\n", [path UTF8String]);
        return nil;
    }
    takeSystemLook();
    simulateAppKit(bundle);
    InstallerSection* section = [[[bundle principalClass] alloc] initWithBundle:bundle];
    NSString* nib = [bundle objectForInfoDictionaryKey:@"NSMainNibFile"];
    NSDictionary* names = [NSDictionary dictionaryWithObject:section forKey:NSNibOwner];
    [section willLoadMainNib];
    if (![bundle loadNibFile:nib externalNameTable:names withZone:NULL] ||
        [section firstPane] == nil) {
        fprintf(stderr, "displaycheck: %s: its interface file can't be loaded\n",
                [path UTF8String]);
        return nil;
    }
    [section didLoadMainNib];
    return section;
}

- (void)play {
    if (askedToEnd != 0) return [[InstallerWindow shared] close];
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start;
    outcome =
        mac->scheduler.runUntil(std::chrono::duration_cast<simulated_mac::Time>(passed * speed));
}

- (void)playToTheEnd {
    outcome = mac->scheduler.runUntilQuiet();
}

- (Outcome)outcome {
    return outcome;
}

@end

namespace {

/// Leaves the pane's view, and each that it shows, to the one owner that they have on a Mac: the
/// pane, and the view around them. GNUstep's loader of interface files never releases the objects
/// that it made.
void leaveToTheirOwners(InstallerPane* pane) {
    std::vector<NSView*> views;
    @autoreleasepool {
        views.push_back([pane contentView]);
        for (std::size_t at = 0; at < views.size(); ++at) {
            for (NSView* part in [views[at] subviews]) views.push_back(part);
        }
    }
    for (NSView* view : views) {
        while ([view retainCount] > 1) [view release];
    }
}

/// Lets the run come to its end and writes what the window shows then. False, with a message, if it
/// can't be written.
bool takePicture(WindowHost* host, Mac& mac, InstallerWindow* window, const std::string& path) {
    setSignals(SIG_DFL);
    mac.scheduler.onMain([window] { [window enterPane]; });
    [host playToTheEnd];
    [window display];
    if ([window writePNGTo:[NSString stringWithUTF8String:path.c_str()]]) return true;
    fprintf(stderr, "displaycheck: %s: can't be written\n", path.c_str());
    return false;
}

/// Until the window is closed.
void runInRealTime(WindowHost* host, InstallerWindow* window) {
    setSignals([](int) { askedToEnd = 1; });
    [window enterPane];
    NSTimer* timer = [NSTimer scheduledTimerWithTimeInterval:0.02
                                                      target:host
                                                    selector:@selector(play)
                                                    userInfo:nil
                                                     repeats:YES];
    // Time passes while a button is held down, too.
    [[NSRunLoop currentRunLoop] addTimer:timer forMode:NSEventTrackingRunLoopMode];
    [NSApp run];
}

/// The exit status. A user who closes the window while the pane still looks for devices has seen no
/// failure.
int statusOf(Outcome outcome, InstallerWindow* window, const std::string& file) {
    const char* problem = nullptr;
    if (outcome == Outcome::stuck || outcome == Outcome::outOfTime) {
        problem = "the run did not finish";
    } else if (outcome == Outcome::quiet && [window continueIsGreyed]) {
        problem = "all is quiet, but Continue was not enabled";
    }
    if (problem == nullptr) return done;
    fprintf(stderr, "displaycheck: %s: %s\n", file.c_str(), problem);
    return unfinished;
}

int show(const Arguments& arguments) {
    Mac mac(assumedMac(simulated_mac::readMacFile(arguments.file), arguments.assumption));
    [InstallerWindow takeIcon];
    [NSApplication sharedApplication];
    WindowHost* host = [[WindowHost alloc] initWithMac:&mac speed:arguments.speed];
    InstallerSection* section = nil;
    @autoreleasepool {
        section = [host loadSection];
    }
    if (section == nil) return unfinished;
    leaveToTheirOwners([section firstPane]);
    InstallerWindow* window = [[InstallerWindow alloc] initWithSection:section];
    [window center];
    [window makeKeyAndOrderFront:nil];
    if (arguments.screenshot.empty()) {
        runInRealTime(host, window);
    } else if (!takePicture(host, mac, window, arguments.screenshot)) {
        return unfinished;
    }
    return statusOf([host outcome], window, arguments.file);
}

}  // namespace

namespace displaycheck {

int showWindow(const std::vector<std::string>& words) {
    const Arguments arguments{words[0],
                              words[1],
                              words[2],
                              strtod(words[3].c_str(), nullptr),
                              simulated_mac::assumptionNamed(words[4]).value(),
                              words[5] == "dark"};
    selectAppearance(arguments.dark);
    setUpGNUstep(arguments);
    takeLog();
    @autoreleasepool {
        return show(arguments);
    }
}

}  // namespace displaycheck
