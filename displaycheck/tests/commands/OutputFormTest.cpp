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
