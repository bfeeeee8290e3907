#include <gtest/gtest.h>

#include "displaycheck/tests/Program.h"

namespace test {
namespace command_line_test {

const std::string good = "mac: A Mac alone\nscreens: [built-in]\n";

TEST(CommandLine, PrintsItsVersion) {
    const Folder folder;
    EXPECT_EQ(run(folder, {"--version"}).output, "displaycheck 0.1.0\n");
}

TEST(CommandLine, RefusesWrongUsage) {
    const Folder folder;
    for (const auto& arguments :
         std::vector<std::vector<std::string>>{{},
                                               {"bogus"},
                                               {"run"},
                                               {"run", "--bogus", "x"},
                                               {"check"},
                                               {"window"},
                                               {"window", "--speed", "0", "x"},
                                               {"run", "--assume", "maybe", "x"},
                                               {"window", "--assume", "", "x"},
                                               {"schema", "x"},
                                               {"edid", "--trace"},
                                               {"--json"},
                                               {"run", "--json=maybe", "x"}}) {
        const auto finished = run(folder, arguments);
        EXPECT_EQ(finished.status, 2);
        EXPECT_EQ(finished.output, "");
        EXPECT_NE(finished.errors, "");
    }
}

TEST(CommandLine, SaysWhatAMistypedWordMayMean) {
    const Folder folder;
    const auto errorsOf = [&folder](const std::vector<std::string>& arguments) {
        const auto finished = run(folder, arguments);
        EXPECT_EQ(finished.status, 2);
        return finished.errors;
    };
    EXPECT_EQ(
        errorsOf({"rnu", "x.yaml"}),
        "displaycheck: unknown command rnu; expected run, sweep, window, check, schema, edid, "
        "model, import, compare, completions or help (did you mean run?)\n");
    EXPECT_EQ(
        errorsOf({"xyzzy"}),
        "displaycheck: unknown command xyzzy; expected run, sweep, window, check, schema, edid, "
        "model, import, compare, completions or help\n");
    EXPECT_EQ(errorsOf({"run", "--jsno", "x.yaml"}),
              "displaycheck: run: unknown option --jsno; expected one that \"displaycheck run "
              "--help\" lists (did you mean --json?)\n");
    EXPECT_EQ(errorsOf({"window", "x.yaml", "--screenshots=x.png"}),
              "displaycheck: window: unknown option --screenshots=x.png; expected one that "
              "\"displaycheck window --help\" lists (did you mean --screenshot?)\n");
    EXPECT_EQ(errorsOf({"--verson"}),
              "displaycheck: unknown option --verson; expected a command (did you mean "
              "--version?)\n");
    EXPECT_EQ(errorsOf({"--json", "run", "x.yaml"}),
              "displaycheck: unknown option --json; expected a command\n");
    EXPECT_EQ(errorsOf({"schema", "x"}),
              "displaycheck: schema: unexpected argument x; expected none behind the others\n");
}

TEST(CommandLine, PrintsTheSchema) {
    const Folder folder;
    const auto finished = run(folder, {"schema"});
    EXPECT_EQ(finished.status, 0);
    EXPECT_EQ(nlohmann::json::parse(finished.output)["type"], "object");
}

TEST(CheckCommand, ChecksEveryFile) {
    const Folder folder;
    const std::string first = folder.write("first.yaml", good);
    const std::string bad = folder.write("bad.yaml", "mac: X\nscreens: [built-in]\nbogus: 1\n");
    const std::string last = folder.write("last.yaml", good);
    const std::string missing = folder.path("missing.yaml");

    const auto mixed = run(folder, {"check", first, bad, missing, last});
    EXPECT_EQ(mixed.status, 2);
    EXPECT_EQ(mixed.output, first + ": ok\n" + last + ": ok\n");
    const auto errors = linesOf(mixed.errors);
    ASSERT_EQ(errors.size(), 2u);
    EXPECT_EQ(errors[0].rfind(bad + ":3:1: ", 0), 0u) << errors[0];
    EXPECT_EQ(errors[1].rfind(missing + ":", 0), 0u) << errors[1];

    EXPECT_EQ(run(folder, {"check", first, last}).status, 0);
}

TEST(CheckCommand, ListsAllMistakesOfAFile) {
    const Folder folder;
    const std::string bad = folder.write("bad.yaml", "chip: x\nscreens: 5\nmodel: 1\n");
    for (const char* const command : {"check", "run", "window"}) {
        const auto finished = run(folder, {command, bad});
        EXPECT_EQ(finished.status, 2);
        EXPECT_EQ(finished.output, "");
        const auto errors = linesOf(finished.errors);
        ASSERT_EQ(errors.size(), 3u) << finished.errors;
        for (std::size_t line = 0; line < 3; ++line) {
            EXPECT_EQ(errors[line].rfind(bad + ":" + std::to_string(line + 1) + ":", 0), 0u);
        }
    }
}

TEST(CheckCommand, WarnsOfWhatHasNoEffect) {
    const Folder folder;
    const std::string file = folder.write(
        "mac.yaml", good + "stray_proxies: []\nfaults: [{call: IOAVServiceReadI2C}]\n");
    const auto finished = run(folder, {"check", file});
    EXPECT_EQ(finished.status, 0);
    EXPECT_EQ(finished.output, file + ": ok\n");
    EXPECT_EQ(finished.errors,
              file +
                  ":3:1: warning: \"stray_proxies\" has no effect on an Intel Mac; expected it "
                  "with \"chip: apple\"\n" +
                  file +
                  ":4:17: warning: nothing calls IOAVServiceReadI2C on this Mac, so the "
                  "fault never strikes; expected a call that is made\n");
    EXPECT_EQ(run(folder, {"run", file}).errors, "");
}

TEST(RunCommandLine, RunsNothingWhenAFileIsBad) {
    const Folder folder;
    const std::string file = folder.write("good.yaml", good);
    const std::string bad = folder.write("bad.yaml", "mac: [\n");
    const auto finished = run(folder, {"run", file, bad});
    EXPECT_EQ(finished.status, 2);
    EXPECT_EQ(finished.output, "");
    EXPECT_EQ(finished.errors.rfind(bad + ":", 0), 0u) << finished.errors;
}

TEST(RunCommandLine, ReportsInTheOrderOfTheFiles) {
    const Folder folder;
    const std::string first = folder.write("first.yaml", good);
    const std::string second = folder.write("second.yaml", "mac: Another\nscreens: []\n");
    const auto finished = run(folder, {"run", "--json", second, first, second});
    EXPECT_EQ(finished.status, 0);
    const auto reports = jsonLinesOf(finished.output);
    ASSERT_EQ(reports.size(), 3u);
    EXPECT_EQ(reports[0]["file"], second);
    EXPECT_EQ(reports[1]["mac"], "A Mac alone");
    EXPECT_EQ(reports[2].dump(), reports[0].dump());
}

TEST(RunCommandLine, WaitsForAnEventAfterHours) {
    const Folder folder;
    const std::string file =
        folder.write("late.yaml", good + "events: [{at: 7200, user: enters the pane}]\n");
    const auto finished = run(folder, {"run", "--json", file});
    EXPECT_EQ(finished.status, 0) << finished.errors;
    EXPECT_EQ(jsonLinesOf(finished.output).at(0)["runs"], 2);
}

TEST(RunCommandLine, LeavesNoFilesBehind) {
    const Folder folder;
    setenv("TMPDIR", folder.path("tmp").c_str(), 1);
    std::filesystem::create_directory(folder.path("tmp"));
    EXPECT_EQ(run(folder, {"run", folder.write("mac.yaml", good)}).status, 0);
    EXPECT_TRUE(std::filesystem::is_empty(folder.path("tmp")));
}

TEST(RunCommandLine, SaysWhenContinueStaysGreyed) {
    const Folder folder;
    const std::string file = folder.write("faulty.yaml", good + "faults: [{call: IOMasterPort}]\n");
    const auto finished = run(folder, {"run", file});
    EXPECT_EQ(finished.status, 1);
    EXPECT_NE(finished.output.find("!!! all is quiet, but Continue was not enabled"),
              std::string::npos);
    EXPECT_NE(finished.output.find("╎ Continue ╎"), std::string::npos);
    EXPECT_EQ(
        finished.errors,
        "displaycheck: " + file +
            ": all is quiet, but Continue was not enabled; nothing went on after IOMasterPort, "
            "which was made to fail at 3.000 s on thread \"SerialQueue\" (result "
            "0xe00002bc)\n");
    EXPECT_EQ(run(folder, {"run", "--trace", file}).errors, finished.errors);
    const auto json = run(folder, {"run", "--json", file});
    EXPECT_EQ(json.status, 1);
    const auto report = jsonLinesOf(json.output).at(0);
    EXPECT_EQ(report["runs"], 0);
    EXPECT_TRUE(report["elapsed_s"].is_null());
    EXPECT_EQ(report["pane"]["next_enabled"], false);
    EXPECT_NE(report["stdout"].get<std::string>().find("IOMasterPort() returned"),
              std::string::npos);
}

TEST(RunCommandLine, HasColoursOnlyOnATerminal) {
    const Folder folder;
    const std::string file = folder.write("good.yaml", good);
    EXPECT_EQ(run(folder, {"run", file, "--log", "--trace"}).output.find('\x1B'),
              std::string::npos);
}

TEST(RunCommandLine, ShowsLogAndTraceWhenAsked) {
    const Folder folder;
    const std::string file = folder.write("good.yaml", good);
    const auto usual = run(folder, {"run", file}).output;
    EXPECT_EQ(usual.find("System log"), std::string::npos);
    EXPECT_EQ(usual.find("Platform calls"), std::string::npos);
    const auto log = run(folder, {"run", file, "--log"}).output;
    EXPECT_NE(log.find("System log\n  staticDevice Add observe\n"), std::string::npos) << log;
    EXPECT_NE(log.find("Standard output\n  nothing\n"), std::string::npos);
    const auto trace = run(folder, {"run", file, "--trace"}).output;
    EXPECT_NE(trace.find("  InstallerPane.setNextEnabled(NO)\n"), std::string::npos) << trace;
}

TEST(RunCommandLine, FollowsTheWallClockWhenAsked) {
    const Folder folder;
    const std::string file = folder.write("good.yaml", good);
    const auto begin = std::chrono::steady_clock::now();
    const auto finished = run(folder, {"run", "--json", "--realtime", file});
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(3));
    EXPECT_EQ(finished.status, 0);
    EXPECT_EQ(jsonLinesOf(finished.output).at(0)["elapsed_s"], 3.0);
    EXPECT_NE(finished.errors.find("3.000 s  pane  Continue is enabled\n"), std::string::npos)
        << finished.errors;
}

/// Runs a shell's line; its exit status, -1 when a signal ended it.
int statusOf(const std::string& line) {
    const int status = std::system(line.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(RunCommandLine, SaysWhenTheOutputCannotBeWritten) {
    const Folder folder;
    const std::string file = folder.write("good.yaml", good);
    const std::string line = quoted(DISPLAYCHECK_PROGRAM) + " run " + quoted(file) + " 2>" +
                             quoted(folder.path("stderr"));
    EXPECT_EQ(statusOf(line + " >/dev/full"), 1);
    EXPECT_EQ(folder.read("stderr"),
              "displaycheck: can't write the output: No space left on device\n");
    EXPECT_EQ(statusOf(line + " >&-"), 1);
    EXPECT_EQ(folder.read("stderr"), "displaycheck: can't write the output: Bad file descriptor\n");
}

TEST(RunCommandLine, NeedsNeitherStandardErrorNorStandardInput) {
    const Folder folder;
    const std::string line =
        quoted(DISPLAYCHECK_PROGRAM) + " run " + quoted(folder.write("good.yaml", good));
    EXPECT_EQ(statusOf(line + " >" + quoted(folder.path("usual"))), 0);
    for (const char* const lack : {" 2>/dev/full", " 2>&-", " <&-", " <&- 2>&-"}) {
        EXPECT_EQ(statusOf(line + " >" + quoted(folder.path("stdout")) + lack), 0) << lack;
        EXPECT_EQ(folder.read("stdout"), folder.read("usual")) << lack;
    }
    const std::string bad =
        quoted(DISPLAYCHECK_PROGRAM) + " run " + quoted(folder.write("bad.yaml", "screens: 1"));
    EXPECT_EQ(statusOf(bad + " 2>/dev/full"), 2);
    EXPECT_EQ(statusOf(bad + " 2>&-"), 2);
}

}  // namespace command_line_test
}  // namespace test
