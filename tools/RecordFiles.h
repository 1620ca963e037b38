// Reading and writing data files (text or dump) for the tool.
#ifndef ANADATA_TOOLS_RECORDFILES_H
#define ANADATA_TOOLS_RECORDFILES_H

#include <functional>
#include <ostream>
#include <string>

#include <anadata/anadata.h>

namespace tool {

enum class FileFormat { text, dump };

struct LoadedRecord {
    qx::AnaData record;
    FileFormat format = FileFormat::text;
};

// Reads the record in `path`, whichever format it holds, and checks that every value column
// covers the whole grid. Throws ToolError (exitFile) naming the file and what is wrong.
LoadedRecord loadRecord(const std::string& path);

// Checks that every value column of the record covers the whole grid. Throws ToolError
// (exitFile) naming `what`.
void checkComplete(const qx::AnaData& record, const std::string& what);

// Writes a file through a temporary one in the same directory that is renamed into place, so
// a failed or interrupted write never leaves a half file. An existing `path` is replaced only
// with `replace`. `write` fills the stream; a stream left failed is a write error. Throws
// ToolError (exitFile), and whatever `write` throws.
void writeAtomically(const std::string& path, bool replace, const std::function<void(std::ostream&)>& write);

// Writes the record (see writeAtomically). `precision` is the digits after the point of text
// numbers. Throws ToolError (exitFile).
void saveRecord(const qx::AnaData& record, const std::string& path, FileFormat format, bool replace,
                int precision);

// True when something exists at `path` (a dangling link included).
bool pathExists(const std::string& path);

// The text of errno as "cannot <verb> PATH: reason".
std::string systemError(const std::string& verb, const std::string& path);

}  // namespace tool

#endif
