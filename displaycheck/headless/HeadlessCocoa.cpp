#include <fmt/format.h>

#include "plugin/Cocoa/FailureLog.h"
#include "plugin/Cocoa/InstallerPane.h"
#include "plugin/Cocoa/Screens.h"
#include "plugin/Cocoa/StringTable.h"
#include "plugin/Cocoa/SystemLog.h"
#include "plugin/Cocoa/TextField.h"
#include "plugin/Cocoa/ThreadSleep.h"
#include "plugin/Cocoa/Workspace.h"
#include "simulated_mac/machine/InstallerWindow.h"
#include "simulated_mac/machine/Mac.h"
#include "simulated_mac/platform/CFDescription.h"
#include "simulated_mac/platform/PlatformCall.h"

// The plug-in's Cocoa functions without Cocoa: the screens are the Mac's, the labels and the button
// those of its installer window, and sleeping uses its clock.

using simulated_mac::FallibleCall;
using simulated_mac::InstallerWindow;
using simulated_mac::Mac;
using simulated_mac::NamedValues;
using simulated_mac::PlatformCall;
using simulated_mac::Quoted;
using simulated_mac::unlabelled;

namespace {

/// Changes the user's view. Only the main thread may.
void onMain(const std::string& what) {
    Mac& mac = *Mac::current();
    mac.journal.note("pane", what);
    if (!mac.scheduler.onMainThread()) {
        mac.journal.misuse(fmt::format("{} by the thread {}, not by the main thread", what,
                                       mac.scheduler.threadName()));
    }
}

/// The label; nullptr if it is gone.
InstallerWindow::Label* labelOf(void* pane, Cocoa::Outlet outlet) {
    auto& window = *static_cast<InstallerWindow*>(pane);
    if (window.viewReleased) return nullptr;
    return outlet == Cocoa::Outlet::lb_title ? &window.title : &window.warnings;
}

/// The reason given by a Cocoa call that is made to fail.
constexpr auto raised = "NSInternalInconsistencyException: made to fail";

std::string changeOf(const InstallerWindow::Label& label, const std::string& text) {
    return text.empty() ? label.name + " is emptied"
                        : fmt::format("{} shows \"{}\"", label.name, text);
}

}  // namespace

namespace Cocoa {

std::vector<Screen> screens() {
    FallibleCall call("NSScreen.screens");
    std::vector<Screen> list;
    for (const auto* display : Mac::current()->screens()) {
        list.push_back({display->screen.isScreen, display->displayID, display->localizedName});
    }
    if (call.fails()) list.clear();
    call.result(list.size());
    return list;
}

std::string localizedString(const std::string& key) {
    const Mac* const mac = Mac::current();
    return mac != nullptr ? mac->localizedString(key) : key;
}

void log(const std::string& message) {
    const PlatformCall call("NSLog", [&] {
        return NamedValues{{"message", Quoted{message}, unlabelled}};
    });
    if (Mac* const mac = Mac::current()) mac->journal.log(message);
}

void log(CFDictionaryRef dictionary) {
    log(simulated_mac::descriptionOf(dictionary));
}

void logFailure(const char* what, const char* why) noexcept {
    const PlatformCall call("NSLog");
    if (Mac* const mac = Mac::current()) mac->journal.log(fmt::format("{} failed: {}", what, why));
}

void openAddress(const std::string& address) {
    const PlatformCall call("NSWorkspace.openURL", [&] {
        return NamedValues{{"address", address, unlabelled}};
    });
    Mac& mac = *Mac::current();
    mac.window.openedAddresses.push_back(address);
    onMain("opens " + address);
}

void sleepThread(std::chrono::microseconds duration) {
    const PlatformCall call("NSThread.sleep", [&] {
        return NamedValues{{"duration", duration, unlabelled}};
    });
    if (Mac* const mac = Mac::current()) mac->scheduler.sleep(duration);
}

void TextField::setStringValue(const std::string& text) const {
    const FallibleCall call("NSTextField.setStringValue", [&] {
        return NamedValues{{"text", Quoted{text}, unlabelled}};
    });
    if (call.fails()) return logFailure("setStringValue", raised);
    auto* const label = labelOf(pane_, outlet_);
    if (label == nullptr) return;
    onMain(changeOf(*label, text));
    label->text = text;
    label->link.reset();
}

void TextField::setAttributedStringValue(const AttributedString& string) const {
    const FallibleCall call("NSTextField.setAttributedStringValue", [&] {
        return NamedValues{{"text", Quoted{string.text}, unlabelled}};
    });
    if (call.fails()) return logFailure("setAttributedStringValue", raised);
    auto* const label = labelOf(pane_, outlet_);
    if (label == nullptr) return;
    onMain(changeOf(*label, string.text));
    label->text = string.text;
    label->link = string.link;
}

void TextField::addClickGestureRecognizer(void*) const {
    const FallibleCall call("NSView.addGestureRecognizer");
    if (call.fails()) return logFailure("addGestureRecognizer", raised);
    auto* const label = labelOf(pane_, outlet_);
    if (label == nullptr) return;
    ++label->clickRecognizers;
    onMain(label->name + " takes clicks");
}

void InstallerPane::setNextEnabled(bool enabled) const {
    const PlatformCall call("InstallerPane.setNextEnabled", [&] {
        return NamedValues{{"enabled", enabled, unlabelled}};
    });
    onMain(enabled ? "Continue is enabled" : "Continue is disabled");
    static_cast<InstallerWindow*>(pane_)->nextEnabled = enabled;
}

}  // namespace Cocoa
