// Filling and inspecting a record in place: new columns whose numbers the caller writes straight in,
// for bindings that would otherwise copy every column twice.
#ifndef ANADATA_COLUMNS_H
#define ANADATA_COLUMNS_H

#include <string>

#include "anadata.h"
#include "anadata_export.h"

namespace anadata {

// Put a new column of `size` uninitialised numbers into slot i, as setDim / setVal would with a
// copy of the caller's numbers: an index outside the list throws qx::AnaDataException
// "setDim out of range" / "setVal out of range", and the name resolves to i afterwards (also when
// it replaces another). Returns the column's array of `size` doubles (none for size <= 0), to be
// filled by the caller.
//
// Ownership: the array belongs to the record's column (a shared, counted array like every
// column's); the pointer stays valid while the record, or any copy of it, still holds that
// column. Never free it.
ANADATA_API double* newDimension(qx::AnaData& rec, int i, const std::string& name, const std::string& unit,
                                 int size);
ANADATA_API double* newValue(qx::AnaData& rec, int i, const std::string& name, const std::string& unit,
                             int size);

// The count of numbers value column i holds: getValSize() in a complete record, but a dump may
// declare another. An index outside the list throws qx::AnaDataException "valueSize out of range".
ANADATA_API int valueSize(const qx::AnaData& rec, int i);

// Replaces the whole comment with `text` (addComment only appends a line).
ANADATA_API void setComment(qx::AnaData& rec, const std::string& text);

}  // namespace anadata

#endif
