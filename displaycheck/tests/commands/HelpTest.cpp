#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "displaycheck/tests/Program.h"

// The program's help, and what shells get to complete its commands.

namespace test {
namespace help_test {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

const std::vector<std::string> commands = {"run",     "sweep",       "window", "check",
                                           "schema",  "edid",        "model",  "import",
                                           "compare", "completions", "help"};

TEST(Help, OfEachCommandFitsAUsualTerminal) {
    const Folder folder;
    for (const std::string& command : commands) {
        const auto finished = run(folder, {command, "--help"});
        EXPECT_EQ(finished.status, 0);
        for (const std::string& line : linesOf(finished.output))
            EXPECT_LE(line.size(), 80U) << line;
        EXPECT_THAT(finished.output, HasSubstr("\nExit status:\n  0  "));
    }
    for (const std::string& line : linesOf(run(folder, {"--help"}).output)) {
        EXPECT_LE(line.size(), 80U) << line;
    }
}

TEST(Help, IsACommandToo) {
    const Folder folder;
    EXPECT_EQ(run(folder, {"help"}).output, run(folder, {"--help"}).output);
    for (const std::string& command : commands) {
        EXPECT_EQ(run(folder, {"help", command}).output, run(folder, {command, "--help"}).output);
    }
    const auto unknown = run(folder, {"help", "rnu"});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_THAT(unknown.errors, HasSubstr("unknown command rnu; expected run, "));
    EXPECT_THAT(unknown.errors, HasSubstr("did you mean run?"));
}

TEST(Help, SaysOnlyWhatConcernsTheCommand) {
    const Folder folder;
    EXPECT_THAT(run(folder, {"run", "--help"}).output, HasSubstr("file expects"));
    EXPECT_THAT(run(folder, {"model", "--help"}).output,
                AllOf(Not(HasSubstr("crashed")), Not(HasSubstr("file expects"))));
}

/// What bash offers for a line of words, the last of which is being typed.
std::string bashOffers(const Folder& folder, const std::string& words) {
    folder.write("completions", run(folder, {"completions", "bash"}).output);
    const std::string script = "source " + quoted(folder.path("completions")) + "; COMP_WORDS=(" +
                               words +
                               "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _displaycheck; "
                               "echo ${COMPREPLY[@]}";
    std::system(("bash -c " + quoted(script) + " > " + quoted(folder.path("offers"))).c_str());
    return folder.read("offers");
}

TEST(Completions, OfBashOfferCommandsOptionsAndShells) {
    const Folder folder;
    EXPECT_EQ(bashOffers(folder, "displaycheck co"), "compare completions\n");
    EXPECT_EQ(bashOffers(folder, "displaycheck run --tr"), "--trace --trace-file\n");
    EXPECT_EQ(bashOffers(folder, "displaycheck help swe"), "sweep\n");
    EXPECT_EQ(bashOffers(folder, "displaycheck completions ''"), "bash zsh fish\n");
    EXPECT_EQ(bashOffers(folder, "displaycheck run " + quoted(folder.path("comp"))),
              folder.path("completions") + "\n");
}

TEST(Completions, OfAllShellsNameEachCommand) {
    const Folder folder;
    for (const std::string shell : {"bash", "zsh", "fish"}) {
        const std::string text = run(folder, {"completions", shell}).output;
        for (const std::string& command : commands) EXPECT_THAT(text, HasSubstr(command)) << shell;
    }
    EXPECT_EQ(run(folder, {"completions", "ksh"}).status, 2);
}

/// Shells that are there read their completions without complaint.
TEST(Completions, AreGoodSyntax) {
    const Folder folder;
    for (const std::string shell : {"bash", "zsh", "fish"}) {
        if (std::system(("command -v " + shell + " > " + quoted(folder.path("which"))).c_str()) !=
            0) {
            continue;
        }
        const std::string file =
            folder.write("completions", run(folder, {"completions", shell}).output);
        EXPECT_EQ(std::system((shell + " -n " + quoted(file)).c_str()), 0) << shell;
    }
}

}  // namespace help_test
}  // namespace test
