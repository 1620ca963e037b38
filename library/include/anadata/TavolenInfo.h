// qx::TavolenInfo, qx::NumEntry and qx::DiagEntry: the catalogue records the access object returns.
#ifndef ANADATA_TAVOLENINFO_H
#define ANADATA_TAVOLENINFO_H

#include <string>

#include "anadata_export.h"

namespace qx {

// One registered data set as a search returns it. Plain value; the default constructor
// leaves the strings empty and the three integers unset (indeterminate).
class ANADATA_API TavolenInfo {
public:
    std::string diagnostics;  // data name
    std::string server;       // server that holds the file
    std::string directory;    // directory of the file on that server
    std::string filename;     // file name on the server
    std::string filedate;     // date of the file, "YYYY-MM-DD hh:mm:ss"
    std::string userid;       // account that registered it
    std::string summary;      // summary text given at registration
    int shotno;               // shot number
    int subshotno;            // sub-shot number
    int filelen;              // file length in bytes

    TavolenInfo() {}  // NOLINT: the integers are deliberately left unset
    TavolenInfo(const TavolenInfo&) = default;
    TavolenInfo& operator=(const TavolenInfo&) = default;
};

// An entry-count statistic: a key number (a shot) and the count belonging to it.
// The default constructor leaves both unset.
class ANADATA_API NumEntry {
public:
    int no;
    int sum;
    NumEntry() {}  // NOLINT: left unset on purpose
};

// One data name with its number of registered entries. The default constructor leaves
// sum unset.
class ANADATA_API DiagEntry {
public:
    std::string diagnostics;
    int sum;
    DiagEntry() {}  // NOLINT: left unset on purpose
    DiagEntry(const DiagEntry&) = default;
    DiagEntry& operator=(const DiagEntry&) = default;
};

}  // namespace qx

#endif
