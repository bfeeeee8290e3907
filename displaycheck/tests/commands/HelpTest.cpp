#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "displaycheck/tests/Program.h"

// The program's help, and what shells get to complete its commands.

namespace test {
namespace help_test {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

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
    EXPECT_EQ(bashOffers(folder, "displaycheck run --assume ''"), "answers silent\n");
    EXPECT_EQ(bashOffers(folder, "displaycheck window --lang pt"), "pt-BR pt-PT\n");
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

bool isThere(const Folder& folder, const std::string& shell) {
    const std::string search = "command -v " + shell + " > " + quoted(folder.path("which"));
    return std::system(search.c_str()) == 0;
}

/// What fish offers for a line, with what it says of each.
std::vector<std::string> fishOffers(const Folder& folder, const std::string& line) {
    folder.write("completions", run(folder, {"completions", "fish"}).output);
    const std::string script =
        "source " + quoted(folder.path("completions")) + "; complete -C " + quoted(line);
    const std::string home = "HOME=" + quoted(folder.path("")) + " ";
    std::system(
        (home + "fish -c " + quoted(script) + " > " + quoted(folder.path("offers"))).c_str());
    return linesOf(folder.read("offers"));
}

TEST(Completions, OfFishOfferCommandsOptionsAndValues) {
    const Folder folder;
    if (!isThere(folder, "fish")) GTEST_SKIP() << "fish is not installed";
    EXPECT_THAT(fishOffers(folder, "displaycheck compa"),
                ElementsAre("compare\tCompare a Mac file with a real Mac's dumps"));
    EXPECT_THAT(fishOffers(folder, "displaycheck run --jso"),
                ElementsAre("--json\tPrint one JSON object per line for each FILE"));
    EXPECT_THAT(fishOffers(folder, "displaycheck run --assume "),
                ElementsAre(StartsWith("answers\t"), StartsWith("silent\t")));
    EXPECT_THAT(fishOffers(folder, "displaycheck completions b"), ElementsAre("bash"));
    EXPECT_THAT(fishOffers(folder, "displaycheck run " + folder.path("comp")),
                ElementsAre(folder.path("completions")));
}

/// What a terminal with zsh shows when the completions of a line are listed.
std::string zshShows(const Folder& folder, const std::string& line) {
    folder.write("_displaycheck", run(folder, {"completions", "zsh"}).output);
    const std::string script = folder.write(
        "list.zsh",
        "zmodload zsh/zpty\n"
        "zpty shell zsh -f -i\n"
        "zpty -w shell 'PROMPT=; stty columns 200; fpath=(" +
            folder.path("") +
            " $fpath); autoload -Uz compinit; compinit -u -D; bindkey \"^I\" list-choices; "
            "print IS\"\"READY'\n"
            "zpty -r shell shown '*ISREADY*'\n"
            "zpty -n -w shell " +
            quoted(line) +
            "$'\\t'\n"
            // Below the list, the cursor goes back up to the line.
            "zpty -r shell shown $'*\\e\\[[0-9]#A*'\n"
            "print -r -- $shown\n");
    std::system(("timeout 20 zsh -f -o extendedglob " + quoted(script) + " > " +
                 quoted(folder.path("shown")))
                    .c_str());
    return folder.read("shown");
}

TEST(Completions, OfZshOfferCommandsOptionsAndValues) {
    const Folder folder;
    if (!isThere(folder, "zsh")) GTEST_SKIP() << "zsh is not installed";
    EXPECT_THAT(
        zshShows(folder, "displaycheck co"),
        AllOf(HasSubstr("compare "), HasSubstr("Compare a Mac file with a real Mac's dumps"),
              HasSubstr("completions ")));
    EXPECT_THAT(
        zshShows(folder, "displaycheck run --j"),
        AllOf(HasSubstr("--jobs "), HasSubstr("How many runs at a time (default: the cores)"),
              HasSubstr("--junit "), Not(HasSubstr("--lang"))));
    EXPECT_THAT(zshShows(folder, "displaycheck run --assume="),
                AllOf(HasSubstr("answers"), HasSubstr("silent"), Not(HasSubstr("list.zsh"))));
}

/// Shells that are there read their completions without complaint.
TEST(Completions, AreGoodSyntax) {
    const Folder folder;
    for (const std::string shell : {"bash", "zsh", "fish"}) {
        if (!isThere(folder, shell)) continue;
        const std::string file =
            folder.write("completions", run(folder, {"completions", shell}).output);
        EXPECT_EQ(std::system((shell + " -n " + quoted(file)).c_str()), 0) << shell;
    }
}

}  // namespace help_test
}  // namespace test
