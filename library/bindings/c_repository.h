// The record table of the C entry points, shared by every cAnaData* source file.
#ifndef ANADATA_BINDINGS_C_REPOSITORY_H
#define ANADATA_BINDINGS_C_REPOSITORY_H

#include "anadata.h"
#include "handle_table.h"

namespace qx::c_binding {

// The process-wide table; the Fortran entry points keep a separate one.
HandleTable<AnaData>& repository();

// The stored record of the handle (no copy); throws NotAllocated and nothing else.
AnaData& getData(int handle);

}  // namespace qx::c_binding

#endif
