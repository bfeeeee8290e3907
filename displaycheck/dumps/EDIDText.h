#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "simulated_mac/description/MacDescription.h"

/// EDIDs in files as people have them: what tools print and what they paste.
namespace displaycheck {

/// An EDID with its extension blocks: 128 bytes or more that begin with the header.
struct FoundEDID {
    /// Up to the text's or the value's end, or to the next EDID: as many blocks as there are, which
    /// may be fewer or more than byte 126 announces, and any bytes behind the last whole block. At
    /// most 256 blocks.
    simulated_mac::Bytes bytes;
    std::size_t line = 0;    ///< where it begins, from 1; 0 in a binary file
    std::size_t offset = 0;  ///< where it begins in a binary file; 0 in a text
    /// "binary", "hex", "<hex>", "C array", "xxd", "hexdump", "edid-decode", "base64" or
    /// "property list".
    std::string form;
    /// The part of the text that it was read from, in UTF-8. Empty in a binary file, and if it
    /// shares a line or a value with another EDID.
    std::string givenText;
};

/// What stands where an EDID would, and is none.
struct NotAnEDID {
    std::size_t line = 0;    ///< as in FoundEDID
    std::size_t offset = 0;  ///< as in FoundEDID
    std::string fault;       ///< "has 100 bytes; an EDID has at least 128"
};

struct EDIDSearch {
    std::vector<FoundEDID> found;
    std::vector<NotAnEDID> refused;
};

/// Finds the EDIDs in a file's contents, in their order. The forms:
/// - binary: one EDID, several, or other data around them;
/// - hex digits of either case, over one line or several, also with blanks, commas, colons, quotes,
///   braces, "0x" or "\x" prefixes and C comments; a line that holds other words too (a name before
///   an equals sign) counts from the EDID's header on;
/// - "<hex>" as ioreg prints it, where an asterisk is a masked zero digit; what is in angle
/// brackets
///   under other keys than EDIDs' counts only if it begins as an EDID;
/// - dumps with addresses as of xxd, `hexdump -C` and `od -t x1`, with "*" for repeated lines;
/// - base64, by itself or as data in an XML property list.
/// Texts are UTF-8, or UTF-16 with a byte order mark; their lines end as on Unix or Windows.
///
/// A block that equals the EDID's first one belongs to that EDID (some monitors answer every read
/// with their first block); any other with the header begins the next EDID. Takes linear time.
EDIDSearch searchForEDIDs(std::string_view contents);

/// What `searchForEDIDs` found.
std::vector<FoundEDID> findEDIDs(std::string_view contents);

}  // namespace displaycheck
