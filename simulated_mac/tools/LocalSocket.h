#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <cstring>
#include <optional>
#include <string>

namespace simulated_mac {

/// The address of a local socket.
struct LocalSocket {
    sockaddr_un address{};
    socklen_t size = 0;

    const sockaddr* pointer() const { return reinterpret_cast<const sockaddr*>(&address); }
};

/// The one that a text names: the path of a file or, on Linux, "@" and a name that is no file.
/// Nothing for a text that is too long.
inline std::optional<LocalSocket> localSocket(const std::string& text) {
    LocalSocket socket;
    if (text.size() >= sizeof socket.address.sun_path) return std::nullopt;
    socket.address.sun_family = AF_UNIX;
    std::memcpy(socket.address.sun_path, text.data(), text.size());
    if (!text.empty() && text.front() == '@') socket.address.sun_path[0] = '\0';
    socket.size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + text.size());
    return socket;
}

}  // namespace simulated_mac
