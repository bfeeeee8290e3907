#include "plugin/MyInstallerPane.h"

#include <CoreGraphics/CoreGraphics.h>

#include "plugin/Cocoa/StringTable.h"
#include "plugin/Cocoa/Workspace.h"
#include "plugin/DDCCI/DDCCtl.h"
#include "plugin/Platform/Attempt.h"
#include "plugin/Platform/CFRef.h"
#include "plugin/Platform/Dispatch.h"
#include "plugin/Platform/Text.h"
#include "plugin/ProductData.h"
#include "plugin/Utilities/EDIDUtils.h"
#include "plugin/Utilities/StringUtil.h"

namespace vorn {

namespace {

template <class T>
void makeWhenMissing(T*& object) {
    if (object == nullptr) object = new T;
}

/// Where the link word first occurs in a text, in UTF-16 units; nothing when it does not.
std::optional<CFRange> findLink(const std::string& text, const std::string& word) {
    const auto whole = makeCFString(text);
    const auto part = makeCFString(word);
    if (word.empty() || !whole || !part) return std::nullopt;
    const CFRange found = CFStringFind(whole.get(), part.get(), 0);
    if (found.location == kCFNotFound) return std::nullopt;
    return found;
}

}  // namespace

MyInstallerPane::MyInstallerPane(void* pane) noexcept
    : InstallerPane(pane),
      lb_title(pane, Cocoa::Outlet::lb_title),
      lb_warnings(pane, Cocoa::Outlet::lb_warnings) {}

std::string MyInstallerPane::title() const noexcept {
    std::string title = "PaneTitle";
    attempt("title", [&title] { title = Cocoa::localizedString("PaneTitle"); });
    return title;
}

void MyInstallerPane::didEnterPane(int /*direction*/) noexcept {
    attempt("didEnterPane", [this] { emptyLabels(); });
    setNextEnabled(false);
    const bool started = attempt("didEnterPane", [this] {
        makeWhenMissing(strUtil);
        makeWhenMissing(DDC);
        makeWhenMissing(::whiteList);
        makeWhenMissing(edidUtils);
        whiteList = ::whiteList;
        DDC->UseArm64 = ::whiteList->isM1Mac();
        arm64Util.set(std::make_shared<Arm64Utility>());
        infoDic.set({});
        SerialQueue("SerialQueue").async([this] { detect(); });
    });
    if (!started) finishRun();
}

void MyInstallerPane::detect() noexcept {
    attempt("getDisplayInfo", [this] { getDisplayInfo(); });
    if (!attempt("listeningUSBDevice", [this] { listeningUSBDevice(); })) finishRun();
}

void MyInstallerPane::emptyLabels() const {
    lb_title.setStringValue(Cocoa::localizedString("TITLE"));
    lb_warnings.setStringValue("");
}

void MyInstallerPane::initializeUI() noexcept {
    attempt("initializeUI", [this] {
        emptyLabels();
        if (!findsSupportedDevice()) showHyperLink();
    });
}

bool MyInstallerPane::findsSupportedDevice() const {
    bool supportedMonitor = false;
    for (const auto& display : displayInfoArray.get()) {
        if (CGDisplayIsBuiltin(display->screenNumber)) continue;
        const std::int32_t state = display->displayState;
        if (state == displayInfo::supportedAndAnswering || state == displayInfo::supportedByList) {
            supportedMonitor = true;
        }
        if (state == displayInfo::supportedAndAnswering) break;
    }
    return supportedMonitor || !infoDic.get().empty();
}

void MyInstallerPane::showHyperLink() noexcept {
    attempt("showHyperLink", [this] { showWarning(); });
}

void MyInstallerPane::showWarning() const {
    const std::string warning = Cocoa::localizedString("NO_CAMERA_AND_DISPLAY_WARNING");
    const std::string request =
        Cocoa::localizedString("Please connect a supported Vorn monitor or camera");
    const std::string click = Cocoa::localizedString("Click here for the compatible models.");
    const std::string sentences = " \n\n" + request + ". " + click;

    Cocoa::AttributedString label{warning + sentences, std::nullopt};
    // Only the sentences after the warning are searched for the link word.
    if (auto link = findLink(sentences, Cocoa::localizedString("here"))) {
        link->location += static_cast<CFIndex>(utf16Units(warning).size());
        label.link = link;
    }
    lb_warnings.setAttributedStringValue(label);
    // One more at every warning; none is ever removed.
    lb_warnings.addClickGestureRecognizer(object());
}

void MyInstallerPane::vornWebsiteBtnDidClicked() noexcept {
    attempt("vornWebsiteBtnDidClicked",
            [] { Cocoa::openAddress(std::string(ProductData::supportArticle)); });
}

}  // namespace vorn
