#include "plugin/Cocoa/TextField.h"

#include "plugin/Cocoa/InCocoa.h"
#include "plugin/Cocoa/NSStringText.h"
#import "plugin/Cocoa/PaneClass.h"

namespace Cocoa {

namespace {

/// The label, or nil where it is gone; sending it anything does nothing then.
NSTextField* fieldOf(void* pane, Outlet outlet) {
    MyInstallerPane* object = static_cast<MyInstallerPane*>(pane);
    return outlet == Outlet::lb_title ? [object lb_title] : [object lb_warnings];
}

}  // namespace

void TextField::setStringValue(const std::string& text) const {
    inCocoa("setStringValue", [&] { [fieldOf(pane_, outlet_) setStringValue:makeNSString(text)]; });
}

void TextField::setAttributedStringValue(const AttributedString& string) const {
    inCocoa("setAttributedStringValue", [&] {
        NSMutableAttributedString* attributed = [[[NSMutableAttributedString alloc]
            initWithString:makeNSString(string.text)] autorelease];
        if (string.link) {
            const NSRange link = NSMakeRange(static_cast<NSUInteger>(string.link->location),
                                             static_cast<NSUInteger>(string.link->length));
            [attributed beginEditing];
            [attributed addAttribute:NSForegroundColorAttributeName
                               value:[NSColor systemBlueColor]
                               range:link];
            [attributed addAttribute:NSUnderlineStyleAttributeName
                               value:[NSNumber numberWithInt:1]
                               range:link];
            [attributed endEditing];
        }
        [fieldOf(pane_, outlet_) setAttributedStringValue:attributed];
    });
}

void TextField::addClickGestureRecognizer(void* target) const {
    inCocoa("addGestureRecognizer", [&] {
        NSClickGestureRecognizer* recognizer = [[[NSClickGestureRecognizer alloc]
            initWithTarget:static_cast<id>(target)
                    action:@selector(vornWebsiteBtnDidClicked)] autorelease];
        [fieldOf(pane_, outlet_) addGestureRecognizer:recognizer];
    });
}

}  // namespace Cocoa
