// Drawing the progress bar.
#include "Progress.h"

#include <cstdio>

#include <unistd.h>

#include "Interrupts.h"

namespace tool {

namespace {

constexpr std::uint64_t blockSize = 819200;  // one transfer block of the service

std::string megabytes(std::uint64_t bytes) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f MB", static_cast<double>(bytes) / 1e6);
    return text;
}

}  // namespace

ProgressBar::ProgressBar(std::string label, Unit unit)
    : label_(std::move(label)), unit_(unit), terminal_(isatty(2) == 1) {}

ProgressBar::~ProgressBar() {
    if (!drawn_) return;
    const char clear[] = "\r\033[K";
    if (write(2, clear, sizeof clear - 1) < 0) { /* a vanished terminal just keeps the bar */ }
}

anadata::Progress ProgressBar::callback() {
    return [this](std::uint64_t done, std::uint64_t total) {
        update(done, total);
        return !interrupted();
    };
}

void ProgressBar::update(std::uint64_t done, std::uint64_t total) {
    const std::uint64_t step = unit_ == Unit::bytes ? blockSize : 1;
    if (!terminal_ || (total > 0 ? total : done) <= step) return;
    std::string line = "\r" + label_ + " ";
    if (total > 0) {
        if (done > total) done = total;
        // Redrawn when the percentage moves, so a fast transfer does not flood the terminal.
        const int percent = static_cast<int>(done * 100 / total);
        if (percent == shownPercent_) return;
        shownPercent_ = percent;
        const std::uint64_t width = 30;
        const std::uint64_t filled = done * width / total;
        line += "[" + std::string(filled, '#') + std::string(width - filled, '.') + "] ";
        line += std::to_string(percent) + "% ";
        line += unit_ == Unit::bytes ? megabytes(done) + " of " + megabytes(total)
                                     : std::to_string(done) + " of " + std::to_string(total);
    } else {
        line += unit_ == Unit::bytes ? megabytes(done) : std::to_string(done);
    }
    line += "\033[K";
    drawn_ = true;
    if (write(2, line.data(), line.size()) < 0) { /* a vanished terminal just loses the bar */ }
}

}  // namespace tool
