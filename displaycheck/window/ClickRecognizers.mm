#import "displaycheck/window/ClickRecognizers.h"

#include <map>
#include <vector>

#import "displaycheck/window/AppKitAdditions.h"
#include "simulated_mac/platform/Running.h"

namespace {

struct TargetAndAction {
    id target;
    SEL action;
};

/// GNUstep's recognizers keep no state, and its views have none. Both live as long as the process.
struct Recognizers {
    std::map<NSGestureRecognizer*, TargetAndAction> actions;
    std::map<NSView*, std::vector<NSGestureRecognizer*>> ofViews;
};

Recognizers& recognizers() {
    static auto& all = *new Recognizers;
    return all;
}

bool takesClicks(NSView* view) {
    return recognizers().ofViews.contains(view);
}

}  // namespace

@implementation NSClickGestureRecognizer (TargetAndAction)

- (instancetype)initWithTarget:(id)target action:(SEL)action {
    self = [super init];
    if (self != nil) recognizers().actions[self] = {target, action};
    return self;
}

@end

@implementation NSView (GestureRecognizers)

- (void)addGestureRecognizer:(NSGestureRecognizer*)recognizer {
    recognizers().ofViews[self].push_back([recognizer retain]);
}

@end

void sendClickTo(NSView* view) {
    const TargetAndAction& click = recognizers().actions[recognizers().ofViews[view].front()];
    simulated_mac::runPlugin(sel_getName(click.action),
                             [&] { [click.target performSelector:click.action]; });
}

NSView* viewTakingClicksAt(NSWindow* window, NSPoint place) {
    NSView* view = [[window contentView] hitTest:place];
    while (view != nil && !takesClicks(view)) view = [view superview];
    return view;
}

NSView* viewTakingClicksIn(NSView* view) {
    if (takesClicks(view)) return view;
    for (NSView* part in [view subviews]) {
        NSView* found = viewTakingClicksIn(part);
        if (found != nil) return found;
    }
    return nil;
}
