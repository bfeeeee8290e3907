#include "displaycheck/dumps/ScreenPairing.h"

#include <algorithm>
#include <utility>

namespace displaycheck {

namespace {

/// Whether both are the same display, as far as they tell.
bool isSame(const ProfiledDisplay& profiled, const RecordedDisplay& display) {
    if (profiled.vendor && profiled.product && display.vendor) {
        return profiled.vendor == display.vendor && profiled.product == display.product &&
               (!profiled.serial || profiled.serial == display.serial.value_or(0));
    }
    return profiled.builtIn == display.builtIn;
}

/// Whether nothing but their order tells them apart.
bool areTwins(const ProfiledDisplay& one, const ProfiledDisplay& other) {
    return one.vendor && one.product && one.vendor == other.vendor &&
           one.product == other.product && one.serial == other.serial;
}

}  // namespace

ScreenPairing::ScreenPairing(std::vector<RecordedDisplay> displays, const SystemProfile* profile) {
    for (RecordedDisplay& display : displays) screens_.push_back({std::move(display)});
    if (profile == nullptr) return;
    for (const ProfiledDisplay& one : profile->displays) free_.push_back(&one);
    for (Screen& screen : screens_) pairByIdentity(screen);
    pairWhatIsLeft();
    const bool areAllPaired =
        std::all_of(screens_.begin(), screens_.end(),
                    [](const Screen& screen) { return screen.profiled != nullptr; });
    if (!areAllPaired) return;
    addOthers();
    // The report is in the order of the screens.
    std::stable_sort(screens_.begin(), screens_.end(),
                     [](const Screen& a, const Screen& b) { return a.profiled < b.profiled; });
    isOrderKnown_ = true;
}

void ScreenPairing::pairByIdentity(Screen& screen) {
    std::vector<const ProfiledDisplay*> same;
    for (const ProfiledDisplay* one : free_) {
        if (isSame(*one, screen.display)) same.push_back(one);
    }
    const bool isSure = std::all_of(same.begin(), same.end(), [&](const auto* one) {
        return one == same.front() || areTwins(*one, *same.front());
    });
    if (!same.empty() && isSure) pair(screen, same.front());
}

/// One of each kind that is left in both is the same, though its numbers differ.
void ScreenPairing::pairWhatIsLeft() {
    for (const bool builtIn : {false, true}) {
        Screen* screen = nullptr;
        std::size_t screens = 0;
        for (Screen& one : screens_) {
            if (one.profiled != nullptr || one.display.builtIn != builtIn) continue;
            screen = &one;
            ++screens;
        }
        const auto isKind = [&](const auto* one) { return one->builtIn == builtIn; };
        if (screens == 1 && std::count_if(free_.begin(), free_.end(), isKind) == 1) {
            pair(*screen, *std::find_if(free_.begin(), free_.end(), isKind));
        }
    }
}

void ScreenPairing::pair(Screen& screen, const ProfiledDisplay* profiled) {
    screen.profiled = profiled;
    // The window system's numbers are those of the report.
    RecordedDisplay& display = screen.display;
    if (profiled->vendor) display.vendor = profiled->vendor;
    if (profiled->product) display.product = profiled->product;
    // Where the registry has none, the report's number is 0.
    if (display.serial || profiled->serial.value_or(0) != 0) display.serial = profiled->serial;
    if (profiled->week) display.week = static_cast<std::uint32_t>(*profiled->week);
    if (profiled->year) display.year = static_cast<std::uint32_t>(*profiled->year);
    free_.erase(std::find(free_.begin(), free_.end(), profiled));
}

/// Screens of which the registry says nothing.
void ScreenPairing::addOthers() {
    while (!free_.empty()) {
        Screen screen;
        screen.display.builtIn = free_.front()->builtIn;
        pair(screen, free_.front());
        screens_.push_back(std::move(screen));
    }
}

}  // namespace displaycheck
