// Diagnostics and text trimming shared by the C and Fortran entry points.
#include "binding_calls.h"

#include <iostream>

namespace qx {

namespace {
thread_local std::string lastFailure;
}  // namespace

int rememberFailure(int status, const std::string& text) {
    lastFailure = text;
    return status;
}

const char* lastFailureText() {
    return lastFailure.c_str();
}

int reportRefusal(const std::string& message) {
    std::cerr << message << std::endl;
    return rememberFailure(statusRefused, message);
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
