// Header summaries of data files (getSummary, dispSummary) and the experiment-log front ExpLog.
#ifndef ANADATA_EXPLOG_H
#define ANADATA_EXPLOG_H

#include <string>
#include <vector>

#include "anadata_export.h"

namespace qx {

// Reads the "#" header lines of the text data file `file` and fills `summary` with its
// "#dimno=", "#dimname=", "#dimsize=", "#valno=" and "#valname=" lines as read (at most 1023
// characters; a line that would not fit is left out), and `date` ("YYYY/MM/DD") and `time`
// ("hh:mm:ss") from its "#date=" line. Keys match in any case, with blanks around "=".
// Throws an int: 1 when the file cannot be opened ("cant open file <file>" on standard error),
// 2 on a read error, 3 when the date matches no known pattern ("Date Format Error" on
// standard error) or when one of the nine header keys is missing. The out-strings are only
// assigned on success (date and time when the date line is met).
ANADATA_API void getSummary(std::string file, std::string& summary, std::string& date,
                            std::string& time);

// Walks the text line by line and shows nothing; n is unused. Kept for callers that use it.
ANADATA_API void dispSummary(int n, std::string text);

// Experiment-log queries on a fresh default access object per call. Exceptions of the access
// object (clsException "ERROR", DBException) pass through unchanged.
class ANADATA_API ExpLog {
public:
    // The column names of the experiment log.
    static std::vector<std::string> getColumnNames();
    // Every column's value for the shot, in column order.
    static std::vector<std::string> getValues(int shotno);
    // One column's value for the shot.
    static std::string getValue(int shotno, const char* column);
};

}  // namespace qx

#endif
