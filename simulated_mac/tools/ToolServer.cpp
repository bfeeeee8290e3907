#include "simulated_mac/tools/ToolServer.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "simulated_mac/tools/LocalSocket.h"

namespace simulated_mac {

namespace {

constexpr auto purpose = "the socket of the Mac's tools";

[[noreturn]] void failed(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

/// Not inherited by processes that this one starts.
void keep(int descriptor) {
    fcntl(descriptor, F_SETFD, FD_CLOEXEC);
}

#ifdef __linux__

/// Gives a socket a name that the system makes up. It is no file, so nothing is left of it, however
/// this process ends.
std::string bindToFreeName(int listener) {
    LocalSocket name;
    name.address.sun_family = AF_UNIX;
    if (bind(listener, name.pointer(), sizeof name.address.sun_family) != 0) failed(purpose);
    name.size = sizeof name.address;
    if (getsockname(listener, reinterpret_cast<sockaddr*>(&name.address), &name.size) != 0) {
        failed(purpose);
    }
    const std::size_t length = name.size - offsetof(sockaddr_un, sun_path);
    return "@" + std::string(name.address.sun_path + 1, length - 1);
}

/// Whether a process of the same user asks. A socket that is no file has no permissions.
bool isOurs(int connection) {
    ucred other{};
    socklen_t size = sizeof other;
    return getsockopt(connection, SOL_SOCKET, SO_PEERCRED, &other, &size) == 0 &&
           other.uid == geteuid();
}

#else

bool isOurs(int) {
    return true;
}

#endif

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

class ToolServer::Folder {
  public:
    Folder() : path_((std::filesystem::temp_directory_path() / "simulated-mac-XXXXXX").string()) {
        if (mkdtemp(path_.data()) == nullptr) failed("a folder for the Mac's tools");
    }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    const std::string& path() const { return path_; }

  private:
    std::string path_;
};

ToolServer::ToolServer(Answer answer) : answer_(std::move(answer)) {
    listener_ = socket(AF_UNIX, SOCK_STREAM, 0);
    if (listener_ == -1 || fcntl(listener_, F_SETFL, O_NONBLOCK) == -1) failed(purpose);
    listen();
    if (pipe(stop_.data()) != 0) failed(purpose);
    for (const int descriptor : {listener_, stop_[0], stop_[1]}) keep(descriptor);
    thread_ = std::thread([this] { serve(); });
}

ToolServer::~ToolServer() {
    close(stop_[1]);
    thread_.join();
    close(stop_[0]);
    close(listener_);
}

void ToolServer::listen() {
#ifdef __linux__
    address_ = bindToFreeName(listener_);
#else
    folder_ = std::make_unique<Folder>();
    address_ = folder_->path() + "/socket";
    const auto place = localSocket(address_);
    if (!place) errno = ENAMETOOLONG;
    if (!place || bind(listener_, place->pointer(), place->size) != 0) failed(purpose);
#endif
    if (::listen(listener_, 8) != 0) failed(purpose);
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
            if (isOurs(connection)) answer(connection);
            close(connection);
        } else if (errno != EINTR && errno != ECONNABORTED && errno != EAGAIN) {
            return;
        }
    }
}

void ToolServer::answer(int connection) {
    const auto commandLine = wordsOf(readAll(connection));
    if (commandLine.empty()) return;
    const int status =
        answer_(commandLine, [&](std::string_view piece) { writeAll(connection, piece); });
    // Behind what the tool prints comes its exit status, a byte.
    const char last = static_cast<char>(status);
    writeAll(connection, {&last, 1});
}

}  // namespace simulated_mac
