#pragma once

#include <string>
#include <vector>

#include "displaycheck/dumps/DumpError.h"

namespace displaycheck {

/// A file that one of a Mac's tools wrote, unpacked.
struct DumpFile {
    std::string name;      ///< "FILE", or "ARCHIVE:MEMBER" for one out of an archive
    std::string contents;  ///< text as UTF-8 without byte order mark, anything else as it is
};

/// Reads a file, or standard input for "-". A compressed file (gzip, bzip2, xz, zstd) is unpacked;
/// an archive (tar, zip) gives its regular members, in their order, those that gzip compressed
/// unpacked. At most 256 MiB, packed and unpacked members both counted, and 10,000 members. Throws
/// DumpError.
std::vector<DumpFile> readDumpFiles(const std::string& path);

}  // namespace displaycheck
