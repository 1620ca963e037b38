// Reading a data file's header summary without printing, for getSummary and the sessions.
#ifndef ANADATA_ACCESS_SUMMARY_H
#define ANADATA_ACCESS_SUMMARY_H

#include <string>

namespace anadata::detail {

struct SummaryResult {
    std::string summary, date, time;
    int failure = 0;       // 0, or the code getSummary throws: 1 no file, 2 read error, 3 bad header
    std::string message;   // what getSummary prints for that failure (may be empty)
};

// The summary lines, date and time of the text data file, as getSummary reads them.
SummaryResult readSummary(const std::string& file);

}  // namespace anadata::detail

#endif
