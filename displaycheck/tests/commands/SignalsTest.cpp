#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>

#include "displaycheck/tests/Program.h"

// What a run leaves behind that a signal ends.

namespace test {
namespace signals_test {

/// `displaycheck run --realtime` on a Mac, in a process of its own. The programs that it starts
/// hold the other end of its standard error, too.
class Started {
  public:
    explicit Started(const std::string& file) {
        std::array<int, 2> ends{};
        EXPECT_EQ(pipe(ends.data()), 0);
        process_ = fork();
        if (process_ == 0) {
            dup2(ends[1], STDERR_FILENO);
            close(ends[0]);
            close(ends[1]);
            execl(DISPLAYCHECK_PROGRAM, "displaycheck", "run", "--realtime", file.c_str(),
                  static_cast<char*>(nullptr));
            _exit(127);
        }
        close(ends[1]);
        errors_ = ends[0];
    }
    ~Started() { close(errors_); }
    Started(const Started&) = delete;
    Started& operator=(const Started&) = delete;

    /// Reads what it prints until this is part of it, or all of it.
    std::string readUntil(const std::string& part) {
        std::string text;
        std::array<char, 1024> piece;
        while (text.find(part) == std::string::npos) {
            const ssize_t count = read(errors_, piece.data(), piece.size());
            if (count <= 0) break;
            text.append(piece.data(), static_cast<std::size_t>(count));
        }
        return text;
    }

    /// Sends a signal and waits until this process and all that it started are gone. The signal
    /// that ended it.
    int endBy(int number) {
        kill(process_, number);
        int status = 0;
        waitpid(process_, &status, 0);
        readUntil("\n\n");
        return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    }

  private:
    pid_t process_ = -1;
    int errors_ = -1;
};

TEST(Signals, LeaveNothingOfARunInTheTemporaryFolder) {
    const Folder folder;
    const std::string temporary = folder.path("tmp");
    std::filesystem::create_directory(temporary);
    setenv("TMPDIR", temporary.c_str(), 1);
    const std::string file = folder.write("mac.yaml", "screens: [built-in]\n");
    for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGKILL}) {
        Started program(file);
        const std::string shown = program.readUntil("ioreg -l prints");
        ASSERT_NE(shown.find("ioreg -l prints"), std::string::npos) << shown;
        EXPECT_EQ(program.endBy(number), number);
        EXPECT_TRUE(std::filesystem::is_empty(temporary)) << number;
    }
}

}  // namespace signals_test
}  // namespace test
