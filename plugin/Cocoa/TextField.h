#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <optional>
#include <string>

namespace Cocoa {

/// A text of which one part may look like a link: system blue and underlined once.
struct AttributedString {
    std::string text;             ///< UTF-8
    std::optional<CFRange> link;  ///< in UTF-16 units of `text`
};

/// One label of the pane. Does not own it: the pane's interface file does, as with any outlet.
/// Main thread only.
class TextField {
  public:
    /// `label` is the platform's label object.
    explicit TextField(void* label) : label_(label) {}

    void setStringValue(const std::string& text) const;
    void setAttributedStringValue(const AttributedString& text) const;
    /// Adds one more click gesture recognizer to the whole label. Its target is the pane object
    /// `target`, its action the pane's `vornWebsiteBtnDidClicked`.
    void addClickGestureRecognizer(void* target) const;

  private:
    void* label_;
};

}  // namespace Cocoa
