#import <InstallerPlugins/InstallerPlugins.h>

#include <type_traits>

// The stand-in for the installer's framework against its documentation, as
// docs/platform-declarations.md gives it. Compiling this file is the test.

namespace {

template <class T, class Documented>
constexpr bool is = std::is_same_v<T, Documented>;

static_assert(InstallerDirectionForward == 0 && InstallerDirectionBackward == 1 &&
              InstallerDirectionUndefined == 2);

#define PROPERTY(variable, name, type) static_assert(is<decltype(variable.name), type>)
#define METHOD(type, ...) static_assert(is<decltype(__VA_ARGS__), type>)

[[maybe_unused]] void checkSection(InstallerSection* section) {
    static_assert(std::is_convertible_v<InstallerSection*, NSObject*>);
    PROPERTY(section, firstPane, InstallerPane*);
    PROPERTY(section, bundle, NSBundle*);
    PROPERTY(section, title, NSString*);
    METHOD(void, [section willLoadMainNib]);
    METHOD(void, [section didLoadMainNib]);
    METHOD(BOOL, [section shouldLoad]);
    section.firstPane = nil;
}

[[maybe_unused]] void checkPane(InstallerPane* pane) {
    static_assert(std::is_convertible_v<InstallerPane*, NSObject*>);
    METHOD(InstallerPane*, [[InstallerPane alloc] initWithSection:nil]);
    PROPERTY(pane, section, InstallerSection*);
    PROPERTY(pane, title, NSString*);
    PROPERTY(pane, nextPane, InstallerPane*);
    PROPERTY(pane, contentView, NSView*);
    PROPERTY(pane, initialKeyView, NSView*);
    PROPERTY(pane, firstKeyView, NSView*);
    PROPERTY(pane, lastKeyView, NSView*);
    PROPERTY(pane, nextEnabled, BOOL);
    PROPERTY(pane, previousEnabled, BOOL);
    pane.nextPane = nil;
    pane.contentView = nil;
    pane.initialKeyView = pane.firstKeyView = pane.lastKeyView = nil;
    pane.nextEnabled = pane.previousEnabled = NO;
    METHOD(void, [pane willEnterPane:InstallerDirectionForward]);
    METHOD(void, [pane didEnterPane:InstallerDirectionForward]);
    METHOD(BOOL, [pane shouldExitPane:InstallerDirectionForward]);
    METHOD(void, [pane willExitPane:InstallerDirectionForward]);
    METHOD(void, [pane didExitPane:InstallerDirectionForward]);
    METHOD(BOOL, [pane gotoNextPane]);
    METHOD(BOOL, [pane gotoPreviousPane]);
}

}  // namespace
