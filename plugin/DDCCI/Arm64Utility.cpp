#include "plugin/DDCCI/Arm64Utility.h"

#include <IOKit/IOKitLib.h>

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <string_view>

#include "plugin/Cocoa/SystemLog.h"
#include "plugin/Platform/CFRef.h"
#include "plugin/Platform/CoreDisplay.h"
#include "plugin/Platform/IOObject.h"
#include "plugin/Platform/Properties.h"
#include "plugin/Platform/Text.h"

using namespace vorn;

Guarded<std::shared_ptr<Arm64Utility>>& arm64Util = *new Guarded<std::shared_ptr<Arm64Utility>>;

namespace {

bool isFramebuffer(std::string_view name) {
    return name == "AppleCLCD2" || name == "IOMobileFramebufferShim";
}

bool isProxy(std::string_view name) {
    return name == "DCPAVServiceProxy";
}

std::int64_t limited(std::int64_t value, std::int64_t largest) {
    return std::clamp<std::int64_t>(value, 0, largest);
}

/// Two numbers, each limited to a byte, as four upper-case hex digits.
std::string hexBytes(std::int64_t first, std::int64_t second) {
    std::string digits;
    for (const std::int64_t number : {first, second}) {
        appendHex(digits, static_cast<std::uint8_t>(limited(number, 255)));
    }
    return digits;
}

/// Reads the platform's "model" property. It takes no part in any decision.
void readPlatformModel() {
    const IOObject platform(IOServiceGetMatchingService(
        kIOMasterPortDefault, IOServiceMatching("IOPlatformExpertDevice")));
    if (!platform) return;
    const CFRef<CFTypeRef> model(
        IORegistryEntryCreateCFProperty(platform.get(), CFSTR("model"), kCFAllocatorDefault, 0));
}

}  // namespace

std::vector<IOregService> Arm64Utility::getIoregServicesForMatching() const {
    std::vector<IOregService> candidates;
    const IOObject root(IORegistryGetRootEntry(kIOMasterPortDefault));
    io_iterator_t walk = IO_OBJECT_NULL;
    if (IORegistryEntryCreateIterator(root.get(), kIOServicePlane, kIORegistryIterateRecursively,
                                      &walk) != kIOReturnSuccess) {
        return candidates;
    }
    const IOObject iterator(walk);

    // Carried from entry to entry: a proxy belongs to the framebuffer met last before it.
    IOregService candidate;
    std::int32_t framebuffers = 0;
    std::string name;
    io_service_t found = IO_OBJECT_NULL;
    while (ioregIterateToNextObjectOfInterest(iterator.get(), &name, &found)) {
        const IOObject service(found);
        if (isFramebuffer(name)) {
            candidate = getIORegServiceMonitorProperties(service.get());
            candidate.serviceLocation = ++framebuffers;
        } else {
            setIORegServiceDCPAVServiceProxy(service.get(), &candidate);
            candidates.push_back(candidate);
        }
    }
    return candidates;
}

bool Arm64Utility::ioregIterateToNextObjectOfInterest(io_iterator_t iterator, std::string* name,
                                                      io_service_t* service) const {
    *service = IO_OBJECT_NULL;
    io_name_t buffer = {};
    while (IOObject entry{IOIteratorNext(iterator)}) {
        if (IORegistryEntryGetName(entry.get(), buffer) != kIOReturnSuccess) return false;
        const std::string_view entryName = buffer;
        if (isFramebuffer(entryName) || isProxy(entryName)) {
            *name = entryName;
            *service = entry.release();
            return true;
        }
    }
    return false;
}

IOregService Arm64Utility::getIORegServiceMonitorProperties(io_service_t framebuffer) const {
    IOregService service;
    if (const auto uuid = copyStringProperty(framebuffer, CFSTR("EDID UUID"))) {
        service.edidUUID = makeText(uuid.get());
    }
    const auto attributes = copyDictionaryProperty(framebuffer, CFSTR("DisplayAttributes"));
    const auto product = dictionaryEntry(attributes.get(), CFSTR("ProductAttributes"));
    service.productName = textEntry(product, CFSTR("ProductName"));
    service.manufacturerID = textEntry(product, CFSTR("ManufacturerID"));
    service.serialNumber =
        static_cast<std::int32_t>(integerEntry(product, CFSTR("SerialNumber")).value_or(0));
    const auto transport = copyDictionaryProperty(framebuffer, CFSTR("Transport"));
    service.transportUpstream = textEntry(transport.get(), CFSTR("Upstream"));
    service.transportDownstream = textEntry(transport.get(), CFSTR("Downstream"));
    return service;
}

void Arm64Utility::setIORegServiceDCPAVServiceProxy(io_service_t proxy,
                                                    IOregService* candidate) const {
    const auto location = copyStringProperty(proxy, CFSTR("Location"));
    if (!location) return;
    candidate->location = makeText(location.get());
    if (candidate->location != "External") return;
    // Never released: the references live in display records until the process ends.
    candidate->avService = IOAVServiceCreateWithService != nullptr
                               ? IOAVServiceCreateWithService(kCFAllocatorDefault, proxy)
                               : nullptr;
}

std::vector<DisplayService> Arm64Utility::getServiceMatches(
    const std::vector<CGDirectDisplayID>& displayIDs) const {
    std::map<std::int32_t, std::vector<DisplayService>> pairingsByScore;
    for (const CGDirectDisplayID displayID : displayIDs) {
        for (const IOregService& candidate : getIoregServicesForMatching()) {
            if (!candidate.location || candidate.location->find("External") == std::string::npos) {
                continue;
            }
            const std::int32_t score =
                ioregMatchScore(displayID, candidate.edidUUID, candidate.productName,
                                candidate.serialNumber, candidate.serviceLocation);
            pairingsByScore[score].push_back({displayID, candidate.avService,
                                              candidate.serviceLocation,
                                              checkIfDiscouraged(candidate)});
        }
    }

    // A pairing is refused only when both its display and its service are taken: callers use the
    // first one of a display, which is its best.
    std::vector<DisplayService> matches;
    std::set<CGDirectDisplayID> usedDisplays;
    std::set<std::int32_t> usedLocations;
    for (std::int32_t score = MatchedPieces::highestScore; score >= 1; --score) {
        for (const DisplayService& pairing : pairingsByScore[score]) {
            const bool newDisplay = usedDisplays.insert(pairing.displayID).second;
            const bool newLocation = usedLocations.insert(pairing.serviceLocation).second;
            if (newDisplay || newLocation) matches.push_back(pairing);
        }
    }
    return matches;
}

std::int32_t Arm64Utility::ioregMatchScore(CGDirectDisplayID displayID,
                                           const std::optional<std::string>& edidUUID,
                                           const std::optional<std::string>& productName,
                                           std::int32_t serialNumber,
                                           std::int32_t serviceLocation) const {
    return matchedPieces(displayID, edidUUID, productName, serialNumber, serviceLocation).score();
}

std::int32_t MatchedPieces::score() const {
    const auto points = [](bool matched, std::int32_t worth) { return matched ? worth : 0; };
    return points(vendor, 2) + points(product, 2) + points(date, 2) + points(size, 2) +
           points(productName, 2) + points(serialNumber, 2) + points(location, 1);
}

MatchedPieces Arm64Utility::matchedPieces(CGDirectDisplayID displayID,
                                          const std::optional<std::string>& edidUUID,
                                          const std::optional<std::string>& productName,
                                          std::int32_t serialNumber,
                                          std::int32_t serviceLocation) const {
    const CFRef<CFDictionaryRef> info(CoreDisplay_DisplayCreateInfoDictionary != nullptr
                                          ? CoreDisplay_DisplayCreateInfoDictionary(displayID)
                                          : nullptr);
    const auto number = [&info](CFStringRef key) {
        return std::max<std::int64_t>(integerEntry(info.get(), key).value_or(0), 0);
    };
    const std::u16string uuid = utf16Units(edidUUID.value_or(""));
    const auto hasPiece = [&uuid](std::size_t position, const std::string& digits) {
        return uuid.size() >= position + digits.size() &&
               std::equal(digits.begin(), digits.end(),
                          uuid.begin() + static_cast<std::ptrdiff_t>(position));
    };

    MatchedPieces matched;
    const auto vendor = limited(number(CFSTR("DisplayVendorID")), 0xFFFF);
    matched.vendor = hasPiece(0, hexBytes(vendor >> 8, vendor & 0xFF));
    const auto product = limited(number(CFSTR("DisplayProductID")), 0xFFFF);
    matched.product = hasPiece(4, hexBytes(product & 0xFF, product >> 8));
    matched.date = hasPiece(19, hexBytes(number(CFSTR("DisplayWeekManufacture")),
                                         number(CFSTR("DisplayYearManufacture")) - 1990));
    matched.size = hasPiece(30, hexBytes(number(CFSTR("DisplayHorizontalImageSize")) / 10,
                                         number(CFSTR("DisplayVerticalImageSize")) / 10));
    if (productName && !productName->empty()) {
        const auto names = dictionaryEntry(info.get(), CFSTR("DisplayProductName"));
        const auto name = textEntry(names, CFSTR("en_US"));
        matched.productName = name && lowercaseText(*name) == lowercaseText(*productName);
    }
    const auto serial = integerEntry(info.get(), CFSTR("DisplaySerialNumber")).value_or(0);
    matched.serialNumber = serialNumber != 0 && serialNumber == static_cast<std::int32_t>(serial);
    // The ordinal says nothing of the display ID; where they are equal it breaks a tie.
    matched.location = static_cast<std::int64_t>(serviceLocation) == displayID;
    return matched;
}

bool Arm64Utility::checkIfDiscouraged(const IOregService& candidate) const {
    readPlatformModel();
    return candidate.manufacturerID == "AOC" && candidate.productName == "28E850";
}

std::optional<std::string> Arm64Utility::readEDID(IOAVServiceRef service) const {
    constexpr CFIndex blockSize = 128;

    CFDataRef copied = nullptr;
    if (IOAVServiceCopyEDID == nullptr || service == nullptr ||
        IOAVServiceCopyEDID(service, &copied) != kIOReturnSuccess) {
        Cocoa::log("Cannot copy EDID");
        return std::nullopt;
    }
    const CFRef<CFDataRef> edid(copied);
    if (!edid) {
        Cocoa::log("No EDID found");
        return std::string();
    }
    std::array<std::uint8_t, blockSize> block{};
    CFDataGetBytes(edid.get(), CFRange{0, std::min(blockSize, CFDataGetLength(edid.get()))},
                   block.data());
    std::string text;
    for (const std::uint8_t byte : block) appendHex(text, byte);
    return text;
}
