#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <string>
#include <vector>

#include "plugin/Utilities/RunCommand.h"
#include "simulated_mac/machine/CallText.h"
#include "simulated_mac/machine/Installation.h"
#include "simulated_mac/machine/Mac.h"

// Starting processes, as the plug-in does.

extern "C" char** environ;

namespace simulated_mac {
namespace spawn_test {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

std::string shell(const std::string& commandLine) {
    return RunCommand().runCommand(commandLine).value_or("no UTF-8");
}

TEST(Spawn, AMacsToolsComeFirstOnThePath) {
    const Mac mac{MacDescription{}};
    EXPECT_THAT(shell("echo $PATH"), StartsWith(Installation::tools().string() + ":"));
    EXPECT_EQ(shell("command -v ioreg"), (Installation::tools() / "ioreg").string() + "\n");
    EXPECT_EQ(shell("printf x | tr x y"), "y") << "the system's own tools are there too";
}

TEST(Spawn, AToolTakesItsTimeOnTheMacsClock) {
    MacDescription description;
    description.tools["ioreg"] = {ToolOverride{"first\n", 0, 2.5}, ToolOverride{}};
    const Mac mac(description);
    EXPECT_EQ(shell("ioreg -l | cat"), "first\n");
    EXPECT_EQ(mac.scheduler.now(), std::chrono::milliseconds(2500));
    EXPECT_THAT(shell("ioreg"), StartsWith("+-o Root"));
    EXPECT_EQ(mac.scheduler.now(), std::chrono::milliseconds(2500)) << "its second call takes none";
}

TEST(Spawn, AToolPrintsTheStateAtTheEndOfItsTime) {
    MacDescription description;
    ToolOverride slow;
    slow.takes = 2;
    description.tools["system_profiler"] = {slow};
    ScreenDescription late;
    late.name = "VORN K2424HX";
    late.appearsAt = 1;
    description.screens = {late};
    const Mac mac(description);
    EXPECT_THAT(shell("system_profiler SPDisplaysDataType"), HasSubstr("VORN K2424HX"));
}

TEST(Spawn, WithoutAMacThePathHasNoTools) {
    EXPECT_THAT(shell("echo $PATH"), Not(HasSubstr(Installation::tools().string())));
}

/// The exit status of a shell command that gets this environment.
int statusWith(std::vector<std::string> variables, std::string command) {
    std::string program = "/bin/sh";
    std::string option = "-c";
    const std::array<char*, 4> arguments{program.data(), option.data(), command.data(), nullptr};
    std::vector<char*> environment;
    for (std::string& variable : variables) environment.push_back(variable.data());
    environment.push_back(nullptr);
    pid_t child = -1;
    EXPECT_EQ(posix_spawn(&child, program.c_str(), nullptr, nullptr, arguments.data(),
                          environment.data()),
              0);
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WEXITSTATUS(status);
}

TEST(Spawn, AProcessGetsTheEnvironmentThatItIsGivenAndNoOther) {
    ASSERT_EQ(setenv("VORN_TEST", "the process's", 1), 0);
    const auto isGiven = "[ \"$VORN_TEST\" = given ]";
    EXPECT_EQ(statusWith({"VORN_TEST=given"}, isGiven), 0);
    EXPECT_EQ(statusWith({}, "[ -z \"$VORN_TEST\" ]"), 0);
    const Mac mac{MacDescription{}};
    EXPECT_EQ(statusWith({"VORN_TEST=given"}, isGiven), 0);
}

TEST(Spawn, AMacsToolsAreFoundWithoutAPath) {
    const Mac mac{MacDescription{}};
    EXPECT_EQ(statusWith({}, "ioreg >/dev/null"), 0);
}

TEST(Spawn, NoDescriptorReachesAProcessThatItWasNotGiven) {
    const Mac mac{MacDescription{}};
    const int file = open("/dev/null", O_RDONLY);
    ASSERT_NE(dup2(file, 37), -1);
    EXPECT_EQ(shell("[ -e /dev/fd/37 ] && echo open || echo closed"), "closed\n");
    EXPECT_NE(fcntl(37, F_GETFD), -1) << "it stays open here";
}

TEST(Spawn, DescriptorsReachAProcessUnlessToldOtherwise) {
    const Mac mac{MacDescription{}};
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    ASSERT_NE(dup2(ends[1], 37), -1);
    std::string program = "/bin/sh";
    std::string option = "-c";
    std::string command = "echo open >/dev/fd/37";
    const std::array<char*, 4> arguments{program.data(), option.data(), command.data(), nullptr};
    pid_t child = -1;
    ASSERT_EQ(posix_spawn(&child, program.c_str(), nullptr, nullptr, arguments.data(), environ), 0);
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
    close(ends[1]);
    close(37);
    std::array<char, 8> printed{};
    EXPECT_EQ(read(ends[0], printed.data(), printed.size()), 5);
    EXPECT_STREQ(printed.data(), "open\n");
    close(ends[0]);
}

TEST(Spawn, AStartThatFailsAnswersItsError) {
    MacDescription description;
    description.faults = {{.call = "posix_spawn", .nth = 2, .andLater = false, .result = {}}};
    const Mac mac(description);
    EXPECT_EQ(shell("echo one"), "one\n");
    EXPECT_EQ(shell("echo two"), "");
    EXPECT_EQ(shell("echo three"), "three\n");
}

/// Starts a program without arguments and gives the error.
int start(std::string program, const posix_spawn_file_actions_t* actions) {
    const std::array<char*, 2> arguments{program.data(), nullptr};
    pid_t child = -1;
    const int error =
        posix_spawn(&child, program.c_str(), actions, nullptr, arguments.data(), environ);
    if (error == 0) {
        EXPECT_EQ(waitpid(child, nullptr, 0), child);
    }
    return error;
}

TEST(Spawn, AProgramThatIsNotThereCannotBeStarted) {
    const Mac mac{MacDescription{}};
    EXPECT_EQ(start("/no/such/program", nullptr), ENOENT);
}

TEST(Spawn, AnyNumberOfFileActionsIsCarriedOut) {
    const Mac mac{MacDescription{}};
    for (int count = 0; count <= 20; ++count) {
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        for (int action = 0; action < count; ++action) {
            posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        }
        EXPECT_EQ(start("/bin/true", &actions), 0);
        posix_spawn_file_actions_destroy(&actions);
    }
}

TEST(Spawn, ATraceShowsTheCommandLine) {
    Mac mac{MacDescription{}};
    mac.trace.keepOnly({"posix_spawn"});
    shell("echo \"a b\"");
    ASSERT_THAT(mac.trace.calls(), SizeIs(1));
    EXPECT_EQ(argumentsText(mac.trace.calls()[0]), "/bin/sh, \"-c\", \"echo \"a b\"\"");
    EXPECT_EQ(mac.trace.calls()[0].result, 0);
}

}  // namespace spawn_test
}  // namespace simulated_mac
