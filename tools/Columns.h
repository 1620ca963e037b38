// Padding for the columns of the tool's plain-text tables, and units as the tool shows them.
#ifndef ANADATA_TOOLS_COLUMNS_H
#define ANADATA_TOOLS_COLUMNS_H

#include <cstddef>
#include <string>

namespace tool {

// `text` followed by spaces up to `width` characters; longer text is left whole.
inline std::string padded(const std::string& text, std::size_t width) {
    return text.size() >= width ? text : text + std::string(width - text.size(), ' ');
}

// A unit without the blanks around it: the text format writes an empty unit as one blank, and
// either way there is none ("").
inline std::string unitText(const std::string& unit) {
    const auto first = unit.find_first_not_of(' ');
    if (first == std::string::npos) return "";
    return unit.substr(first, unit.find_last_not_of(' ') - first + 1);
}

}  // namespace tool

#endif
