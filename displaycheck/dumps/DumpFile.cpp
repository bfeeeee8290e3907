#include "displaycheck/dumps/DumpFile.h"

#include <archive.h>
#include <archive_entry.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unicode/ustring.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

namespace displaycheck {

namespace {

constexpr std::size_t mostBytes = 256U << 20;
constexpr std::size_t mostMembers = 10'000;
constexpr std::size_t pieceSize = 65536;

/// Begins the files in which macOS packs a member's extended attributes beside it (AppleDouble).
constexpr std::string_view attributesMark("\x00\x05\x16\x07", 4);

constexpr std::string_view gzipMark = "\x1F\x8B";

class OpenFile {
  public:
    /// Without waiting for a writer, where the path names a pipe.
    explicit OpenFile(const std::string& path)
        : descriptor_(path == "-" ? dup(STDIN_FILENO)
                                  : open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
        if (descriptor_ == -1) {
            throw DumpError(fmt::format("can't be read: {}", std::strerror(errno)));
        }
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    ~OpenFile() { close(descriptor_); }

    int descriptor() const { return descriptor_; }

    mode_t kind() const {
        struct stat status = {};
        return fstat(descriptor_, &status) == 0 ? status.st_mode & S_IFMT : 0;
    }

  private:
    int descriptor_;
};

struct CloseArchive {
    void operator()(archive* reader) const { archive_read_free(reader); }
};
using Archive = std::unique_ptr<archive, CloseArchive>;

/// Only formats that Macs' owners send. Others are told by so little that a text may pass for one
/// (mtree, uuencode), or are unpacked by starting a program (lrzip).
Archive makeReader() {
    Archive reader(archive_read_new());
    if (!reader) throw DumpError("can't be read: out of memory");
    archive_read_support_filter_gzip(reader.get());
    archive_read_support_filter_bzip2(reader.get());
    archive_read_support_filter_xz(reader.get());
    archive_read_support_filter_zstd(reader.get());
    archive_read_support_format_tar(reader.get());
    archive_read_support_format_zip(reader.get());
    archive_read_support_format_empty(reader.get());
    archive_read_support_format_raw(reader.get());
    return reader;
}

DumpError unreadable(archive* reader) {
    const char* const text = archive_error_string(reader);
    return DumpError(fmt::format("can't be read: {}", text != nullptr ? text : "damaged"));
}

std::string memberName(archive_entry* entry) {
    // One of the two is missing where a name can't be written in the locale's encoding.
    const char* name = archive_entry_pathname(entry);
    if (name == nullptr) name = archive_entry_pathname_utf8(entry);
    return name != nullptr ? name : "(no name)";
}

/// All bytes of the entry that is next. `left` counts down what may still be unpacked.
std::string readEntry(archive* reader, std::size_t& left) {
    std::string contents;
    std::array<char, pieceSize> piece;
    for (;;) {
        const la_ssize_t count = archive_read_data(reader, piece.data(), piece.size());
        if (count == ARCHIVE_RETRY) continue;
        if (count < 0) throw unreadable(reader);
        if (count == 0) return contents;
        const auto size = static_cast<std::size_t>(count);
        if (size > left) {
            throw DumpError(
                fmt::format("is too large; expected at most {} MiB unpacked", mostBytes >> 20));
        }
        left -= size;
        contents.append(piece.data(), size);
    }
}

/// The file that a compressed member of an archive holds.
std::string unpackMember(const std::string& packed, std::size_t& left) {
    const Archive reader(archive_read_new());
    if (!reader) throw DumpError("can't be read: out of memory");
    archive_read_support_filter_gzip(reader.get());
    archive_read_support_format_empty(reader.get());
    archive_read_support_format_raw(reader.get());
    if (archive_read_open_memory(reader.get(), packed.data(), packed.size()) < ARCHIVE_WARN) {
        throw unreadable(reader.get());
    }
    archive_entry* entry = nullptr;
    const int result = archive_read_next_header(reader.get(), &entry);
    if (result == ARCHIVE_EOF) return {};
    if (result < ARCHIVE_WARN) throw unreadable(reader.get());
    return readEntry(reader.get(), left);
}

/// A text of UTF-16 as UTF-8; nothing for bytes that are none.
std::optional<std::string> textFromUTF16(std::string_view bytes) {
    const bool littleEndian = bytes.substr(0, 2) == "\xFF\xFE";
    if (bytes.size() % 2 != 0 || (!littleEndian && bytes.substr(0, 2) != "\xFE\xFF")) {
        return std::nullopt;
    }
    bytes.remove_prefix(2);
    std::u16string units;
    units.reserve(bytes.size() / 2);
    for (std::size_t at = 0; at < bytes.size(); at += 2) {
        const auto first = static_cast<unsigned char>(bytes[at]);
        const auto second = static_cast<unsigned char>(bytes[at + 1]);
        const auto unit =
            static_cast<char16_t>(littleEndian ? first | second << 8 : second | first << 8);
        if (unit == 0) return std::nullopt;
        units.push_back(unit);
    }
    // A unit takes at most three bytes.
    std::string text(3 * units.size(), '\0');
    int32_t length = 0;
    UErrorCode error = U_ZERO_ERROR;
    u_strToUTF8(text.data(), static_cast<int32_t>(text.size()), &length, units.data(),
                static_cast<int32_t>(units.size()), &error);
    if (U_FAILURE(error)) return std::nullopt;
    text.resize(static_cast<std::size_t>(length));
    return text;
}

std::string asUTF8(std::string contents) {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (contents.compare(0, byteOrderMark.size(), byteOrderMark) == 0) {
        return contents.substr(byteOrderMark.size());
    }
    auto text = textFromUTF16(contents);
    return text ? *std::move(text) : std::move(contents);
}

}  // namespace

std::vector<DumpFile> readDumpFiles(const std::string& path) {
    const std::string name = path == "-" ? "standard input" : path;
    const OpenFile file(path);
    if (file.kind() == S_IFDIR) throw DumpError("is a folder; expected a file or an archive");
    if (path != "-" && file.kind() != S_IFREG) {
        throw DumpError("is not a regular file; expected a file or an archive");
    }

    const Archive reader = makeReader();
    if (archive_read_open_fd(reader.get(), file.descriptor(), pieceSize) < ARCHIVE_WARN) {
        throw unreadable(reader.get());
    }
    std::vector<DumpFile> files;
    std::size_t left = mostBytes;
    archive_entry* entry = nullptr;
    for (std::size_t members = 0;;) {
        const int result = archive_read_next_header(reader.get(), &entry);
        if (result == ARCHIVE_RETRY) continue;
        if (result == ARCHIVE_EOF) break;
        if (result < ARCHIVE_WARN) throw unreadable(reader.get());
        if (++members > mostMembers) {
            throw DumpError(fmt::format("has too many members; expected at most {}", mostMembers));
        }
        const bool isArchive = archive_format(reader.get()) != ARCHIVE_FORMAT_RAW;
        if (isArchive && archive_entry_filetype(entry) != AE_IFREG) continue;
        // The name belongs to the entry, which reading the data may change.
        std::string member = isArchive ? name + ":" + memberName(entry) : name;
        std::string contents = readEntry(reader.get(), left);
        if (isArchive && contents.starts_with(attributesMark)) continue;
        if (isArchive && contents.starts_with(gzipMark)) contents = unpackMember(contents, left);
        files.push_back({std::move(member), asUTF8(std::move(contents))});
    }
    if (archive_format(reader.get()) == ARCHIVE_FORMAT_EMPTY) files.push_back({name, ""});
    return files;
}

}  // namespace displaycheck
