#include "displaycheck/dumps/DumpFile.h"

#include <archive.h>
#include <archive_entry.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string_view>
#include <utility>

namespace displaycheck {
namespace dump_file_test {

using Members = std::vector<std::pair<std::string, std::string>>;

/// A folder of the test's own, removed with all that is in it.
class ReadDumpFiles : public testing::Test {
  protected:
    ReadDumpFiles() { std::filesystem::create_directory(folder_); }
    ~ReadDumpFiles() override { std::filesystem::remove_all(folder_); }

    std::string path(const std::string& name) const { return folder_ + "/" + name; }

    std::string write(const std::string& name, std::string_view contents) const {
        std::ofstream(path(name), std::ios::binary) << contents;
        return path(name);
    }

    /// Packs the members. A name that ends in "/" is a folder.
    std::string pack(const std::string& name, const Members& members, int format,
                     int filter) const {
        archive* const writer = archive_write_new();
        EXPECT_EQ(archive_write_set_format(writer, format), ARCHIVE_OK);
        EXPECT_EQ(archive_write_add_filter(writer, filter), ARCHIVE_OK);
        EXPECT_EQ(archive_write_open_filename(writer, path(name).c_str()), ARCHIVE_OK);
        for (const auto& [member, contents] : members) {
            archive_entry* const entry = archive_entry_new();
            archive_entry_set_pathname(entry, member.c_str());
            archive_entry_set_filetype(entry, member.back() == '/' ? AE_IFDIR : AE_IFREG);
            archive_entry_set_perm(entry, 0644);
            archive_entry_set_size(entry, static_cast<la_int64_t>(contents.size()));
            EXPECT_EQ(archive_write_header(writer, entry), ARCHIVE_OK);
            archive_write_data(writer, contents.data(), contents.size());
            archive_entry_free(entry);
        }
        EXPECT_EQ(archive_write_free(writer), ARCHIVE_OK);
        return path(name);
    }

  private:
    std::string folder_ = testing::TempDir() + "dump_file_test." + std::to_string(getpid());
};

/// What stands in the only file.
std::string contentsOf(const std::string& path) {
    const auto files = readDumpFiles(path);
    EXPECT_EQ(files.size(), 1u);
    if (files.empty()) return {};
    EXPECT_EQ(files[0].name, path);
    return files[0].contents;
}

std::string errorOf(const std::string& path) {
    try {
        readDumpFiles(path);
    } catch (const DumpError& error) {
        return error.what();
    }
    return {};
}

Members membersOf(const std::string& path) {
    Members members;
    for (const DumpFile& file : readDumpFiles(path)) {
        EXPECT_EQ(file.name.compare(0, path.size() + 1, path + ":"), 0) << file.name;
        members.emplace_back(file.name.substr(path.size() + 1), file.contents);
    }
    return members;
}

TEST_F(ReadDumpFiles, GivesAFileAsItIs) {
    const std::string binary("bplist00\0\xFE", 10);
    EXPECT_EQ(contentsOf(write("dump.txt", "+-o Root\n")), "+-o Root\n");
    EXPECT_EQ(contentsOf(write("dump.plist", binary)), binary);
    EXPECT_EQ(contentsOf(write("empty.txt", "")), "");
}

TEST_F(ReadDumpFiles, UnpacksACompressedFile) {
    for (const int filter : {ARCHIVE_FILTER_GZIP, ARCHIVE_FILTER_BZIP2, ARCHIVE_FILTER_XZ}) {
        EXPECT_EQ(contentsOf(pack("dump.packed", {{"dump.txt", "+-o Root\n"}}, ARCHIVE_FORMAT_RAW,
                                  filter)),
                  "+-o Root\n")
            << filter;
    }
}

TEST_F(ReadDumpFiles, GivesTheMembersOfAnArchive) {
    const Members members = {{"dumps/", ""}, {"dumps/b.txt", "b"}, {"dumps/a.txt", ""}};
    const Members files = {{"dumps/b.txt", "b"}, {"dumps/a.txt", ""}};
    EXPECT_EQ(membersOf(pack("dumps.tar", members, ARCHIVE_FORMAT_TAR_USTAR, ARCHIVE_FILTER_NONE)),
              files);
    EXPECT_EQ(membersOf(pack("dumps.tgz", members, ARCHIVE_FORMAT_TAR_USTAR, ARCHIVE_FILTER_GZIP)),
              files);
    EXPECT_EQ(membersOf(pack("dumps.zip", members, ARCHIVE_FORMAT_ZIP, ARCHIVE_FILTER_NONE)),
              files);
}

TEST_F(ReadDumpFiles, UnpacksACompressedMemberOfAnArchive) {
    const auto compressed = [this](const std::string& contents) {
        const std::string packed =
            pack("inner.gz", {{"inner", contents}}, ARCHIVE_FORMAT_RAW, ARCHIVE_FILTER_GZIP);
        std::ifstream file(packed, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), {});
    };
    const std::string once = compressed("+-o Root\n");
    const auto membersWith = [this](const std::string& contents) {
        return membersOf(pack("dumps.zip", {{"a.txt.gz", contents}, {"b.txt", "b"}},
                              ARCHIVE_FORMAT_ZIP, ARCHIVE_FILTER_NONE));
    };
    EXPECT_EQ(membersWith(once), Members({{"a.txt.gz", "+-o Root\n"}, {"b.txt", "b"}}));
    EXPECT_EQ(membersWith(compressed("")), Members({{"a.txt.gz", ""}, {"b.txt", "b"}}));
    const std::string large = compressed(std::string(100'000, 'x'));
    const std::string cut = large.substr(0, large.size() / 2);
    EXPECT_EQ(
        errorOf(pack("dumps.zip", {{"a.txt.gz", cut}}, ARCHIVE_FORMAT_ZIP, ARCHIVE_FILTER_NONE)),
        "can't be read: truncated gzip input");
    EXPECT_EQ(errorOf(pack("dumps.zip", {{"a.txt.gz", compressed(std::string(256U << 20, 'x'))}},
                           ARCHIVE_FORMAT_ZIP, ARCHIVE_FILTER_NONE)),
              "is too large; expected at most 256 MiB unpacked");
}

TEST_F(ReadDumpFiles, LeavesOutTheAttributesThatMacOSPacksBesideAFile) {
    const std::string attributes("\x00\x05\x16\x07\x00\x02", 6);
    EXPECT_EQ(membersOf(pack("dumps.zip", {{"__MACOSX/._a.txt", attributes}, {"a.txt", "a"}},
                             ARCHIVE_FORMAT_ZIP, ARCHIVE_FILTER_NONE)),
              Members({{"a.txt", "a"}}));
}

TEST_F(ReadDumpFiles, GivesTextAsUTF8) {
    EXPECT_EQ(contentsOf(write("a.txt", "\xEF\xBB\xBF{}")), "{}");
    EXPECT_EQ(contentsOf(write("b.txt", std::string("\xFF\xFE\x41\x00\xE9\x00", 6))), "A\u00E9");
    EXPECT_EQ(contentsOf(write("c.txt", std::string("\xFE\xFF\x00\x41\xD8\x3D\xDC\x67", 8))),
              "A\U0001F467");
}

TEST_F(ReadDumpFiles, LeavesBytesAloneThatOnlyBeginAsUTF16) {
    for (const std::string& bytes :
         {std::string("\xFF\xFE\x00\x00", 4), std::string("\xFF\xFE\x41", 3),
          std::string("\xFF\xFE\x3D\xD8", 4)}) {
        EXPECT_EQ(contentsOf(write("bytes", bytes)), bytes);
    }
}

TEST_F(ReadDumpFiles, SaysWhyAFileCannotBeRead) {
    EXPECT_EQ(errorOf(path("missing.txt")), "can't be read: No such file or directory");
    EXPECT_EQ(errorOf(path("")), "is a folder; expected a file or an archive");
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    EXPECT_EQ(errorOf(path("pipe")), "is not a regular file; expected a file or an archive");
}

TEST_F(ReadDumpFiles, RefusesADamagedArchive) {
    const std::string packed = pack("dump.gz", {{"dump.txt", std::string(100'000, 'x')}},
                                    ARCHIVE_FORMAT_RAW, ARCHIVE_FILTER_GZIP);
    std::filesystem::resize_file(packed, std::filesystem::file_size(packed) / 2);
    EXPECT_EQ(errorOf(packed), "can't be read: truncated gzip input");
}

TEST_F(ReadDumpFiles, RefusesWhatUnpacksToTooMuch) {
    // A hole takes no space.
    const std::string large = write("large.txt", "x");
    std::filesystem::resize_file(large, (256U << 20) + 1);
    EXPECT_EQ(errorOf(large), "is too large; expected at most 256 MiB unpacked");

    EXPECT_EQ(errorOf(pack("many.tar", Members(10'001, {"a", ""}), ARCHIVE_FORMAT_TAR_USTAR,
                           ARCHIVE_FILTER_NONE)),
              "has too many members; expected at most 10000");
}

TEST_F(ReadDumpFiles, ReadsStandardInput) {
    const std::string dump = write("dump.txt", "+-o Root\n");
    const int before = dup(STDIN_FILENO);
    ASSERT_NE(std::freopen(dump.c_str(), "r", stdin), nullptr);
    const auto files = readDumpFiles("-");
    dup2(before, STDIN_FILENO);
    close(before);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0].name, "standard input");
    EXPECT_EQ(files[0].contents, "+-o Root\n");
}

}  // namespace dump_file_test
}  // namespace displaycheck
