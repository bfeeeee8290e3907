#include "plugin/DDCCI/DDC.h"

#include <IOKit/graphics/IOGraphicsLib.h>

#include <algorithm>
#include <array>
#include <bit>
#include <chrono>
#include <cstdio>
#include <mutex>
#include <new>
#include <span>

#include "plugin/Cocoa/ThreadSleep.h"
#include "plugin/DDCCI/VCPPackets.h"
#include "plugin/Platform/CFRef.h"
#include "plugin/Platform/IOObject.h"
#include "plugin/Platform/Properties.h"

using namespace vorn;

using namespace std::chrono_literals;

namespace {

constexpr int tries = 5;
constexpr auto pauseBetweenTries = 1'000'000us;
constexpr auto pauseAfterRequestWithoutReply = 20'000us;

/// The identity that the window system and a framebuffer both give a monitor.
struct MonitorIdentity {
    std::uint32_t vendor;
    std::uint32_t product;
    std::uint32_t serialNumber;

    bool operator==(const MonitorIdentity&) const = default;
};

MonitorIdentity identityOfDisplay(CGDirectDisplayID display) {
    return {CGDisplayVendorNumber(display), CGDisplayModelNumber(display),
            CGDisplaySerialNumber(display)};
}

/// The identity in a framebuffer's display dictionary; nothing when it lacks vendor or product. All
/// three are 32-bit numbers, however wide the dictionary stores them.
std::optional<MonitorIdentity> identityInFramebuffer(io_service_t framebuffer) {
    const CFRef<CFDictionaryRef> info(
        IODisplayCreateInfoDictionary(framebuffer, kIODisplayOnlyPreferredName));
    const auto vendor = integerEntry(info.get(), CFSTR("DisplayVendorID"));
    const auto product = integerEntry(info.get(), CFSTR("DisplayProductID"));
    if (!vendor || !product) return std::nullopt;
    const auto serialNumber = integerEntry(info.get(), CFSTR("DisplaySerialNumber")).value_or(0);
    return MonitorIdentity{static_cast<std::uint32_t>(*vendor),
                           static_cast<std::uint32_t>(*product),
                           static_cast<std::uint32_t>(serialNumber)};
}

IOItemCount busCount(io_service_t framebuffer) {
    IOItemCount count = 0;
    IOFBGetI2CInterfaceCount(framebuffer, &count);
    return count;
}

struct TransactionType {
    long bit;
    const char* supported;
    const char* unsupported;
    IOOptionBits reply;  ///< the reply type that the bit allows; 0 where it allows none
};

constexpr std::array<TransactionType, 5> transactionTypes = {{
    {1 << kIOI2CNoTransactionType, "D: IOI2CNoTransactionType                   supported \n",
     "E: IOI2CNoTransactionType                   unsupported \n", kIOI2CNoTransactionType},
    {1 << kIOI2CSimpleTransactionType, "D: IOI2CSimpleTransactionType               supported \n",
     "E: IOI2CSimpleTransactionType               unsupported \n", kIOI2CSimpleTransactionType},
    {1 << kIOI2CDDCciReplyTransactionType,
     "D: IOI2CDDCciReplyTransactionType           supported \n",
     "E: IOI2CDDCciReplyTransactionType           unsupported \n", kIOI2CDDCciReplyTransactionType},
    {1 << kIOI2CCombinedTransactionType, "D: IOI2CCombinedTransactionType             supported \n",
     "E: IOI2CCombinedTransactionType             unsupported \n", kIOI2CNoTransactionType},
    {1 << kIOI2CDisplayPortNativeTransactionType,
     "D: IOI2CDisplayPortNativeTransactionType    supported \n",
     "E: IOI2CDisplayPortNativeTransactionType    unsupported\n", kIOI2CNoTransactionType},
}};

/// The best reply type in one interface's mask of transaction types.
IOOptionBits replyTypeOf(long mask, bool log) {
    if (mask == 0) {
        if (log) std::printf("E: Fatal - No supported Transaction Types! \n");
        return kIOI2CNoTransactionType;
    }
    if (log) std::printf("\nD: IOI2CTransactionTypes: 0x%02lx (%ld)\n", mask, mask);
    IOOptionBits best = kIOI2CNoTransactionType;
    for (const TransactionType& type : transactionTypes) {
        const bool supported = (mask & type.bit) != 0;
        if (log) std::fputs(supported ? type.supported : type.unsupported, stdout);
        if (supported) best = std::max(best, type.reply);
    }
    return best;
}

struct DisplayLock {
    CGDirectDisplayID display;
    dispatch_semaphore_t semaphore;
};

constexpr std::size_t lockCapacity = 50;

/// Sends the request on the buses of one framebuffer, in order, until one takes it. Of the request
/// only the result changes.
bool sendOnFirstBus(io_service_t framebuffer, IOI2CRequest* request) {
    const IOItemCount buses = busCount(framebuffer);
    for (IOOptionBits bus = 0; bus < buses; ++bus) {
        io_service_t service = IO_OBJECT_NULL;
        if (IOFBCopyI2CInterfaceForBus(framebuffer, bus, &service) != kIOReturnSuccess) continue;
        const IOObject interface(service);
        IOI2CConnectRef connection = nullptr;
        if (IOI2CInterfaceOpen(interface.get(), 0, &connection) != kIOReturnSuccess) continue;
        // Sending takes the buffers out of a request, also where it fails in the end.
        IOI2CRequest copy = *request;
        const IOReturn sent = IOI2CSendRequest(connection, 0, &copy);
        request->result = copy.result;
        IOI2CInterfaceClose(connection, 0);
        if (sent == kIOReturnSuccess) return true;
    }
    return false;
}

void printBytes(std::span<const std::uint8_t> bytes) {
    for (const std::uint8_t byte : bytes) std::printf("%02X ", byte);
}

}  // namespace

io_service_t IOFramebufferPortFromCGDisplayID(CGDirectDisplayID display) {
    io_iterator_t found = IO_OBJECT_NULL;
    if (IOServiceGetMatchingServices(kIOMasterPortDefault, IOServiceMatching("IOFramebuffer"),
                                     &found) != kIOReturnSuccess) {
        return IO_OBJECT_NULL;
    }
    const IOObject iterator(found);
    while (IOObject framebuffer{IOIteratorNext(iterator.get())}) {
        const auto identity = identityInFramebuffer(framebuffer.get());
        if (identity && busCount(framebuffer.get()) != 0 && !CGDisplayIsBuiltin(display) &&
            *identity == identityOfDisplay(display)) {
            return framebuffer.release();
        }
    }
    return IO_OBJECT_NULL;
}

IOOptionBits SupportedTransactionTypeWithLog(bool log) {
    // The iterator is kept, one for each call: it is never released, on purpose.
    io_iterator_t iterator = IO_OBJECT_NULL;
    if (IOServiceGetMatchingServices(kIOMasterPortDefault,
                                     IOServiceNameMatching("IOFramebufferI2CInterface"),
                                     &iterator) != kIOReturnSuccess) {
        std::printf("E: Fatal - No matching service! \n");
        return kIOI2CNoTransactionType;
    }
    IOOptionBits answer = kIOI2CNoTransactionType;
    while (answer == kIOI2CNoTransactionType) {
        const IOObject interface(IOIteratorNext(iterator));
        if (!interface) break;
        const auto properties = copyProperties(interface.get());
        const auto mask = integerEntry(properties.get(), CFSTR("IOI2CTransactionTypes"));
        answer = replyTypeOf(static_cast<long>(mask.value_or(0)), log);
    }
    return answer;
}

dispatch_semaphore_t DisplayQueue(CGDirectDisplayID display) {
    // Two displays can be met for the first time by two runs at once.
    static std::mutex mutex;
    static DisplayLock* locks = nullptr;
    static std::uint64_t count = 0;

    const std::lock_guard guard(mutex);
    if (locks == nullptr) {
        void* const memory =
            CFAllocatorAllocate(kCFAllocatorDefault, sizeof(DisplayLock) * lockCapacity, 0);
        if (memory == nullptr) {
            std::printf("Memory allocation failed for queues");
            return nullptr;
        }
        locks = new (memory) DisplayLock[lockCapacity]();
    }
    const auto known = std::find_if(locks, locks + count, [display](const DisplayLock& lock) {
        return lock.display == display;
    });
    if (known != locks + count) return known->semaphore;
    if (count == lockCapacity) return nullptr;
    const dispatch_semaphore_t semaphore = dispatch_semaphore_create(1);
    if (semaphore == nullptr) return nullptr;
    locks[count++] = {display, semaphore};
    return semaphore;
}

bool DisplayRequest(CGDirectDisplayID display, IOI2CRequest* request) {
    const dispatch_semaphore_t lock = DisplayQueue(display);
    if (lock == nullptr) return false;
    dispatch_semaphore_wait(lock, DISPATCH_TIME_FOREVER);
    bool sent = false;
    if (const IOObject framebuffer{IOFramebufferPortFromCGDisplayID(display)}) {
        sent = sendOnFirstBus(framebuffer.get(), request);
    }
    if (request->replyTransactionType == kIOI2CNoTransactionType) {
        Cocoa::sleepThread(pauseAfterRequestWithoutReply);
    }
    dispatch_semaphore_signal(lock);
    return sent && request->result == kIOReturnSuccess;
}

bool DDCReadWithLog(CGDirectDisplayID display, DDCReadRecord* record, std::uint32_t minReplyDelay,
                    bool log) {
    auto sendBytes = VCP::makeGetRequest(record->controlID);
    std::array<std::uint8_t, VCP::replySize> reply{};
    for (int attempt = 1; attempt <= tries; ++attempt) {
        IOI2CRequest request{};
        request.sendTransactionType = kIOI2CSimpleTransactionType;
        request.sendAddress = VCP::writeAddress;
        request.sendBuffer = reinterpret_cast<vm_address_t>(sendBytes.data());
        request.sendBytes = sendBytes.size();
        request.minReplyDelay =
            std::bit_cast<decltype(request.minReplyDelay)>(std::uint64_t{minReplyDelay});
        request.replyTransactionType = SupportedTransactionTypeWithLog(log);
        request.replyAddress = VCP::readAddress;
        request.replySubAddress = VCP::hostAddress;
        request.replyBuffer = reinterpret_cast<vm_address_t>(reply.data());
        request.replyBytes = static_cast<std::uint32_t>(reply.size());
        if (log) {
            std::printf("minReplyDelay = %llu\n", static_cast<unsigned long long>(minReplyDelay));
        }

        const bool sent = DisplayRequest(display, &request);
        const bool good = sent && VCP::isGoodReply(reply.data(), record->controlID);
        if (log) {
            std::printf("Check DDCRead (send) ");
            std::printf("%02X ", request.sendAddress);
            printBytes(sendBytes);
            std::printf("\nCheck DDCRead (reply)");
            printBytes(reply);
            std::printf(", chksum: %02X\n", VCP::replyChecksum(reply.data()));
        }
        if (good) {
            if (log && attempt >= 2) std::printf("D: Tries required to get data: %d \n", attempt);
            record->success = true;
            record->maxValue = VCP::maximumValue(reply.data());
            record->currentValue = VCP::currentValue(reply.data());
            record->fourBytes = VCP::fourBytes(reply.data());
            return true;
        }
        if (request.result == kIOReturnUnsupportedMode) {
            std::printf("E: Unsupported Transaction Type! \n");
        }
        if (attempt < tries) Cocoa::sleepThread(pauseBetweenTries);
    }
    *record = {.controlID = record->controlID};
    if (log) std::printf("E: No data after %d tries! \n", tries);
    return false;
}

bool getControlWithLog(CGDirectDisplayID display, std::uint8_t controlID,
                       std::uint32_t minReplyDelay, bool log, std::uint16_t* maximum,
                       std::uint16_t* current) {
    DDCReadRecord record{.controlID = controlID};
    if (!DDCReadWithLog(display, &record, minReplyDelay, log)) return false;
    *maximum = record.maxValue;
    *current = record.currentValue;
    return true;
}

bool getFourBytesWithLog(CGDirectDisplayID display, std::uint8_t controlID,
                         std::uint32_t minReplyDelay, bool log, std::uint32_t* value) {
    DDCReadRecord record{.controlID = controlID};
    if (!DDCReadWithLog(display, &record, minReplyDelay, log)) return false;
    *value = record.fourBytes;
    return true;
}
