#import "displaycheck/window/SimulatedAppKit.h"

#import <AppKit/AppKit.h>
#import <objc/runtime.h>
#include <spawn.h>
#include <unistd.h>

#include <chrono>

#import "displaycheck/window/InstallerWindow.h"
#import "displaycheck/window/LineBreaks.h"
#include "simulated_mac/machine/Mac.h"
#include "simulated_mac/platform/PlatformCall.h"
#include "simulated_mac/platform/Running.h"

using simulated_mac::Code;
using simulated_mac::FallibleCall;
using simulated_mac::FallibleCallName;
using simulated_mac::Mac;
using simulated_mac::NamedValues;
using simulated_mac::PlatformCall;
using simulated_mac::Running;

namespace {

NSBundle* pluginBundle = nil;

/// The Mac, if the calling thread is one of its background threads.
Mac* macOfBackgroundThread() {
    Mac* mac = Mac::current();
    if (mac == nullptr || mac->scheduler.onMainThread()) return nullptr;
    return mac->scheduler.threadName() == "unknown" ? nullptr : mac;
}

NSString* stringOf(const std::string& text) {
    NSString* string = [NSString stringWithUTF8String:text.c_str()];
    return string != nil ? string : @"";
}

/// Replaces a method's implementation; returns the previous one.
IMP replace(Method method, IMP implementation) {
    return method_setImplementation(method, implementation);
}

}  // namespace

/// A screen of the Mac, as far as the pane asks for it.
@interface SimulatedScreen : NSObject {
  @private
    NSDictionary* deviceDescription;
    NSString* localizedName;
}
- (instancetype)initWithDisplay:(const simulated_mac::Display&)display;
- (NSDictionary*)deviceDescription;
- (NSString*)localizedName;
@end

@implementation SimulatedScreen

- (instancetype)initWithDisplay:(const simulated_mac::Display&)display {
    self = [super init];
    if (self == nil) return nil;
    NSMutableDictionary* description = [NSMutableDictionary dictionary];
    [description setObject:[NSNumber numberWithUnsignedInt:display.displayID]
                    forKey:@"NSScreenNumber"];
    if (display.screen.isScreen) [description setObject:@"YES" forKey:@"NSDeviceIsScreen"];
    deviceDescription = [description copy];
    localizedName = [stringOf(display.localizedName) retain];
    return self;
}

- (void)dealloc {
    [deviceDescription release];
    [localizedName release];
    [super dealloc];
}

- (NSDictionary*)deviceDescription {
    return deviceDescription;
}

- (NSString*)localizedName {
    return localizedName;
}

@end

namespace {

IMP realScreens = nullptr;
IMP realSleep = nullptr;
IMP realText = nullptr;
IMP realSetText = nullptr;
IMP realSetAttributed = nullptr;
IMP realAdd = nullptr;

id screens(id self, SEL selector) {
    const Mac* mac = macOfBackgroundThread();
    if (mac == nullptr) return reinterpret_cast<id (*)(id, SEL)>(realScreens)(self, selector);
    FallibleCall call("NSScreen.screens");
    NSMutableArray* list = [NSMutableArray array];
    if (call.fails()) return list;
    for (const simulated_mac::Display* display : mac->screens()) {
        [list addObject:[[[SimulatedScreen alloc] initWithDisplay:*display] autorelease]];
    }
    call.result([list count]);
    return list;
}

void sleepForTimeInterval(id self, SEL selector, NSTimeInterval seconds) {
    Mac* mac = macOfBackgroundThread();
    if (mac == nullptr) {
        reinterpret_cast<void (*)(id, SEL, NSTimeInterval)>(realSleep)(self, selector, seconds);
        return;
    }
    const auto duration =
        std::chrono::round<simulated_mac::Time>(std::chrono::duration<double>(seconds));
    const PlatformCall call("NSThread.sleep", [&] {
        return NamedValues{{"duration", duration, simulated_mac::unlabelled}};
    });
    mac->scheduler.sleep(duration);
}

id localizedString(id self, SEL selector, NSString* key, NSString* value, NSString* table) {
    const Running platform(Code::platform);
    const Mac* mac = Mac::current();
    if (self == pluginBundle && mac != nullptr && key != nil) {
        const auto changed = mac->description.strings.find([key UTF8String]);
        if (changed != mac->description.strings.end()) {
            return changed->second ? stringOf(*changed->second) : key;
        }
    }
    return reinterpret_cast<id (*)(id, SEL, NSString*, NSString*, NSString*)>(realText)(
        self, selector, key, value, table);
}

/// Makes a call of a text field raise an exception if the Mac file says so. The pane's labels are
/// the only ones.
void raiseIfAsked(FallibleCallName name, id receiver) {
    if (Mac::current() == nullptr || ![receiver isKindOfClass:[NSTextField class]]) return;
    const FallibleCall call(name);
    if (call.fails()) {
        [NSException raise:NSInternalInconsistencyException format:@"made to fail"];
    }
}

void setStringValue(id self, SEL selector, NSString* text) {
    raiseIfAsked("NSTextField.setStringValue", self);
    reinterpret_cast<void (*)(id, SEL, NSString*)>(realSetText)(self, selector, text);
}

/// The text with the field's own font and colour wherever it says nothing else; GNUstep would take
/// its default font, and black.
NSAttributedString* inLookOf(NSTextField* field, NSAttributedString* text) {
    NSMutableAttributedString* complete = [[[NSMutableAttributedString alloc]
        initWithString:[text string]
            attributes:[NSDictionary dictionaryWithObjectsAndKeys:[field font], NSFontAttributeName,
                                                                  [field textColor],
                                                                  NSForegroundColorAttributeName,
                                                                  nil]] autorelease];
    NSRange range = NSMakeRange(0, 0);
    for (NSUInteger at = 0; at < [text length]; at = NSMaxRange(range)) {
        NSDictionary* own = [text attributesAtIndex:at effectiveRange:&range];
        [complete addAttributes:own range:range];
    }
    return complete;
}

CGFloat textWidthOf(NSTextField* field) {
    return NSWidth([[field cell] titleRectForBounds:[field bounds]]);
}

void setAttributedStringValue(id self, SEL selector, NSAttributedString* text) {
    raiseIfAsked("NSTextField.setAttributedStringValue", self);
    reinterpret_cast<void (*)(id, SEL, NSAttributedString*)>(realSetAttributed)(
        self, selector, displaycheck::inLines(inLookOf(self, text), textWidthOf(self)));
}

void addGestureRecognizer(id self, SEL selector, NSGestureRecognizer* recognizer) {
    raiseIfAsked("NSView.addGestureRecognizer", self);
    reinterpret_cast<void (*)(id, SEL, NSGestureRecognizer*)>(realAdd)(self, selector, recognizer);
}

/// Hands an address to the desktop's opener, if there is a desktop.
void openOnDesktop(const char* address) {
    if (getenv("XDG_CURRENT_DESKTOP") == nullptr) return;
    char program[] = "xdg-open";
    char* const arguments[] = {program, const_cast<char*>(address), nullptr};
    pid_t child = 0;
    posix_spawnp(&child, program, nullptr, nullptr, arguments, environ);
}

BOOL openURL(id, SEL, NSURL* address) {
    const char* text = [[address absoluteString] UTF8String];
    const PlatformCall call("NSWorkspace.openURL", [&] {
        return NamedValues{{"address", text, simulated_mac::unlabelled}};
    });
    Mac* mac = Mac::current();
    mac->window.openedAddresses.emplace_back(text);
    mac->journal.note("pane", std::string("opens ") + text);
    [[InstallerWindow shared] showOpenedAddress:[address absoluteString]];
    openOnDesktop(text);
    return YES;
}

/// NSLog's output, line by line; the message follows the process's name and numbers.
void log(NSString* line) {
    const Running platform(Code::platform);
    // GNUstep complains about a missing window manager, which doesn't matter here.
    if ([line rangeOfString:@"Failed to determine offsets"].location != NSNotFound) return;
    Mac* mac = Mac::current();
    if (mac == nullptr) {
        fputs([line UTF8String], stderr);
        return;
    }
    const NSRange message = [line rangeOfString:@"] "];
    NSString* text =
        message.location != NSNotFound ? [line substringFromIndex:NSMaxRange(message)] : line;
    text = [text stringByTrimmingCharactersInSet:[NSCharacterSet newlineCharacterSet]];
    mac->journal.log([text UTF8String]);
    mac->journal.note("log", [text UTF8String]);
}

}  // namespace

namespace displaycheck {

void simulateAppKit(NSBundle* plugin) {
    pluginBundle = [plugin retain];
    realScreens = replace(class_getClassMethod([NSScreen class], @selector(screens)),
                          reinterpret_cast<IMP>(screens));
    realSleep = replace(class_getClassMethod([NSThread class], @selector(sleepForTimeInterval:)),
                        reinterpret_cast<IMP>(sleepForTimeInterval));
    realText = replace(
        class_getInstanceMethod([NSBundle class], @selector(localizedStringForKey:value:table:)),
        reinterpret_cast<IMP>(localizedString));
    replace(class_getInstanceMethod([NSWorkspace class], @selector(openURL:)),
            reinterpret_cast<IMP>(openURL));
    realSetText = replace(class_getInstanceMethod([NSTextField class], @selector(setStringValue:)),
                          reinterpret_cast<IMP>(setStringValue));
    realSetAttributed =
        replace(class_getInstanceMethod([NSTextField class], @selector(setAttributedStringValue:)),
                reinterpret_cast<IMP>(setAttributedStringValue));
    realAdd = replace(class_getInstanceMethod([NSView class], @selector(addGestureRecognizer:)),
                      reinterpret_cast<IMP>(addGestureRecognizer));
}

void takeLog() {
    _NSLog_printf_handler = log;
}

}  // namespace displaycheck
