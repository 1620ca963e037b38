// Loading and saving records for the C and Fortran entry points, with their status codes.
#ifndef ANADATA_BINDINGS_RECORD_FILES_H
#define ANADATA_BINDINGS_RECORD_FILES_H

#include "anadata.h"
#include "handle_table.h"

namespace qx {

// Reads the file at path (format told by AnaData::checkHeader) into a new handle of the table.
// Returns statusOk; statusUnknownFormat without a handle; statusStreamFailed when the stream
// failed, even after a record was read and given a handle (the caller releases it). Throws
// what the readers throw.
int loadRecordFile(HandleTable<AnaData>& table, int* handle, const char* path);

// Writes the record to path, truncating it: mode 0 text format, otherwise dump format. Returns
// statusOk or statusStreamFailed; throws what the writers throw.
int saveRecordFile(const AnaData& record, const char* path, int mode);

}  // namespace qx

#endif
