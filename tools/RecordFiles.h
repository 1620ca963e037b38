// Data files (text or dump) as the tool reads and writes them, through the library's record files.
#ifndef ANADATA_TOOLS_RECORDFILES_H
#define ANADATA_TOOLS_RECORDFILES_H

#include <functional>
#include <ostream>
#include <string>

#include <anadata/anadata.h>
#include <anadata/record_file.h>

namespace tool {

struct LoadedRecord {
    qx::AnaData record;
    anadata::FileFormat format = anadata::FileFormat::text;
};

// Reads the record in `path`, whichever format it holds, strictly unless `lenient`. Throws
// anadata::Error (local_io, format) naming the file and, for text, the line.
LoadedRecord loadRecord(const std::string& path, bool lenient);

// Writes a file as anadata::writeFile does (staged, renamed into place), an interrupt cancelling
// it with nothing left behind. An existing `path` is replaced only with `replace`. Throws
// ToolError (exitFile) for an existing path, anadata::Error, and whatever `write` throws.
void writeAtomically(const std::string& path, bool replace, const std::function<void(std::ostream&)>& write);

// Writes the record the same way; `precision` is the digits after the point of text numbers.
void saveRecord(const qx::AnaData& record, const std::string& path, anadata::FileFormat format, bool replace,
                int precision);

}  // namespace tool

#endif
