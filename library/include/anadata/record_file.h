// Record files for programs: reading a text or dump file strictly, and writing one without ever
// leaving a half file or replacing one unasked.
#ifndef ANADATA_RECORD_FILE_H
#define ANADATA_RECORD_FILE_H

#include <cstdint>
#include <functional>
#include <ostream>
#include <string>

#include "anadata.h"
#include "anadata_export.h"
#include "error.h"

// Beside the qx:: interface's stream operators, which read whatever a file still gives (a file
// cut short, rows missing numbers, rows past the grid) and write in place:
//
// - Reading is strict by default: every row of the text format holds one number per column and
//   nothing else, the grid's rows are all there, nothing but blank lines follows them, and the
//   last line ends with a line feed. A file that fails is refused with Error(format) naming the
//   file and, for text, the line ("shot.dat:25: 3 numbers in a row of 4"). ReadOptions::lenient
//   reads as the qx:: reader does, for old files that need it.
// - A dump must hold its whole image and value columns that cover the grid.
// - Writing goes to a temporary file in the target's directory, renamed onto the target at the
//   end; the temporary is removed on every other path, so the target is either the old file or
//   the complete new one. Without WriteOptions::overwrite an existing target is never replaced,
//   also when it appears while the file is being written.
// - Text files written here end with a line feed, and keep every bit of each number unless a
//   smaller precision is asked for.
// - Every failure is an anadata::Error: local_io (a file that cannot be opened, created, written
//   or renamed, or a target that exists), format (a file that does not read as a record, a record
//   that cannot be written), cancelled (the progress callback said stop).
// - The functions keep no state: any thread may call them at once, on different files.

namespace anadata {

enum class FileFormat { text, dump };

struct ReadOptions {
    // Read text files as the qx:: reader does: a cut number is taken as far as it goes, a short
    // row keeps the previous row's numbers, lines past the grid are ignored.
    bool lenient = false;
};

// The same callback as the session's: the bytes done and the total (0 while unknown). Returning
// false cancels the operation, which throws Error(cancelled).
using Progress = std::function<bool(std::uint64_t done, std::uint64_t total)>;

struct WriteOptions {
    FileFormat format = FileFormat::text;
    // Text: digits after the point of every number, 0 to 40; 16 keeps every bit of a double.
    int precision = 16;
    // Replace an existing file (in one rename) instead of refusing.
    bool overwrite = false;
    // Called after each block written (1 MiB), and once more with done == total when the file is
    // complete and about to take the target's name.
    Progress progress;
};

// The format of the file at path, told by its first bytes. Throws Error(local_io) when it cannot be
// opened or is a directory, Error(format) when it is neither format.
ANADATA_API FileFormat recordFileFormat(const std::string& path);

// Reads the record in the file at path, text or dump as its first bytes say. The record returned
// is the caller's own. Throws Error(local_io) or Error(format) as described above; std::bad_alloc
// for a record larger than memory.
ANADATA_API qx::AnaData readRecord(const std::string& path, const ReadOptions& options = {});

// What a file says of itself before its numbers: a record with name, shot, sub-shot (0 for text,
// which does not carry it), date and comment, and no columns. Reads only the header; a header
// that readRecord would refuse is refused alike.
ANADATA_API qx::AnaData readRecordHeader(const std::string& path);

// Checks that readRecord would accept the file, in one pass. The strict reading of a text file keeps
// none of its numbers, so memory does not grow with the file. Throws as readRecord.
ANADATA_API void checkRecordFile(const std::string& path, const ReadOptions& options = {});

// Writes the record to path in options.format. Throws Error(local_io) when path exists and
// overwrite is off or it cannot be written, Error(format) for a record the format cannot hold
// (no value columns, a value column shorter than the grid), Error(cancelled);
// std::invalid_argument for a precision outside 0 to 40.
ANADATA_API void writeRecord(const qx::AnaData& record, const std::string& path, const WriteOptions& options = {});

// Writes whatever `fill` puts into the stream to path the way writeRecord writes a record
// (options.format and precision do not apply). A stream that `fill` leaves failed is a write
// error; what `fill` throws goes through to the caller, with nothing left behind.
ANADATA_API void writeFile(const std::string& path, const std::function<void(std::ostream&)>& fill,
                           const WriteOptions& options = {});

}  // namespace anadata

#endif
