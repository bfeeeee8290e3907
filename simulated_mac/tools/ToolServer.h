#pragma once

#include <array>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "simulated_mac/tools/ToolOutput.h"

namespace simulated_mac {

/// Answers the Mac's system tools, which run as processes of their own: they ask over a local
/// socket for their output and exit status.
class ToolServer {
  public:
    /// Runs a command line, the tool first, and returns its exit status. Called on the server's own
    /// thread.
    using Answer =
        std::function<int(const std::vector<std::string>& commandLine, const Print& print)>;

    /// Throws std::system_error if the socket can't be made.
    explicit ToolServer(Answer answer);
    ~ToolServer();
    ToolServer(const ToolServer&) = delete;
    ToolServer& operator=(const ToolServer&) = delete;

    /// Where the tools reach it (LocalSocket.h).
    const std::string& address() const { return address_; }

  private:
    /// A folder for a socket that is a file, removed with it.
    class Folder;

    void listen();
    void serve();
    void answer(int connection);

    const Answer answer_;
    std::string address_;
    std::unique_ptr<Folder> folder_;  ///< none where the socket is no file
    int listener_ = -1;
    std::array<int, 2> stop_{-1, -1};  ///< a pipe: serve() ends when its second end is closed
    std::thread thread_;
};

}  // namespace simulated_mac
