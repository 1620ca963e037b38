// soapAnaData*: the access object and the file, path, date and summary helpers under plain
// (unmangled) exported names, for C++ callers that hold std::string and std::vector objects.
#ifndef ANADATA_SOAPANADATA_H
#define ANADATA_SOAPANADATA_H

#ifndef __cplusplus
#error "soapAnaData.h takes C++ library types by reference; C programs use anadata_c.h"
#endif

#include <string>
#include <vector>

#include "TavolenInfo.h"
#include "anadata_export.h"
#include "clsException.h"

// Handles
//   An access object is named by an int handle that the caller chooses. All handles share the
//   process-wide settings, so a handle is only a permission to call. The table is guarded: handles
//   may be created, used and released on several threads at once, one handle being used by one
//   thread at a time (see clsAnaDataAccess.h for the settings).
//
// Errors
//   Nothing is caught here. An unknown handle (or a null handle pointer) throws qx::NotAllocated; the experiment-log and
//   password calls of the access object throw qx::clsException "ERROR"; soapAnaDataGetSummary
//   throws the int codes of qx::getSummary. bool results are the access object's outcome.
//
// Outputs are caller-owned strings and vectors; each call replaces their contents, except the
// lists of soapAnaDataSearch, soapAnaDataGetDiagnostics, soapAnaDataGetNumEntry and
// soapAnaDataGetDiagEntry, to which the rows are appended.
//
// The names have C linkage so that they are exported unmangled; only C++ can call them.

extern "C" {

// Loads the settings file inifile into the process-wide settings - only when no settings have
// been loaded yet in this process - and creates the entry *handle (an existing one is kept).
// Returns 0.
ANADATA_API int soapAnaDataAccessNew(int* handle, const char* inifile);

// Removes the entry; an unknown handle is ignored. Returns 0.
ANADATA_API int soapAnaDataAccessRelease(int* handle);

// Downloads (diag, *shot, *subshot) into the current directory; path names the result on
// entry when non-empty and holds its local path on success. *flag is always set to false and
// `ignored` is not used: the archive is always extracted. Returns true on success.
ANADATA_API bool soapAnaDataGet(int* handle, const char* diag, int* shot, int* subshot, std::string& path,
                                const char* ignored, bool* flag);

// Registers the file dir + "/" + file as (diag, *shot, *subshot) with the given summary;
// reserved is not used. Returns the upload's result (true also when the file could not be
// packed, as clsAnaDataAccess::Regist does).
ANADATA_API bool soapAnaDataRegist(int* handle, const char* dir, const char* file, const char* diag, int* shot,
                                   int* subshot, const char* reserved, const char* summary);

// Deletes (diag, *shot, *subshot). Returns false when the service did not delete it.
ANADATA_API bool soapAnaDataDelete(int* handle, const char* diag, int* shot, int* subshot);

// Appends the registered data files of the names in diags, shots *lower..*higher, sub-shot
// *subshot, account user, at most *limit rows, to rows. Returns false on failure.
ANADATA_API bool soapAnaDataSearch(int* handle, std::vector<std::string>& diags, int* lower, int* higher,
                                   int* subshot, const char* user, int* limit, std::vector<qx::TavolenInfo>& rows);

// Appends every data name known to the service. Returns false on failure.
ANADATA_API bool soapAnaDataGetDiagnostics(int* handle, std::vector<std::string>& names);

// Appends the entry counts of diag from *shot over *range shots. Returns false on failure.
ANADATA_API bool soapAnaDataGetNumEntry(int* handle, const char* diag, int* shot, int* range,
                                        std::vector<qx::NumEntry>& rows);

// Appends every data name with its number of entries. Returns false on failure.
ANADATA_API bool soapAnaDataGetDiagEntry(int* handle, std::vector<qx::DiagEntry>& rows);

// The experiment log's column names, one shot's values, one shot's value of one column.
// Return 0; a failure throws qx::clsException "ERROR".
ANADATA_API int soapAnaDataGetExplogColNames(int* handle, std::vector<std::string>& names);
ANADATA_API int soapAnaDataGetExplogColValues(int* handle, int* shotno, std::vector<std::string>& values);
ANADATA_API int soapAnaDataGetExplogColValue(int* handle, int* shotno, const char* column, std::string& value);

// Changes the password of account user from oldpass to newpass. Returns 0: the service's result
// code is not looked at. A change the service answers with a fault throws clsException "ERROR",
// like every exception of this family, to the caller.
ANADATA_API int soapAnaDataChgPass(int* handle, const char* user, const char* oldpass, const char* newpass);

// The configured search page and limit as numbers (0 when unset or not a number).
ANADATA_API int soapAnaDataGetPage(int* handle);
ANADATA_API int soapAnaDataGetLimit(int* handle);

// The configured download directory. Returns 0.
ANADATA_API int soapAnaDataGetBaseDir(int* handle, std::string& dir);

// The current local time as ">>YYYY/MM/DD,hh:mm:ss". Returns 0.
ANADATA_API int soapAnaDataThe_date(std::string& out);

// True when every character of text is a decimal digit (also for ""); false for null.
ANADATA_API bool soapAnaDataIsDigit(const char* text);

// Moves the file (rename, or copy and unlink across file systems). Returns true on success.
ANADATA_API bool soapAnaDataMoveFile(const char* from, const char* to);

// The directory part and the last component of path (see qx::getDirName, qx::getFileName).
// Return 0.
ANADATA_API int soapAnaDataGetDirName(const char* path, std::string& out);
ANADATA_API int soapAnaDataGetFileName(const char* path, std::string& out);

// Extracts the single entry of the archive zipPath into outPath / packs filePath into the new
// archive zipPath. Return 0 on success or a negative minizip code (see qx::unzip, qx::minizip).
ANADATA_API int soapAnaDataUnzip(const std::string& zipPath, const std::string& outPath);
ANADATA_API int soapAnaDataMinizip(const std::string& zipPath, const std::string& filePath);

// Shows nothing; kept for existing callers. Returns 0.
ANADATA_API int soapAnaDataDispSummary(int* n, const std::string& text);

// Reads the header of the text data file `file` into summary, date ("YYYY/MM/DD") and time
// ("hh:mm:ss"). Returns 0; throws int 1 (cannot open), 2 (read error) or 3 (bad date or a
// header key missing).
ANADATA_API int soapAnaDataGetSummary(const std::string& file, std::string& summary, std::string& date,
                                      std::string& time);

}  // extern "C"

#endif
