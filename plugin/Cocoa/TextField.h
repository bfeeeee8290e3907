#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <optional>
#include <string>

namespace Cocoa {

/// A text with an optional part that looks like a link: system blue and underlined once.
struct AttributedString {
    std::string text;             ///< UTF-8
    std::optional<CFRange> link;  ///< in UTF-16 units of `text`
};

/// The pane's outlets that are labels.
enum class Outlet { lb_title, lb_warnings };

/// One label of the pane. The pane's view owns it and may be gone before a run ends: each use asks
/// the pane for it, and does nothing if it is gone. Main thread only.
class TextField {
  public:
    /// `pane` is the installer's object of the pane.
    TextField(void* pane, Outlet outlet) : pane_(pane), outlet_(outlet) {}

    void setStringValue(const std::string& text) const;
    void setAttributedStringValue(const AttributedString& text) const;
    /// Adds one more click gesture recognizer to the whole label. Its target is the pane object
    /// `target`, its action the pane's `vornWebsiteBtnDidClicked`.
    void addClickGestureRecognizer(void* target) const;

  private:
    void* pane_;
    Outlet outlet_;
};

}  // namespace Cocoa
