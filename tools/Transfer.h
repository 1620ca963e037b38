// Finding and downloading data sets; shared by get and show.
#ifndef ANADATA_TOOLS_TRANSFER_H
#define ANADATA_TOOLS_TRANSFER_H

#include <optional>
#include <string>

#include <anadata/TavolenInfo.h>

namespace tool {

// A data set as named on the command line.
struct DataSetName {
    std::string diag;
    int shot = 0;
    int subshot = 1;
    std::string text() const;  // "DIAG SHOT/SUBSHOT" for messages
};

// The data set named by command-line words; SUBSHOT defaults to 1 and 0 stands for 1.
// Throws ToolError (exitUsage) for a word that is not a number or out of range.
DataSetName dataSetFrom(const std::string& diag, const std::string& shot, const std::optional<std::string>& subshot);

// The catalogue entry of the data set. Throws ToolError: exitService when the search fails,
// exitNotFound when there is no such entry.
qx::TavolenInfo findDataSet(const std::string& command, const DataSetName& name);

// Downloads the data set into `target` (the data file, or the zip archive with keepArchive).
// The transfer goes to a private directory next to the target, so nothing is written under
// the target's name unless the whole transfer and extraction succeeded, and an existing
// target is replaced only with `replace`. Throws ToolError.
void download(const std::string& command, const DataSetName& name, const qx::TavolenInfo& entry,
              const std::string& target, bool keepArchive, bool replace);

// Removes the files in `dir` and then `dir` itself (one level: the tool's private directories).
void removeDirectory(const std::string& dir);

// Parses a decimal int (the whole text). Throws ToolError (exitUsage) naming `what`.
int parseInt(const std::string& text, const std::string& what);

}  // namespace tool

#endif
