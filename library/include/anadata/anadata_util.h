// Path, date and digit helpers and the zip packing/unpacking functions of the library.
#ifndef ANADATA_UTIL_H
#define ANADATA_UTIL_H

#include <string>

#include "anadata_export.h"

namespace qx {

// Current local date and time as ">>YYYY/MM/DD,hh:mm:ss" (21 characters, e.g.
// ">>2009/03/17,14:05:09"). Uses localtime()'s shared buffer: not reentrant. Never throws
// apart from std::bad_alloc.
ANADATA_API std::string the_date();

// True when every character of the zero-terminated string s is an ASCII decimal digit
// (no sign, blank or decimal point is allowed). The empty string gives true; a null
// pointer gives false.
ANADATA_API bool isDigit(const char* s);

// Moves the file `from` to `to`. Tries rename() first; only when that fails because the two
// paths are on different file systems does it copy the data in 8192-byte chunks into `to`
// (created with mode 0644 if missing; an existing target is NOT truncated, so a longer old
// target keeps its tail beyond the copied length) and then unlinks `from`.
// Returns true on success. Returns false when rename fails for any other reason, when
// either file cannot be opened (the source is then kept), or when reading or writing fails
// during the copy (the source is then kept as well; the target may hold a partial copy).
// The system error code is not kept.
ANADATA_API bool MoveFile(const char* from, const char* to);

// The last component of `path`: everything after its last '/', or the whole path when it
// holds none ("a/b/c.txt" -> "c.txt", "a/b/" -> ""). Does not touch the file system.
// A null pointer gives the empty string.
ANADATA_API std::string getFileName(const char* path);

// The directory part of `path`:
// - no '/' in the path: "." (whether or not such a file exists);
// - the path names an existing non-directory: the text before the last '/' ("" for "/x");
// - otherwise (missing, unreadable, or a directory): the whole path unchanged, so a
//   directory passed where a file name is expected stands for that directory itself.
// A null pointer gives ".".
ANADATA_API std::string getDirName(const char* path);

// Packs the file `filePath` into a new single-entry zip archive `zipPath` (an existing file
// of that name is replaced). The entry is named getFileName(filePath), deflated at zlib's
// default level and carries an all-zero date.
// Returns the status of closing the archive: 0 on success, a negative minizip code
// (-1 file-system error, -102 bad argument, ...) when closing fails. Errors of earlier steps
// are printed to standard error; they are returned only when closing fails too, and may
// leave a partial or empty archive. When zipPath names filePath itself nothing is written
// and -102 is returned. Never throws.
ANADATA_API int minizip(std::string zipPath, std::string filePath);

// Extracts the first entry of the zip archive `zipPath` into the file `outPath` (created or
// truncated); further entries are ignored and the stored entry name never decides where data
// goes. Returns 0 on success or a negative minizip code; errors are printed to standard
// output as "error <code> with zipfile in <call>". A missing or unreadable archive gives -102.
// An entry whose data does not match its declared size or CRC gives a negative code; at most
// the declared size is ever written. If `outPath` cannot be created nothing is read and the
// result is still 0: check the file. The same holds when outPath is the archive itself, which
// is then left untouched. A failed extraction may leave a partial file.
// Never throws.
ANADATA_API int unzip(std::string zipPath, std::string outPath);

}  // namespace qx

#endif
