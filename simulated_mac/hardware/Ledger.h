#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace simulated_mac {

/// Kinds of references that the platform hands out.
enum class Reference {
    allocation,  ///< memory of CFAllocatorAllocate
    string,
    data,
    number,
    dictionary,
    otherObject,  ///< any other Core Foundation object
    avService,
    registryEntry,
    iterator,
    i2cConnection,
    notificationPort,
    machPort,
    dispatchQueue,
    dispatchSemaphore,  // the last: Ledger counts them
};

/// The name of a kind in reports, such as "CFString" or "io_iterator_t".
std::string_view nameOf(Reference kind);

/// Counts the references that the plug-in holds, by kind and by the call that handed them out.
class Ledger {
  public:
    /// `call` is the name of a platform function; it outlives the ledger.
    void handedOut(Reference kind, std::string_view call);
    /// Releases one of a kind that `call` had handed out.
    void givenBack(Reference kind, std::string_view call);

    /// The number that the plug-in holds, for every kind.
    std::map<std::string, std::int64_t> held() const;
    /// The same, by kind and call, without zeros.
    std::map<std::pair<std::string, std::string>, std::int64_t> heldByCall() const;

  private:
    static constexpr std::size_t kindCount =
        static_cast<std::size_t>(Reference::dispatchSemaphore) + 1;

    struct Held {
        std::string_view call;
        std::int64_t count;
    };

    mutable std::mutex mutex_;
    std::array<std::vector<Held>, kindCount> held_;  ///< by kind
};

}  // namespace simulated_mac
