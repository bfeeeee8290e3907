#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>

#include "displaycheck/tests/Program.h"

// Where the program takes Mac files from.

namespace test {
namespace mac_files_test {

const std::string good = "screens: [built-in]\n";

std::string firstLineOf(std::FILE* file) {
    std::array<char, 1000> line{};
    return std::fgets(line.data(), line.size(), file) != nullptr ? line.data() : "";
}

TEST(MacFiles, AreAlsoReadFromStandardInput) {
    const Folder folder;
    const auto checked = run(folder, {"check", "-"}, good);
    EXPECT_EQ(checked.status, 0);
    EXPECT_EQ(checked.output, "standard input: ok\n");
    EXPECT_EQ(checked.errors, "");
    EXPECT_EQ(run(folder, {"check", "-"}, "screens: 5\n").errors,
              "standard input:1:10: found the number 5; expected a list\n");
    const auto ran = run(folder, {"run", "--json", "-"}, good);
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(jsonLinesOf(ran.output).at(0)["file"], "standard input");
}

TEST(MacFiles, FromStandardInputNameFilesInTheCurrentFolder) {
    const Folder folder;
    folder.write("ioreg.txt", "x");
    const std::string text = good + "tools: {ioreg: {prints_file: ioreg.txt}}\n";
    const auto here = std::filesystem::current_path();
    EXPECT_EQ(run(folder, {"check", "-"}, text).status, 2);
    std::filesystem::current_path(folder.path(""));
    EXPECT_EQ(run(folder, {"check", "-"}, text).status, 0);
    std::filesystem::current_path(here);
}

TEST(MacFiles, AreReadFromAPipe) {
    const Folder folder;
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe(pipe.data()), 0);
    ASSERT_EQ(write(pipe[1], good.data(), good.size()), static_cast<ssize_t>(good.size()));
    close(pipe[1]);
    const auto finished = run(folder, {"check", "/dev/fd/" + std::to_string(pipe[0])});
    close(pipe[0]);
    EXPECT_EQ(finished.status, 0);
    EXPECT_EQ(finished.errors, "");
}

TEST(MacFiles, ThatAreEmptyPipesAreEmpty) {
    const Folder folder;
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe(pipe.data()), 0);
    close(pipe[1]);
    const std::string path = "/dev/fd/" + std::to_string(pipe[0]);
    EXPECT_EQ(run(folder, {"check", path}).errors,
              path + ":1:1: the file is empty; expected a mapping of keys\n");
    close(pipe[0]);
}

TEST(MacFiles, ThatNobodyWritesAreWaitedForAloud) {
    const Folder folder;
    const std::string path = folder.path("pipe");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const std::string line =
        quoted(DISPLAYCHECK_PROGRAM) + " check " + quoted(path) + " 2>&1 </dev/null";
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> program(popen(line.c_str(), "r"), pclose);
    ASSERT_NE(program, nullptr);
    EXPECT_EQ(firstLineOf(program.get()),
              "displaycheck: waiting for " + path + ", which is a pipe\n");
    std::ofstream(path) << good;
    EXPECT_EQ(firstLineOf(program.get()), path + ": ok\n");
}

TEST(MacFiles, AreNoSockets) {
    const Folder folder;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = folder.path("socket");
    ASSERT_LT(path.size(), sizeof address.sun_path);
    std::strcpy(address.sun_path, path.c_str());
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(run(folder, {"check", path}).errors,
              path + ":1:1: is a socket; expected a Mac file\n");
    close(listener);
}

TEST(MacFiles, OfAFolderAreAllBelow) {
    const Folder folder;
    std::filesystem::create_directories(folder.path("macs/below"));
    folder.write("macs/b.yaml", good);
    folder.write("macs/below/a.yaml", good);
    folder.write("macs/a.yaml", good);
    folder.write("macs/notes.txt", "no Mac");
    const std::string macs = folder.path("macs");
    const auto checked = run(folder, {"check", macs});
    EXPECT_EQ(checked.status, 0);
    EXPECT_EQ(checked.output,
              macs + "/a.yaml: ok\n" + macs + "/b.yaml: ok\n" + macs + "/below/a.yaml: ok\n");
    const auto reports = jsonLinesOf(run(folder, {"run", "--json", macs}).output);
    ASSERT_EQ(reports.size(), 3u);
    EXPECT_EQ(reports[2]["file"], macs + "/below/a.yaml");
}

TEST(MacFiles, AreMissedInAFolderWithoutAny) {
    const Folder folder;
    std::filesystem::create_directories(folder.path("macs/below"));
    folder.write("macs/notes.txt", "no Mac");
    const auto finished = run(folder, {"run", folder.path("macs")});
    EXPECT_EQ(finished.status, 2);
    EXPECT_EQ(finished.output, "");
    EXPECT_EQ(finished.errors,
              folder.path("macs") +
                  ": no Mac file in this folder or below; expected at least one *.yaml\n");
}

}  // namespace mac_files_test
}  // namespace test
