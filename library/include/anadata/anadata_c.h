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
 *   unguarded: call these functions from one thread at a time.
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

#ifdef __cplusplus
extern "C" {
#endif

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

#ifdef __cplusplus
}

/* Number of value columns. This one member has C++ linkage, so only C++ callers can reach it by
 * this name; C callers use the decorated symbol _Z17cAnaDataGetValnNoiPi. */
ANADATA_API int cAnaDataGetValnNo(int handle, int* n);
#endif

#endif
