// Header summaries of data files (getSummary, dispSummary) and the experiment-log front ExpLog.
#ifndef ANADATA_EXPLOG_H
#define ANADATA_EXPLOG_H

#include <string>
#include <vector>

#include "anadata_export.h"

namespace qx {

// Reads the "#" header lines of the text data file `file` and fills `summary` with its
// "#dimno=", "#dimname=", "#dimsize=", "#valno=" and "#valname=" lines as read, line ends
// included (at most 1023 characters; a line that would not fit is left out, a later shorter
// one still goes in), and `date` ("YYYY/MM/DD") and `time` ("hh:mm:ss") from its "#date="
// line. Keys match anywhere in a line, in any case, with blanks around "=". The date is month
// first: "MM/DD/YYYY hh:mm:ss", "MM/DD/YYYY hh:mm", "MM/DD hh:mm:ss", "MM/DD hh:mm" or
// "MM/DD/YYYY"; a missing year reads as 1900, a missing time as 00:00:00.
// Throws an int:
//   1  the file cannot be opened ("cant open file <file>" and a newline on standard error);
//   2  a read error ("File Cannot Open <file>", without a newline);
//   3  a date in none of those forms ("Date Format Error" and a newline), or one of the nine
//      keys (also "#name", "#shotno", "#date=", "#valunit") missing (nothing printed).
// `summary` is assigned only on success; `date` and `time` as soon as the date line is read.
ANADATA_API void getSummary(std::string file, std::string& summary, std::string& date,
                            std::string& time);

// Shows nothing and changes nothing: the display it once gave was retired; kept for its callers.
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
