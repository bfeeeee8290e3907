#pragma once

#include <CoreGraphics/CoreGraphics.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "plugin/Platform/Exported.h"
#include "plugin/Platform/Guarded.h"
#include "plugin/Platform/IOAVService.h"

/// One display service in the I/O registry: a framebuffer's identity and the AV service proxy that
/// follows it in the walk.
struct IOregService {
    std::optional<std::string> edidUUID;  ///< hex digit groups derived from the monitor's EDID
    std::optional<std::string> manufacturerID;
    std::optional<std::string> productName;
    std::int32_t serialNumber = 0;        ///< 0 if there is none
    std::optional<std::string> location;  ///< of the proxy; "External" for an external display
    std::optional<std::string> transportUpstream;
    std::optional<std::string> transportDownstream;
    IOAVServiceRef avService = nullptr;  ///< NULL if none was made; never released
    std::int32_t serviceLocation = 0;    ///< ordinal of the framebuffer in the walk, from 1
};

/// A screen paired with an AV service.
struct DisplayService {
    CGDirectDisplayID displayID = 0;
    IOAVServiceRef avService = nullptr;  ///< not owned
    std::int32_t serviceLocation = 0;    ///< ordinal of the service's framebuffer
    bool discouraged = false;  ///< the monitor is the model that checkIfDiscouraged tests for
};

/// Which parts of a candidate's identity match a display's.
struct MatchedPieces {
    // In the EDID UUID.
    bool vendor = false;
    bool product = false;
    bool date = false;
    bool size = false;

    bool productName = false;
    bool serialNumber = false;
    bool location = false;  ///< the framebuffer's ordinal equals the display ID

    static constexpr std::int32_t highestScore = 13;

    /// 0 to highestScore: two points per part, one for the location.
    std::int32_t score() const;
};

/// Finds the display services of an Apple-silicon Mac and pairs them with screens. Holds no state:
/// every call walks the registry anew.
class Arm64Utility {
  public:
    /// One candidate for each AV service proxy, in walk order; empty if the walk can't start.
    std::vector<IOregService> getIoregServicesForMatching() const;

    /// The next framebuffer or proxy of the walk: its name and the entry, which the caller owns.
    /// False, with entry 0, at the end or if an entry's name can't be read.
    bool ioregIterateToNextObjectOfInterest(io_iterator_t iterator, std::string* name,
                                            io_service_t* service) const;

    /// The identity and transport in a framebuffer entry.
    IOregService getIORegServiceMonitorProperties(io_service_t framebuffer) const;

    /// Copies a proxy's location to the candidate and, for an external display, opens its AV
    /// service. A proxy without a location changes nothing.
    void setIORegServiceDCPAVServiceProxy(io_service_t proxy, IOregService* candidate) const;

    /// Pairings of screens and AV services, best score first; none below score 1.
    std::vector<DisplayService> getServiceMatches(
        const std::vector<CGDirectDisplayID>& displayIDs) const;

    /// How well a candidate fits a display: the score of matchedPieces.
    std::int32_t ioregMatchScore(CGDirectDisplayID displayID,
                                 const std::optional<std::string>& edidUUID,
                                 const std::optional<std::string>& productName,
                                 std::int32_t serialNumber, std::int32_t serviceLocation) const;

    /// Which parts of a candidate's identity match the display's information dictionary. A part
    /// that is missing on either side doesn't match, nor does one beyond the end of a short EDID
    /// UUID.
    MatchedPieces matchedPieces(CGDirectDisplayID displayID,
                                const std::optional<std::string>& edidUUID,
                                const std::optional<std::string>& productName,
                                std::int32_t serialNumber, std::int32_t serviceLocation) const;

    /// Whether the monitor is the one model of another maker whose DDC/CI is known to misbehave.
    bool checkIfDiscouraged(const IOregService& candidate) const;

    /// The first 128 bytes of the monitor's EDID in upper-case hex, 256 characters, padded with
    /// zeros; nothing if they can't be read, an empty text if there are none.
    std::optional<std::string> readEDID(IOAVServiceRef service) const;
};

/// A new one at every entry of the pane.
EXPORTED vorn::Guarded<std::shared_ptr<Arm64Utility>>& arm64Util;
