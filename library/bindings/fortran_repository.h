// The record table of the Fortran entry points, shared by every g77anadata*_ source file.
#ifndef ANADATA_BINDINGS_FORTRAN_REPOSITORY_H
#define ANADATA_BINDINGS_FORTRAN_REPOSITORY_H

#include "anadata.h"
#include "handle_table.h"

namespace qx::fortran_binding {

// The process-wide table; a handle of the C entry points is unknown here and vice versa.
HandleTable<AnaData>& repository();

// The stored record of the handle (no copy); throws NotAllocated and nothing else.
AnaData& getData(int handle);

}  // namespace qx::fortran_binding

#endif
