// Padding for the columns of the tool's plain-text tables.
#ifndef ANADATA_TOOLS_COLUMNS_H
#define ANADATA_TOOLS_COLUMNS_H

#include <cstddef>
#include <string>

namespace tool {

// `text` followed by spaces up to `width` characters; longer text is left whole.
inline std::string padded(const std::string& text, std::size_t width) {
    return text.size() >= width ? text : text + std::string(width - text.size(), ' ');
}

}  // namespace tool

#endif
