#import "displaycheck/window/LineBreaks.h"

#include <unicode/brkiter.h>
#include <unicode/unistr.h>

#include <memory>
#include <vector>

namespace displaycheck {

namespace {

/// Where a line may end, in UTF-16 units.
struct Chance {
    NSUInteger place;
    bool mustEnd;
};

std::vector<Chance> chancesIn(NSString* text) {
    const icu::UnicodeString units = icu::UnicodeString::fromUTF8([text UTF8String]);
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::BreakIterator> iterator(
        icu::BreakIterator::createLineInstance(icu::Locale::getRoot(), status));
    std::vector<Chance> chances;
    if (U_FAILURE(status)) return chances;
    iterator->setText(units);
    while (iterator->next() != icu::BreakIterator::DONE) {
        chances.push_back({static_cast<NSUInteger>(iterator->current()),
                           iterator->getRuleStatus() >= UBRK_LINE_HARD});
    }
    return chances;
}

/// The range without the blanks at its end, which may stand beyond the line's.
NSRange withoutBlanksBehind(NSString* text, NSRange range) {
    NSCharacterSet* blanks = [NSCharacterSet whitespaceAndNewlineCharacterSet];
    while (range.length > 0 &&
           [blanks characterIsMember:[text characterAtIndex:NSMaxRange(range) - 1]]) {
        --range.length;
    }
    return range;
}

CGFloat widthOf(NSAttributedString* text, NSUInteger from, NSUInteger to) {
    const NSRange line = withoutBlanksBehind([text string], NSMakeRange(from, to - from));
    return [[text attributedSubstringFromRange:line] size].width;
}

/// The places at which lines have to end so that none is wider than `width`.
std::vector<NSUInteger> endsOfLines(NSAttributedString* text, CGFloat width) {
    std::vector<NSUInteger> ends;
    NSUInteger start = 0;
    NSUInteger last = 0;
    for (const auto& [place, mustEnd] : chancesIn([text string])) {
        if (last > start && widthOf(text, start, place) > width) {
            ends.push_back(last);
            start = last;
        }
        last = place;
        if (mustEnd) start = place;
    }
    return ends;
}

}  // namespace

NSAttributedString* inLines(NSAttributedString* text, CGFloat width) {
    NSMutableAttributedString* broken = [[text mutableCopy] autorelease];
    const std::vector<NSUInteger> ends = endsOfLines(text, width);
    // From the last on, so that the places before stay.
    for (auto end = ends.rbegin(); end != ends.rend(); ++end) {
        const NSUInteger kept =
            NSMaxRange(withoutBlanksBehind([text string], NSMakeRange(0, *end)));
        [broken replaceCharactersInRange:NSMakeRange(kept, *end - kept) withString:@"\n"];
    }
    return broken;
}

}  // namespace displaycheck
