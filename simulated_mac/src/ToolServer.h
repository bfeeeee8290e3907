#pragma once

#include <array>
#include <map>
#include <string>
#include <thread>
#include <vector>

namespace simulated_mac {

class Mac;

/// Answers the Mac's system tools, which run as processes of their own: they ask over a local
/// socket what to print and with which status to end.
class ToolServer {
  public:
    /// Throws std::system_error when the socket can't be made.
    explicit ToolServer(Mac& mac);
    ~ToolServer();
    ToolServer(const ToolServer&) = delete;
    ToolServer& operator=(const ToolServer&) = delete;

    const std::string& socketPath() const { return path_; }

  private:
    void serve();
    void answer(int connection);
    /// Exit status, a line break, and what the tool prints.
    std::string run(const std::vector<std::string>& commandLine);

    Mac& mac_;
    std::string folder_;
    std::string path_;
    int listener_ = -1;
    std::array<int, 2> stop_{-1, -1};  ///< a pipe: serve() ends when its second end is closed
    std::map<std::string, std::size_t> calls_;  ///< so far, by tool
    std::thread thread_;
};

}  // namespace simulated_mac
