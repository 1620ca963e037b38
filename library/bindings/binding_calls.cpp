// Diagnostics and text trimming shared by the C and Fortran entry points.
#include "binding_calls.h"

#include <iostream>

namespace qx {

int reportRefusal(const std::string& message) {
    std::cerr << message << std::endl;
    return statusRefused;
}

int reportNullArgument(const char* function) {
    return reportRefusal(std::string(function) + ": null argument");
}

int reportNegativeSize(const char* function) {
    return reportRefusal(std::string(function) + ": negative size");
}

std::string withoutTrailingBlanks(std::string text) {
    while (!text.empty() && text.back() == ' ') text.pop_back();
    return text;
}

}  // namespace qx
