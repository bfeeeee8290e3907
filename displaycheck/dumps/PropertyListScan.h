#pragma once

#include <string_view>

namespace displaycheck {

/// Throws DumpError for a property list that would take the parser too much stack, memory or time:
/// it parses and frees what it is given by recursion, unpacks shared objects of a binary one for
/// each use, searches a dictionary for every key of an XML one, and ends the process on some texts
/// with a zero byte.
void scanXMLPropertyList(std::string_view contents);
void scanBinaryPropertyList(std::string_view contents);

}  // namespace displaycheck
