#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "displaycheck/report/TerminalText.h"
#include "displaycheck/tests/Program.h"

// What the output looks like follows the terminal and the environment.

namespace test {
namespace output_form_test {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

/// An environment variable for the programs of one test.
class Variable {
  public:
    Variable(const char* name, const std::string& value) : name_(name) {
        const char* const before = std::getenv(name);
        if (before != nullptr) before_ = before;
        setenv(name, value.c_str(), 1);
    }
    ~Variable() {
        if (before_) {
            setenv(name_, before_->c_str(), 1);
        } else {
            unsetenv(name_);
        }
    }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

  private:
    const char* name_;
    std::optional<std::string> before_;
};

std::vector<std::string> examples() {
    std::vector<std::string> paths;
    const auto folder = std::filesystem::path(PROJECT_SOURCE_DIR) / "examples";
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        paths.push_back(entry.path().string());
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

std::vector<std::string> with(std::vector<std::string> first,
                              const std::vector<std::string>& others) {
    first.insert(first.end(), others.begin(), others.end());
    return first;
}

std::vector<std::string> linesWiderThan(std::size_t columns, const std::string& text) {
    std::vector<std::string> wide;
    for (const std::string& line : linesOf(text)) {
        if (displaycheck::displayWidth(line) > columns) wide.push_back(line);
    }
    return wide;
}

class Width : public testing::TestWithParam<std::size_t> {
  protected:
    const Variable columns{"COLUMNS", std::to_string(GetParam())};
    const Folder folder;
};

TEST_P(Width, HoldsAllReports) {
    const auto finished = run(folder, with({"run", "--details"}, examples()));
    EXPECT_THAT(linesWiderThan(GetParam(), finished.output), IsEmpty());
}

TEST_P(Width, HoldsTheSummary) {
    const auto finished = run(folder, with({"run"}, examples()));
    EXPECT_THAT(linesWiderThan(GetParam(), finished.output), IsEmpty());
    EXPECT_THAT(finished.output, HasSubstr("apple-twins.yaml"));
}

TEST_P(Width, HoldsASweep) {
    const auto finished =
        run(folder, {"sweep", PROJECT_SOURCE_DIR "/examples/apple-twins-with-serial-numbers.yaml"});
    EXPECT_THAT(linesWiderThan(GetParam(), finished.output), IsEmpty());
}

TEST_P(Width, HoldsWhatIsSaidOfAModel) {
    const auto finished = run(folder, {"model", "VORN K2723QX (1)", "abc"});
    EXPECT_THAT(linesWiderThan(GetParam(), finished.output), IsEmpty());
}

/// Lines of several words that are wider than the terminal: one word alone, which may be a path
/// that people copy, stays whole.
std::vector<std::string> proseWiderThan(std::size_t columns, const std::string& text) {
    std::vector<std::string> wide;
    for (const std::string& line : linesWiderThan(columns, text)) {
        const auto word = line.find_first_not_of(' ');
        if (line.find(' ', word) != std::string::npos) wide.push_back(line);
    }
    return wide;
}

const std::string dumpOfAnIntelMac = PROJECT_SOURCE_DIR "/tests/dumps/intel.ioreg.txt";

TEST_P(Width, HoldsEDIDs) {
    const std::string edid = "00FFFFFFFFFFFF005A4E25270403020111230104";
    const auto finished = run(folder, {"edid", dumpOfAnIntelMac, "-"}, edid + "\n");
    EXPECT_THAT(proseWiderThan(GetParam(), finished.output), IsEmpty());
    EXPECT_THAT(finished.output, HasSubstr(" VRN27.01020304.K2725QX.7VRN001\n"));
    EXPECT_THAT(proseWiderThan(GetParam(), finished.printedErrors), IsEmpty());
    EXPECT_THAT(finished.errors, HasSubstr("standard input:1: "));
}

TEST_P(Width, HoldsWhatAnImportNotes) {
    const auto finished =
        run(folder, {"import", "--no-run", "-o", folder.path("mac.yaml"), dumpOfAnIntelMac});
    EXPECT_THAT(proseWiderThan(GetParam(), finished.output), IsEmpty());
    EXPECT_THAT(finished.output,
                HasSubstr("IOService:/AppleACPIPlatformExpert/PCI0@0/AppleACPIPCI/IGPU@2/"
                          "AppleIntelFramebuffer@0."));
}

TEST_P(Width, HoldsAComparison) {
    run(folder, {"import", "--no-run", "-o", folder.path("mac.yaml"), dumpOfAnIntelMac});
    const std::string other = PROJECT_SOURCE_DIR "/tests/dumps/intel-framebuffers.ioreg.txt";
    for (const std::string& dump : {dumpOfAnIntelMac, other}) {
        const auto finished = run(folder, {"compare", folder.path("mac.yaml"), dump});
        EXPECT_THAT(proseWiderThan(GetParam(), finished.output), IsEmpty());
        EXPECT_THAT(finished.output, HasSubstr(folder.path("mac.yaml:")));
    }
}

TEST_P(Width, HoldsWhatIsWrongWithMacFiles) {
    const std::string bad = folder.write("bad.yaml", "chip: x\nscreens: 5\nmodel: 1\n");
    const std::string useless =
        folder.write("useless.yaml", "screens: []\nfaults: [{call: IOAVServiceReadI2C}]\n");
    const auto finished = run(folder, {"check", bad, useless});
    EXPECT_THAT(proseWiderThan(GetParam(), finished.output + finished.printedErrors), IsEmpty());
    EXPECT_THAT(linesOf(finished.printedErrors),
                testing::Contains(testing::StartsWith(bad + ":1:7:")));
}

TEST_P(Width, HoldsWhatIsWrongWithTheArguments) {
    for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
             {"rnu"}, {"run"}, {"run", "--jsno", "x"}, {"run", "--lang=xx", "x"}}) {
        const auto finished = run(folder, arguments);
        EXPECT_EQ(finished.status, 2);
        EXPECT_THAT(linesWiderThan(GetParam(), finished.printedErrors), IsEmpty());
    }
}

TEST_P(Width, HoldsWhatIsWrongWithARun) {
    const std::string file = folder.write("mac.yaml", "screens: []\nexpect: {warning: false}\n");
    const auto finished = run(folder, {"run", file});
    EXPECT_EQ(finished.status, 3);
    EXPECT_THAT(proseWiderThan(GetParam(), finished.printedErrors), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(From40Columns, Width, testing::Values(40, 52, 80, 100),
                         testing::PrintToStringParamName());

TEST(OutputForm, HasFramesInASCIIInTheCLocale) {
    const Folder folder;
    const std::string file = PROJECT_SOURCE_DIR "/examples/intel-first-look.yaml";
    for (const std::string locale : {"C", "POSIX", "de_DE.ISO-8859-1"}) {
        const Variable language("LC_ALL", locale);
        const std::string output = run(folder, {"run", file}).output;
        EXPECT_THAT(output, HasSubstr("+---------+")) << locale;
        EXPECT_TRUE(std::all_of(output.begin(), output.end(),
                                [](char byte) { return static_cast<unsigned char>(byte) < 128; }));
    }
    const Variable language("LC_ALL", "C.UTF-8");
    EXPECT_THAT(run(folder, {"run", file}).output, HasSubstr("┌─────────┐"));
}

TEST(OutputForm, HasTheWidthOf80ColumnsWhereNoneIsKnown) {
    const Folder folder;
    for (const std::string columns : {"", "0", "many", "-5"}) {
        const Variable width("COLUMNS", columns);
        const auto finished =
            run(folder, {"run", PROJECT_SOURCE_DIR "/examples/intel-first-look.yaml"});
        EXPECT_THAT(linesWiderThan(79, finished.output), Not(IsEmpty()));
        EXPECT_THAT(linesWiderThan(80, finished.output), IsEmpty());
    }
}

TEST(Trace, MayBeOfSomeCallsAlone) {
    const Folder folder;
    const std::string file = PROJECT_SOURCE_DIR "/examples/intel-listed-answers.yaml";
    const std::string text = run(folder, {"run", "--trace=IOI2C*", file}).output;
    EXPECT_THAT(text, HasSubstr("  IOI2CSendRequest("));
    EXPECT_THAT(text, Not(HasSubstr("  IOFBGetI2CInterfaceCount(")));
    const auto report = jsonLinesOf(run(folder, {"run", "--json", "--trace=IOFB*", file}).output);
    EXPECT_FALSE(report.at(0)["trace"].empty());
    for (const auto& call : report[0]["trace"]) {
        EXPECT_THAT(call["call"].get<std::string>(), testing::StartsWith("IOFB"));
    }
}

TEST(Trace, CanGoToAFileOfItsOwn) {
    const Folder folder;
    const std::string file = PROJECT_SOURCE_DIR "/examples/intel-listed-answers.yaml";
    const std::string usual = run(folder, {"run", file}).output;
    const std::string trace = folder.path("trace.txt");
    EXPECT_EQ(run(folder, {"run", "--trace-file", trace, file}).output, usual);
    EXPECT_THAT(folder.read("trace.txt"), HasSubstr("  IOI2CSendRequest("));
    run(folder, {"run", "--trace-file", trace, "--trace=IOFB*", file, file});
    EXPECT_THAT(folder.read("trace.txt"), Not(HasSubstr("  IOI2CSendRequest(")));
    EXPECT_EQ(linesOf(folder.read("trace.txt")).at(0), file);
}

}  // namespace output_form_test
}  // namespace test
