// Reading and writing simple key=value files: loadHash, getValue, saveHash, and escape.
#ifndef ANADATA_KEYVALUE_H
#define ANADATA_KEYVALUE_H

#include <map>
#include <string>

#include "anadata_export.h"

// Reads the key/value file at `path` into `table`. Each line: the key runs up to the first
// '=' (the value is the rest of the line, '#' and '=' included), or up to a '#' or the line
// end (the value is then empty); backslashes are dropped from the key; key and value are
// trimmed of blanks, tabs, CR and LF; lines with an empty key are skipped; a later line
// replaces an earlier one. Reading stops at a line longer than 1023 characters.
// Always returns true, also when the file cannot be opened (table unchanged then).
ANADATA_API bool loadHash(const char* path, std::map<std::string, std::string>& table);

// The same into the process-wide table read by getValue. That table is not guarded: load it
// before other threads read it, or from one thread at a time.
ANADATA_API bool loadHash(const char* path);

// The value of `key` in the process-wide table, or a null pointer when it is absent. The
// pointer is owned by the table and stays valid until that entry changes.
ANADATA_API const char* getValue(const char* key);

// Writes `table` to `path` (truncating it) as key=value lines sorted by key, with a
// backslash put before every '=' inside a key (loadHash does not undo this). Returns true
// when everything was written, false when the file cannot be opened or a write fails.
ANADATA_API bool saveHash(const char* path, std::map<std::string, std::string>& table);

// Escapes s for quoting: every backslash becomes two backslashes; then every single quote
// becomes two quotes, except one at the very start or right after another quote, which
// becomes backslash-quote ("it's" -> "it''s", "'a" -> "\'a").
ANADATA_API std::string escape(std::string s);

#endif
