// A table's numbers as numpy files: one 2-D .npy table, or an .npz archive of one array per column.
#ifndef ANADATA_TOOLS_NUMPYFILES_H
#define ANADATA_TOOLS_NUMPYFILES_H

#include <ostream>

#include "Table.h"

namespace tool {

// NPY 1.0, little-endian float64: rows = grid points, columns = dimensions then values.
void writeNpyTable(const Table& table, std::ostream& out);

// An uncompressed .npz: each dimension as a 1-D array, each value column shaped to the grid
// (row-major), named after the columns made into file names (unsafe bytes become '_', a
// repeated name gets "_2", "_3", ...). Throws ToolError (exitFile) beyond 4 GiB or 32 dimensions.
void writeNpz(const Table& table, std::ostream& out);

}  // namespace tool

#endif
