// Data sets and shot ranges as named on the command line, and fetching a record; shared by the subcommands.
#ifndef ANADATA_TOOLS_TRANSFER_H
#define ANADATA_TOOLS_TRANSFER_H

#include <optional>
#include <string>

#include <anadata/anadata.h>

#include "Commands.h"
#include "Settings.h"

namespace tool {

// A data set as named on the command line.
struct DataSetName {
    std::string diag;
    int shot = 0;
    int subshot = 1;
    std::string text() const;      // "DIAG SHOT/SUBSHOT" for messages
    std::string fileName() const;  // "DIAG@SHOT.dat", "DIAG@SHOT-SUBSHOT.dat" for a sub-shot other than 1
};

// The data set named by command-line words; SUBSHOT defaults to 1 and 0 stands for 1.
// Throws ToolError (exitUsage) for a word that is not a number or out of range.
DataSetName dataSetFrom(const std::string& diag, const std::string& shot, const std::optional<std::string>& subshot);

// "FROM-TO", "SHOT", "FROM-" or "-TO"; an open end is 0.
struct ShotRange {
    int first = 0;
    int last = 0;
};
// Throws ToolError (exitUsage) naming `option` for a malformed range or one whose first shot
// comes after its last.
ShotRange parseShots(const std::string& text, const std::string& option);

// Fetches the data set into memory (with a progress bar, cancelled by an interrupt), through the
// local cache as `service` says. Errors name `command` and the data set.
qx::AnaData fetchRecord(const GlobalOptions& globals, const ServiceOptions& service, const std::string& command,
                        const DataSetName& name);

// Parses a decimal int (the whole text). Throws ToolError (exitUsage) naming `what`.
int parseInt(const std::string& text, const std::string& what);

}  // namespace tool

#endif
