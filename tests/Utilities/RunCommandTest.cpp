#include "plugin/Utilities/RunCommand.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>

#include "simulated_mac/machine/CallText.h"
#include "tests/support/PaneOnMac.h"

namespace run_command_test {

/// A named pipe in its own folder.
class NamedPipe {
  public:
    NamedPipe() {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "run-command-XXXXXX").string();
        EXPECT_NE(mkdtemp(pattern.data()), nullptr);
        folder_ = pattern;
        EXPECT_EQ(mkfifo(path().c_str(), 0600), 0);
    }
    NamedPipe(const NamedPipe&) = delete;
    NamedPipe& operator=(const NamedPipe&) = delete;
    ~NamedPipe() {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }

    std::string path() const { return (folder_ / "pipe").string(); }

    /// Waits until somebody reads from the pipe, and lets them go on.
    void write(std::string_view text) const {
        const int end = open(path().c_str(), O_WRONLY | O_CLOEXEC);
        EXPECT_NE(end, -1);
        EXPECT_EQ(::write(end, text.data(), text.size()), static_cast<ssize_t>(text.size()));
        close(end);
    }

  private:
    std::filesystem::path folder_;
};

/// Waits for the children of this process that still run, and says whether all were collected.
bool allChildrenAreCollected() {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (std::chrono::steady_clock::now() < deadline) {
        siginfo_t child{};
        // Looks for a child that has ended and leaves it to be collected.
        if (waitid(P_ALL, 0, &child, WEXITED | WNOWAIT) != 0 && errno == ECHILD) return true;
    }
    return false;
}

std::ptrdiff_t entriesIn(const char* folder) {
    return std::distance(std::filesystem::directory_iterator(folder), {});
}

test::MacDescription failingOnce(const std::string& call) {
    auto description = test::macWith({});
    description.faults = {{call, 1, false, {}}};
    return description;
}

class ShellCommand : public ::testing::Test {
  protected:
    std::optional<std::string> run(const std::string& commandLine) const {
        return RunCommand().runCommand(commandLine);
    }

    test::Mac mac{test::macWith({})};
};

TEST_F(ShellCommand, AllThatItPrintsIsReturnedByteForByte) {
    EXPECT_EQ(run("printf 'one\\n two\\t\\n\\n'"), "one\n two\t\n\n");
}

TEST_F(ShellCommand, PipelinesAndQuotesAreTheShells) {
    EXPECT_EQ(run("printf 'b\\na\\nb\\n' | sort | uniq -c | awk '{print $2 $1}'"), "a1\nb2\n");
}

TEST_F(ShellCommand, PercentSignsAreNoFormat) {
    EXPECT_EQ(run("echo '%d %s %@ 100%'"), "%d %s %@ 100%\n");
}

TEST_F(ShellCommand, TheShellGetsTheCommandLineInOnePiece) {
    mac.trace.keepOnly({"posix_spawn"});
    run("echo 'a b'  c");
    ASSERT_EQ(mac.trace.calls().size(), 1u);
    EXPECT_EQ(argumentsText(mac.trace.calls().front()), "/bin/sh, \"-c\", \"echo 'a b'  c\"");
}

TEST_F(ShellCommand, MoreThanAPipeHoldsIsReturnedWhole) {
    const auto output = run("head -c 3000000 /dev/zero | tr '\\0' x");
    ASSERT_TRUE(output);
    EXPECT_EQ(*output, std::string(3000000, 'x'));
}

TEST_F(ShellCommand, ZeroBytesStay) {
    EXPECT_EQ(run("printf 'a\\0b'"), std::string("a\0b", 3));
}

TEST_F(ShellCommand, TextBeyondASCIIIsUTF8) {
    EXPECT_EQ(run("printf '\\303\\251\\360\\237\\230\\200'"), "\xC3\xA9\xF0\x9F\x98\x80");
}

TEST_F(ShellCommand, OutputThatIsNotUTF8GivesNothing) {
    EXPECT_EQ(run("printf 'ab\\377'"), std::nullopt);
    EXPECT_EQ(run("printf '\\303'"), std::nullopt);
}

TEST_F(ShellCommand, OneThatPrintsNothingGivesTheEmptyText) {
    EXPECT_EQ(run("true"), "");
    EXPECT_EQ(run(""), "");
}

TEST_F(ShellCommand, OneThatFailsInTheShellGivesTheEmptyText) {
    EXPECT_EQ(run("no-such-command 2>/dev/null"), "");
}

TEST_F(ShellCommand, TheExitStatusIsNotLookedAt) {
    EXPECT_EQ(run("echo said; exit 3"), "said\n");
    EXPECT_EQ(run("echo said; kill -9 $$"), "said\n");
}

TEST_F(ShellCommand, WritesNothingToTheSystemLog) {
    run("exit 3");
    run("printf '\\377'");
    EXPECT_THAT(mac.journal.systemLog(), ::testing::IsEmpty());
}

TEST_F(ShellCommand, KeepsNoReference) {
    run("echo something");
    run("printf '\\377'");
    EXPECT_THAT(mac.ledger.heldByCall(), ::testing::IsEmpty());
}

TEST_F(ShellCommand, StandardErrorIsNotRedirected) {
    std::FILE* const errors = std::tmpfile();
    ASSERT_NE(errors, nullptr);
    const int file = fileno(errors);
    const int original = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
    dup2(file, STDERR_FILENO);
    const auto output = run("echo printed; echo complained >&2");
    dup2(original, STDERR_FILENO);

    std::array<char, 64> complaint{};
    const ssize_t size = pread(file, complaint.data(), complaint.size(), 0);
    std::fclose(errors);
    close(original);
    EXPECT_EQ(output, "printed\n");
    EXPECT_EQ(std::string(complaint.data(), static_cast<std::size_t>(size)), "complained\n");
}

TEST_F(ShellCommand, FindsNothingOnItsStandardInput) {
    EXPECT_EQ(run("wc -c | tr -d ' '"), "0\n");
}

TEST_F(ShellCommand, DescriptorsOfThisProcessDoNotReachIt) {
    constexpr int inherited = 57;
    ASSERT_EQ(dup2(STDERR_FILENO, inherited), inherited);
    ASSERT_EQ(fcntl(inherited, F_GETFD) & FD_CLOEXEC, 0);
    // The shell's own descriptor of the listed folder is closed by the second look.
    const auto output =
        run("for entry in /dev/fd/*; do "
            "if [ -e \"$entry\" ]; then printf '%s ' \"${entry##*/}\"; fi; done");
    close(inherited);
    EXPECT_EQ(output, "0 1 2 ");
}

TEST_F(ShellCommand, RunsWithTheSystemsToolsOnItsPath) {
    EXPECT_EQ(run("system_profiler SPDisplaysDataType | grep -c 'Chipset Model'"), "1\n");
    EXPECT_THAT(*run("echo $PATH"), testing::EndsWith(":/usr/bin:/bin:/usr/sbin:/sbin\n"));
}

TEST_F(ShellCommand, TheEnvironmentOfThisProcessDoesNotReachIt) {
    ASSERT_EQ(setenv("VORN_TEST", "a value", 1), 0);
    EXPECT_EQ(run("echo $VORN_TEST"), "\n");
    ASSERT_EQ(setenv("PATH", "/nowhere", 1), 0);
    EXPECT_EQ(run("system_profiler SPDisplaysDataType | grep -c 'Chipset Model'"), "1\n");
}

TEST_F(ShellCommand, RunsInACleanEnvironment) {
    ASSERT_EQ(clearenv(), 0);
    EXPECT_EQ(run("system_profiler SPDisplaysDataType | grep -c 'Chipset Model'"), "1\n");
}

TEST_F(ShellCommand, OneThatClosesItsOutputAndGoesOnIsNotWaitedFor) {
    const NamedPipe pipe;
    // It ends only when the pipe is written to, which happens after it was run.
    EXPECT_EQ(run("echo done; exec >&-; read line < " + pipe.path()), "done\n");
    pipe.write("go on\n");
    EXPECT_TRUE(allChildrenAreCollected());
}

TEST_F(ShellCommand, OneWhoseChildStillHasTheOutputIsReadToTheChildsEnd) {
    const NamedPipe pipe;
    // The child prints when the shell, which holds the other end of the pipe, has ended.
    EXPECT_EQ(run("(read line < " + pipe.path() + "; echo child) & exec 3> " + pipe.path() +
                  "; echo shell"),
              "shell\nchild\n");
}

TEST_F(ShellCommand, LeavesNoZombie) {
    run("exit 3");
    run("true");
    run("printf '\\377'");
    EXPECT_TRUE(allChildrenAreCollected());
}

TEST_F(ShellCommand, LeavesNoDescriptorOpen) {
    const auto before = entriesIn("/dev/fd");
    run("echo something");
    run("no-such-command 2>/dev/null");
    EXPECT_EQ(entriesIn("/dev/fd"), before);
}

TEST_F(ShellCommand, WithoutDescriptorsForItsOutputGivesTheEmptyText) {
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlimit none{0, limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    const auto output = run("echo something");
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    EXPECT_EQ(output, "");
}

/// What this process does meanwhile when a signal arrives.
class SignalAction {
  public:
    SignalAction(int signal, void (*handler)(int)) : signal_(signal) {
        // Without SA_RESTART a signal interrupts what the process waits in.
        struct sigaction action {};
        action.sa_handler = handler;
        EXPECT_EQ(sigaction(signal, &action, &before_), 0);
    }
    SignalAction(const SignalAction&) = delete;
    SignalAction& operator=(const SignalAction&) = delete;
    ~SignalAction() { sigaction(signal_, &before_, nullptr); }

  private:
    int signal_;
    struct sigaction before_ {};
};

/// A command line that sends this process signals while it waits for the command.
std::string manySignals() {
    return fmt::format("for number in $(seq 20000); do kill -USR1 {}; done", getpid());
}

TEST_F(ShellCommand, SignalsMeanwhileLoseNothingOfItsOutput) {
    const SignalAction ignored(SIGUSR1, [](int) {});
    EXPECT_EQ(run(manySignals() + "; echo done"), "done\n");
}

TEST_F(ShellCommand, EndsAlsoAfterAnInterruptionOfSomethingElse) {
    errno = EINTR;
    EXPECT_EQ(run("echo something"), "something\n");
}

#ifdef __GLIBC__

/// A process that can start no thread: each would want a stack of 64 TiB.
class WithoutThreads {
  public:
    WithoutThreads() {
        EXPECT_EQ(pthread_getattr_default_np(&before_), 0);
        pthread_attr_t tooLarge;
        EXPECT_EQ(pthread_attr_init(&tooLarge), 0);
        EXPECT_EQ(pthread_attr_setstacksize(&tooLarge, std::size_t{1} << 46), 0);
        EXPECT_EQ(pthread_setattr_default_np(&tooLarge), 0);
    }
    WithoutThreads(const WithoutThreads&) = delete;
    WithoutThreads& operator=(const WithoutThreads&) = delete;
    ~WithoutThreads() { pthread_setattr_default_np(&before_); }

  private:
    pthread_attr_t before_{};
};

TEST_F(ShellCommand, IsWaitedForInPlaceWhereNoThreadCanBeStarted) {
    const WithoutThreads limited;
    EXPECT_EQ(run("echo something"), "something\n");
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "it has been collected";
}

TEST_F(ShellCommand, IsWaitedForInPlaceThroughSignals) {
    const WithoutThreads limited;
    const SignalAction ignored(SIGUSR1, [](int) {});
    EXPECT_EQ(run("echo something; exec >&-; " + manySignals()), "something\n");
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "it has been collected";
}

TEST_F(ShellCommand, IsNotWaitedForWhereTheSystemCollectsIt) {
    const WithoutThreads limited;
    const SignalAction systemCollects(SIGCHLD, SIG_IGN);
    EXPECT_EQ(run("echo something"), "something\n");
}

TEST(ShellCommandThatCannotStart, CollectsNoOtherChildOfThisProcess) {
    const test::Mac mac(failingOnce("posix_spawn"));
    const auto threads = entriesIn("/proc/self/task");
    const pid_t child = fork();
    if (child == 0) _exit(5);
    ASSERT_GT(child, 0);
    EXPECT_EQ(RunCommand().runCommand("echo something"), "");
    while (entriesIn("/proc/self/task") > threads) {
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(WEXITSTATUS(status), 5);
}

#endif

TEST(ShellCommandThatCannotStart, GivesTheEmptyTextAndLeavesNoDescriptorOpen) {
    const test::Mac mac(failingOnce("posix_spawn"));
    const auto before = entriesIn("/dev/fd");
    EXPECT_EQ(RunCommand().runCommand("echo something"), "");
    EXPECT_EQ(entriesIn("/dev/fd"), before);
    EXPECT_EQ(RunCommand().runCommand("echo something"), "something\n");
}

}  // namespace run_command_test
