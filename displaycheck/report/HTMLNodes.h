#pragma once

#include <initializer_list>
#include <pugixml.hpp>
#include <string>

#include "displaycheck/report/TerminalText.h"

/// Parts of an HTML page. Texts are escaped where they are written.
namespace displaycheck {

inline pugi::xml_node addElement(pugi::xml_node parent, const char* element,
                                 const char* style = "") {
    pugi::xml_node node = parent.append_child(element);
    if (*style != '\0') node.append_attribute("class") = style;
    return node;
}

/// Adds text as it is; of control characters, HTML takes line breaks alone.
inline void addRawText(pugi::xml_node node, const std::string& text) {
    node.append_child(pugi::node_pcdata).set_value(text.c_str());
}

/// Adds text with escapes for what would control or reorder the line.
inline void addText(pugi::xml_node node, const std::string& text) {
    addRawText(node, printable(text));
}

inline pugi::xml_node addElementWithText(pugi::xml_node parent, const char* element,
                                         const std::string& text, const char* style = "") {
    pugi::xml_node node = addElement(parent, element, style);
    addText(node, text);
    return node;
}

/// A table with its headings, in a box that scrolls sideways if it is too wide.
inline pugi::xml_node addTable(pugi::xml_node parent, std::initializer_list<const char*> headings) {
    pugi::xml_node table = addElement(addElement(parent, "div", "scroll"), "table");
    pugi::xml_node row = addElement(addElement(table, "thead"), "tr");
    for (const char* const heading : headings) addElementWithText(row, "th", heading);
    return addElement(table, "tbody");
}

}  // namespace displaycheck
