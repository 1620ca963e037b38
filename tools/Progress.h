// A progress bar on standard error, fed by the session's progress callback.
#ifndef ANADATA_TOOLS_PROGRESS_H
#define ANADATA_TOOLS_PROGRESS_H

#include <cstdint>
#include <string>

#include <anadata/session.h>

namespace tool {

// Drawn only when standard error is a terminal and the work is more than one step: a transfer
// of more than one block, a batch of more than one data set. The callback also carries the
// user's interrupt to the session, which then cancels the operation.
class ProgressBar {
public:
    enum class Unit { bytes, items };

    ProgressBar(std::string label, Unit unit);
    ~ProgressBar();  // clears the line once drawn
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    // For the session; valid while this bar lives. Returns false once the user has interrupted.
    anadata::Progress callback();

private:
    void update(std::uint64_t done, std::uint64_t total);

    std::string label_;
    Unit unit_;
    bool terminal_;
    bool drawn_ = false;
    int shownPercent_ = -1;
};

}  // namespace tool

#endif
