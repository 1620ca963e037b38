// Capturing the library's standard output and error around one call.
#include "LibraryOutput.h"

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <sstream>

#include <sys/mman.h>
#include <unistd.h>

namespace tool {

namespace {

bool echoCaptured = false;
constexpr std::size_t captureLimit = 64 * 1024;

void flushAll() {
    std::cout.flush();
    std::cerr.flush();
    std::fflush(stdout);
    std::fflush(stderr);
}

std::string oneLine(std::string text) {
    for (char& c : text)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = ' ';
    const auto first = text.find_first_not_of(' ');
    if (first == std::string::npos) return "";
    text = text.substr(first, text.find_last_not_of(' ') - first + 1);
    if (text.size() > 300) text = text.substr(0, 297) + "...";
    return text;
}

}  // namespace

void LibraryOutput::setEcho(bool echo) {
    echoCaptured = echo;
}

LibraryOutput::LibraryOutput() {
    flushAll();
    capture_ = memfd_create("anadata-library-output", MFD_CLOEXEC);
    savedOut_ = dup(1);
    savedErr_ = dup(2);
    if (capture_ >= 0 && savedOut_ >= 0 && savedErr_ >= 0) {
        dup2(capture_, 1);
        dup2(capture_, 2);
        active_ = true;
    } else if (savedOut_ >= 0) {
        // No private file: at least keep the library's words off standard output.
        dup2(2, 1);
        active_ = true;
    }
}

LibraryOutput::~LibraryOutput() {
    restore();
    if (capture_ >= 0) close(capture_);
}

void LibraryOutput::restore() {
    if (!active_) return;
    flushAll();
    if (savedOut_ >= 0) dup2(savedOut_, 1);
    if (savedErr_ >= 0) dup2(savedErr_, 2);
    if (savedOut_ >= 0) close(savedOut_);
    if (savedErr_ >= 0) close(savedErr_);
    savedOut_ = savedErr_ = -1;
    active_ = false;
}

std::string LibraryOutput::finish() {
    restore();
    std::string text;
    if (capture_ < 0) return text;
    if (lseek(capture_, 0, SEEK_SET) == 0) {
        char buffer[4096];
        while (text.size() < captureLimit) {
            const ssize_t n = read(capture_, buffer, std::min(sizeof buffer, captureLimit - text.size()));
            if (n <= 0) break;
            text.append(buffer, static_cast<std::size_t>(n));
        }
    }
    close(capture_);
    capture_ = -1;
    if (echoCaptured && !text.empty()) {
        std::cerr << text;
        if (text.back() != '\n') std::cerr << '\n';
        std::cerr.flush();
    }
    return text;
}

std::string failureReason(const std::string& captured) {
    std::istringstream lines(captured);
    std::string line, fallback;
    while (std::getline(lines, line)) {
        if (line.size() >= 2 && line.front() == '"') {
            const auto close = line.rfind('"');
            return oneLine(line.substr(1, close > 0 ? close - 1 : std::string::npos));
        }
        if (fallback.empty() && line.rfind("summary=", 0) != 0) fallback = oneLine(line);
    }
    return fallback;
}

std::string withReason(const std::string& head, const std::string& captured) {
    const std::string reason = failureReason(captured);
    return reason.empty() ? head : head + ": " + reason;
}

bool reportsZipError(const std::string& captured) {
    std::istringstream lines(captured);
    std::string line;
    while (std::getline(lines, line))
        if (line.rfind("error ", 0) == 0) return true;
    return false;
}

}  // namespace tool
