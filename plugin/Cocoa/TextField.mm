#include "Cocoa/TextField.h"

#import <Cocoa/Cocoa.h>

#include "Cocoa/NSStringText.h"

namespace Cocoa {

namespace {

NSTextField* fieldOf(void* label) {
    return static_cast<NSTextField*>(label);
}

}  // namespace

void TextField::setStringValue(const std::string& text) const {
    @autoreleasepool {
        [fieldOf(label_) setStringValue:makeNSString(text)];
    }
}

void TextField::setAttributedStringValue(const AttributedString& string) const {
    @autoreleasepool {
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
        [fieldOf(label_) setAttributedStringValue:attributed];
    }
}

void TextField::addClickGestureRecognizer(void* target) const {
    @autoreleasepool {
        NSClickGestureRecognizer* recognizer = [[[NSClickGestureRecognizer alloc]
            initWithTarget:static_cast<id>(target)
                    action:@selector(vornWebsiteBtnDidClicked)] autorelease];
        [fieldOf(label_) addGestureRecognizer:recognizer];
    }
}

}  // namespace Cocoa
