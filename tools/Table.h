// A record seen as a table: one row per grid point, its coordinates then its values.
#ifndef ANADATA_TOOLS_TABLE_H
#define ANADATA_TOOLS_TABLE_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include <anadata/anadata.h>

namespace tool {

struct TableColumn {
    std::string name;
    std::string unit;  // surrounding blanks removed
    const double* data = nullptr;
};

// Points into the record's arrays: the record must outlive the table.
class Table {
public:
    // Throws ToolError (exitFile) naming `what` for a record without value columns or whose
    // value columns do not cover the grid.
    Table(const qx::AnaData& record, const std::string& what);

    const std::vector<TableColumn>& dimensions() const { return dimensions_; }
    const std::vector<TableColumn>& values() const { return values_; }
    // The dimensions' sizes, in the record's order.
    const std::vector<std::size_t>& shape() const { return shape_; }
    std::size_t rows() const { return rows_; }
    std::size_t width() const { return dimensions_.size() + values_.size(); }

    // Calls `row` for every grid point, row-major (last dimension fastest), with width()
    // numbers: the point's coordinates, then its values.
    void forEachRow(const std::function<void(const double* row)>& row) const;

private:
    std::vector<TableColumn> dimensions_;
    std::vector<TableColumn> values_;
    std::vector<std::size_t> shape_;
    std::size_t rows_ = 1;
};

}  // namespace tool

#endif
