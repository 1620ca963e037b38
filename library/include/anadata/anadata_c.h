/* Flat C entry points over integer handles: create, fill, read, load, save and release AnaData records. */
#ifndef ANADATA_C_H
#define ANADATA_C_H

#include "anadata_export.h"

#ifndef __cplusplus
#include <stdbool.h>
#endif

/*
 * Handles
 *   A record is named by an int handle. Handles are 0, 1, 2, ... in order of creation within the
 *   process and a released handle is never handed out again. The table is process-wide and
 *   guarded: records may be created, used and released on several threads at once, as long as
 *   each handle is used (and released) by one thread at a time. Result sets are the caller's own
 *   and follow the same rule.
 *
 * Status codes (the int result of every function except cAnaDataIsDigit)
 *   0  success
 *   1  the handle is not allocated (released, never created, or made by the Fortran entry points)
 *   2  the file stream was in a failed or bad state after cAnaDataLoad / cAnaDataSave
 *   3  the record refused the call (bad index, unknown name, bad file contents, ...); its message
 *      and an end of line were written to standard error. A null pointer where a name, path,
 *      unit, text or out-parameter is expected, a negative size or count, and a null data
 *      buffer for a non-empty copy also give 3, with the message "<function>: null argument"
 *      or "<function>: negative size" on standard error; nothing is stored then.
 *   4  cAnaDataLoad: the file is neither the text nor the dump format
 *
 * Strings handed out through char** point into the stored record; they stay valid until that
 * record is changed or released. Do not free or modify them.
 *
 * Buffers for cAnaDataGetDimData*, cAnaDataGetValData* must hold the full size (ask with
 * cAnaDataGetDimSize* / cAnaDataGetValSize first); nothing checks their length.
 */

/* The status codes by name. */
#define ANADATA_OK 0
#define ANADATA_NOT_ALLOCATED 1
#define ANADATA_STREAM_FAILED 2
#define ANADATA_REFUSED 3
#define ANADATA_UNKNOWN_FORMAT 4

#ifdef __cplusplus
extern "C" {
#endif

/* The text of the calling thread's most recent failed call of an entry point (status 1 to 4):
 * for status 3 the message also written to standard error, for 1, 2 and 4 a short description
 * naming the handle's fate or the file. Empty before the first failure; a successful call leaves
 * it as it was. Never null; the text stays valid until this thread's next failed call. Fortran:
 * G77ANADATALASTERROR(TEXT) fills a CHARACTER variable with it, blank-padded. */
ANADATA_API const char* cAnaDataLastError(void);

/* Creates a record with dimno dimensions and valno value columns (names, units empty, sizes 0)
 * and writes its new handle to *handle. Returns 0, or 3 for a null handle or a negative count. */
ANADATA_API int cAnaDataNew(int* handle, int dimno, int valno);

/* Destroys the record of the handle. Returns 0, also for a handle that is not allocated. */
ANADATA_API int cAnaDataRelease(int handle);

/* Reads the file at path, text or dump format recognised from its first bytes, into a new record
 * and writes its handle to *handle. Returns 0; 4 (no handle) for an unknown format; 3 (no handle)
 * when the contents are refused; 2 when the stream failed - a record read before the failure
 * still gets a handle, which the caller releases. A missing file gives 2. */
ANADATA_API int cAnaDataLoad(int* handle, const char* path);

/* Writes the record to path, creating or truncating the file: mode 0 the text format, any other
 * mode the dump format. Returns 0, 1, 2 (write failed) or 3. */
ANADATA_API int cAnaDataSave(int handle, const char* path, int mode);

/* Stores the shot number. */
ANADATA_API int cAnaDataGetShotnumber(int handle, int* shotno);

/* Stores the SHOT number, not the sub-shot number; kept so for existing callers. */
ANADATA_API int cAnaDataGetSubnumber(int handle, int* subno);

ANADATA_API int cAnaDataSetShotNumber(int handle, int shotno);
ANADATA_API int cAnaDataSetSubnumber(int handle, int subno);

/* Stores a pointer to the record's date text. */
ANADATA_API int cAnaDataGetDate(int handle, char** date);

/* Sets the date to the current local time as "MM/DD/YYYY hh:mm". */
ANADATA_API int cAnaDataSetDateNow(int handle);

/* Sets the date text, trailing blanks removed (leading blanks kept). */
ANADATA_API int cAnaDataSetdate(int handle, const char* date);

/* Stores a pointer to the data-set (diagnostic) name. */
ANADATA_API int cAnaDataGetDiagnostics(int handle, char** name);

/* Sets the data-set name, trailing blanks removed. The trailing underscore is part of the name. */
ANADATA_API int cAnaDataSetDiagnostics_(int handle, const char* name);

/* Stores a pointer to the whole comment text (lines ended by "\n"). */
ANADATA_API int cAnaDataGetComment(int handle, char** comment);

ANADATA_API int cAnaDataGetDimNo(int handle, int* n);

/* Dimension by position. cAnaDataGetDimName also prints "NotAllocated" for a bad handle.
 * An index outside the record gives 3 ("getDimName out of range" and so on). */
ANADATA_API int cAnaDataGetDimName(int handle, int index, char** name);
ANADATA_API int cAnaDataGetDimUnit(int handle, int index, char** unit);
ANADATA_API int cAnaDataGetDimSize(int handle, int index, int* size);
ANADATA_API int cAnaDataGetDimData(int handle, int index, double* buf);

/* Dimension by name; an unknown name gives 3 ("Invalid Dim Name"). */
ANADATA_API int cAnaDataGetDimUnit2(int handle, const char* name, char** unit);
ANADATA_API int cAnaDataGetDimSize2(int handle, const char* name, int* size);
ANADATA_API int cAnaDataGetDimData2(int handle, const char* name, double* buf);

/* Value column by position; an index outside the record gives 3. */
ANADATA_API int cAnaDataGetValName(int handle, int index, char** name);
ANADATA_API int cAnaDataGetValUnit(int handle, int index, char** unit);

/* Copies cAnaDataGetValSize doubles of value column index. The buffer comes BEFORE the index. */
ANADATA_API int cAnaDataGetValData(int handle, double* buf, int index);

/* Value column by name; an unknown name gives 3 ("Invalid Val Name"). */
ANADATA_API int cAnaDataGetValUnit2(int handle, const char* name, char** unit);
ANADATA_API int cAnaDataGetValData2(int handle, const char* name, double* buf);

/* Number of points of every value column: the product of all dimension sizes (1 for none). */
ANADATA_API int cAnaDataGetValSize(int handle, int* size);

/* Define dimension / value column index, copying size doubles from data (data may be null when
 * size is 0). An index outside the record gives 3 ("setDim out of range", "setVal out of range"). */
ANADATA_API int cAnaDataSetDimData(int handle, int index, const char* name, const char* unit, int size,
                                   const double* data);
ANADATA_API int cAnaDataSetValData(int handle, int index, const char* name, const char* unit, int size,
                                   const double* data);

/* True when every character of text is a decimal digit (also for ""); false for a null text. */
ANADATA_API bool cAnaDataIsDigit(const char* text);

/*
 * Server entry points
 *   They talk to the analysed-data service named in the settings file (found through
 *   CLIENT_INI2, then $HOME/.client2.ini, then /etc/client2.ini, on first use). Failures of the
 *   service have already been described on standard error by the time these return.
 */

/* Fetches the data set (diag, shot, subshot) from the service into a new record and writes its
 * handle to *handle. Returns 0; 3 when it is not found ("Not found." on standard error), and
 * no handle is allocated then. */
ANADATA_API int cAnaDataRetrieve(int* handle, const char* diag, int shot, int subshot);

/* Registers the record with the configured account (sub-shot 0 registers sub-shot 1); "ok"
 * (or "false") is printed on standard output first. Returns 0 also when the service refused
 * the record; 1 for an unknown handle. */
ANADATA_API int cAnaDataRegist(int handle);

/* Registers the existing data file dir + "/" + file as (diag, shot, subshot) under the account
 * user/password, which replaces the configured account for the rest of the process; summary
 * is the registration summary, reserved is not used.
 * Returns 1 when registered and 0 when not - the reverse of the status codes. */
ANADATA_API int cAnaDataRegistFile(const char* dir, const char* file, const char* diag, int shot, int subshot,
                                   const char* reserved, const char* summary, const char* user,
                                   const char* password);

/* Downloads the data set into directory dir (null: the current directory). path must hold 1024
 * bytes. When it holds a name on entry the file gets that name inside dir, otherwise the
 * service's file name; on success path receives the full local path, copied strncpy-style
 * (always 1024 bytes written, NUL-filled; a path of 1024 bytes or more is not terminated).
 * keepArchive true keeps the zip archive instead of extracting it. Returns 0; 3 when the
 * download failed ("data acquisition failure." on standard error; path unchanged). */
ANADATA_API int cAnaDataGet(const char* diag, int shot, int subshot, char* path, const char* dir,
                            bool keepArchive);

/* Deletes the registered data set under the account user/password, which replaces the
 * configured account for the rest of the process.
 * Returns 1 when deleted and 0 when not - the reverse of the status codes. */
ANADATA_API int cAnaDataDelete(const char* diag, int shot, int subshot, const char* user, const char* password);

/*
 * Result sets
 *   cAnaDataSearch, cAnaDataGetNumEntry and cAnaDataGetDiagEntry return a ResultSet_s by value.
 *   It owns its rows until cAnaDataReleaseResultSet; release every set exactly once and do not
 *   use it afterwards. A failed query returns the empty set (type 0, rows NULL), which needs
 *   no release (releasing it does nothing). Rows are read one at a time with cAnaDataGetRow
 *   into the struct that matches the type.
 */
typedef struct ResultSet_s {
    int type;   /* 0 empty, 1 TavolenInfo_s rows, 2 NumEntry_s rows, 3 DiagEntry_s rows */
    void* rows; /* owned by the set; NULL when empty */
} ResultSet_s;

/* One registered data file. The strings point into the result set: valid until it is released. */
typedef struct TavolenInfo_s {
    const char* diagnostics; /* data-set name */
    const char* server;      /* server that holds the file */
    const char* directory;   /* directory on that server */
    const char* filename;    /* file name */
    const char* filedate;    /* file date */
    const char* userid;      /* account that registered it */
    const char* summary;     /* summary given at registration */
    int shotno;
    int subshotno;
    int filelen; /* bytes */
} TavolenInfo_s;

/* An entry count: a shot number and the number of entries belonging to it. */
typedef struct NumEntry_s {
    int no;
    int sum;
} NumEntry_s;

/* One data-set name and its number of registered entries; the name points into the set. */
typedef struct DiagEntry_s {
    const char* diagnostics;
    int sum;
} DiagEntry_s;

/* The registered data files of the ndiags names in diags with shots lower..higher and the given
 * sub-shot, registered by account user, at most limit rows (the arguments go to the service
 * as they are; cAnaDataGetLimit gives the configured limit). Type 1 on success, else empty. */
ANADATA_API ResultSet_s cAnaDataSearch(const char** diags, int ndiags, int lower, int higher, int subshot,
                                       const char* user, int limit);

/* The entry counts of data set diag from shot over range shots: type 2 on success, else empty. */
ANADATA_API ResultSet_s cAnaDataGetNumEntry(const char* diag, int shot, int range);

/* Every registered data-set name with its count: type 3 on success, else empty. */
ANADATA_API ResultSet_s cAnaDataGetDiagEntry(void);

/* The number of rows; -1 for the empty set (or any type other than 1, 2, 3). */
ANADATA_API int cAnaDataGetNumRow(ResultSet_s set);

/* Copies row index into *row, which must be the struct of the set's type. Returns 1 when a row
 * was copied, 0 (nothing written) for the empty set. An index outside 0..count-1 throws C++'s
 * std::out_of_range, which is not caught here: check cAnaDataGetNumRow first. */
ANADATA_API int cAnaDataGetRow(ResultSet_s set, int index, void* row);

/* Frees the rows of the set; the strings of rows read from it become invalid. */
ANADATA_API void cAnaDataReleaseResultSet(ResultSet_s set);

/*
 * Helpers
 *   Outputs are copied strncpy-style: exactly the stated number of bytes is always written (the
 *   text, then NUL bytes), so the buffer must hold that many bytes even for a short result,
 *   and a result of that length or more is left without a terminating NUL.
 */

/* The directory part of path (see qx::getDirName) into out[1024]. Returns 0. */
ANADATA_API int cAnaDataGetDirName(const char* path, char* out);

/* The last component of path into out[1024]. Returns 0. */
ANADATA_API int cAnaDataGetFileName(const char* path, char* out);

/* The current local time as ">>YYYY/MM/DD,hh:mm:ss" into out[1024]. Returns 0. */
ANADATA_API int cAnaDataThe_date(char* out);

/* The configured search page and limit as numbers (0 when unset or not a number). */
ANADATA_API int cAnaDataGetPage(void);
ANADATA_API int cAnaDataGetLimit(void);

/* Walks the text and shows nothing; kept for existing callers. */
ANADATA_API void cAnaDataDispSummary(int n, const char* text);

/* Reads the header of the text data file `file`: its declaration lines into summary[1024],
 * its date as "YYYY/MM/DD" into date[1024] and its time as "hh:mm:ss" into time[1024].
 * A file that cannot be read or lacks a header key throws the C++ int 1, 2 or 3, which is not
 * caught here. */
ANADATA_API void cAnaDataGetSummary(const char* file, char* summary, char* date, char* time);

/* The value of experiment-log column `column` for the shot into value[256]. Returns 0, also
 * when the service has no such shot or column: value is then left as it was. */
ANADATA_API int cExploGetValue(int shotno, const char* column, char* value);

/* The experiment log's column names, name i into names + 256 * i. n is not used: names must
 * hold 256 bytes for every column (ask cExplogGetColumnNo first). Returns 0; a failure of the
 * service throws the C++ qx::clsException "ERROR", which is not caught here. */
ANADATA_API int cExplogGetColumnNames(char* names, int n);

#ifdef __cplusplus
}

/* The number of experiment-log columns into *n. Returns 0; a failure of the service throws
 * qx::clsException "ERROR". C++ linkage like cAnaDataGetValnNo: its exported symbol is the
 * decorated _Z18cExplogGetColumnNoPi. */
ANADATA_API int cExplogGetColumnNo(int* n);

/* Number of value columns. This one member has C++ linkage: its exported symbol is the decorated
 * _Z17cAnaDataGetValnNoiPi. */
ANADATA_API int cAnaDataGetValnNo(int handle, int* n);
#else
/* C reaches the two C++-linkage members above through their decorated symbols, under their
 * usual names. */
ANADATA_API int _Z17cAnaDataGetValnNoiPi(int handle, int* n);
ANADATA_API int _Z18cExplogGetColumnNoPi(int* n);
#define cAnaDataGetValnNo _Z17cAnaDataGetValnNoiPi
#define cExplogGetColumnNo _Z18cExplogGetColumnNoPi
#endif

#endif
