// The tool's JSON output, built with nlohmann-json.
#ifndef ANADATA_TOOLS_JSON_H
#define ANADATA_TOOLS_JSON_H

#include <iostream>

#include <nlohmann/json.hpp>

namespace tool {

// Keys stay in the order they are set.
using Json = nlohmann::ordered_json;

// Writes the value to standard output with two-space indentation and a final newline. Bytes that
// are not UTF-8 become U+FFFD, so the output is valid JSON whatever a data file holds; nan and
// inf, which JSON has no number for, become null.
inline void printJson(const Json& value) {
    std::cout << value.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

}  // namespace tool

#endif
