#include "simulated_mac/tools/ToolServer.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace simulated_mac {

namespace {

[[noreturn]] void failed(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

std::string makeFolder() {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "simulated-mac-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) failed("a folder for the Mac's tools");
    return pattern;
}

/// Not inherited by processes that this one starts.
void keep(int descriptor) {
    fcntl(descriptor, F_SETFD, FD_CLOEXEC);
}

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        failed("the socket of the Mac's tools");
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    return address;
}

std::string readAll(int connection) {
    std::string text;
    std::array<char, 4096> piece;
    for (;;) {
        const ssize_t count = read(connection, piece.data(), piece.size());
        if (count > 0) {
            text.append(piece.data(), static_cast<std::size_t>(count));
        } else if (count == 0 || errno != EINTR) {
            return text;
        }
    }
}

void writeAll(int connection, std::string_view text) {
    while (!text.empty()) {
        // A tool that has already ended must not end this process.
        const ssize_t count = send(connection, text.data(), text.size(), MSG_NOSIGNAL);
        if (count > 0) {
            text.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno != EINTR) {
            return;
        }
    }
}

/// The words of a command line, each ended by a zero byte.
std::vector<std::string> wordsOf(const std::string& message) {
    std::vector<std::string> words;
    for (std::size_t at = 0; at < message.size();) {
        const std::size_t end = std::min(message.find('\0', at), message.size());
        words.push_back(message.substr(at, end - at));
        at = end + 1;
    }
    return words;
}

}  // namespace

ToolServer::ToolServer(Answer answer)
    : answer_(std::move(answer)), folder_(makeFolder()), path_(folder_ + "/socket") {
    const sockaddr_un address = addressOf(path_);
    listener_ = socket(AF_UNIX, SOCK_STREAM, 0);
    if (listener_ == -1 || fcntl(listener_, F_SETFL, O_NONBLOCK) == -1 ||
        bind(listener_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(listener_, 8) != 0 || pipe(stop_.data()) != 0) {
        failed("the socket of the Mac's tools");
    }
    for (const int descriptor : {listener_, stop_[0], stop_[1]}) keep(descriptor);
    thread_ = std::thread([this] { serve(); });
}

ToolServer::~ToolServer() {
    close(stop_[1]);
    thread_.join();
    close(stop_[0]);
    close(listener_);
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

void ToolServer::serve() {
    for (;;) {
        std::array<pollfd, 2> waiting{{{listener_, POLLIN, 0}, {stop_[0], POLLIN, 0}}};
        if (poll(waiting.data(), waiting.size(), -1) == -1 && errno != EINTR) return;
        if (waiting[1].revents != 0) return;
        const int connection = accept(listener_, nullptr, nullptr);
        if (connection != -1) {
            keep(connection);
            // Some systems hand the listener's own mode down.
            fcntl(connection, F_SETFL, 0);
            answer(connection);
            close(connection);
        } else if (errno != EINTR && errno != ECONNABORTED && errno != EAGAIN) {
            return;
        }
    }
}

void ToolServer::answer(int connection) {
    const auto commandLine = wordsOf(readAll(connection));
    if (commandLine.empty()) return;
    const ToolOutput output = answer_(commandLine);
    // Exit status, a line break and the tool's output.
    writeAll(connection, std::to_string(output.status) + "\n" + output.text);
}

}  // namespace simulated_mac
