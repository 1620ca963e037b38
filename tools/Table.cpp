// Building the table of a record and walking its grid.
#include "Table.h"

#include <climits>

#include "Columns.h"
#include "ToolError.h"

namespace tool {

Table::Table(const qx::AnaData& record, const std::string& what) {
    if (record.getValNo() == 0) throw ToolError(exitFile, what + ": the record has no value columns");
    for (int i = 0; i < record.getDimNo(); ++i) {
        const int size = record.getDimSize(i);
        dimensions_.push_back({record.getDimName(i), unitText(record.getDimUnit(i)), record.getDimData(i)});
        shape_.push_back(size > 0 ? static_cast<std::size_t>(size) : 0);
        // The value columns hold the grid, so a grid larger than an int cannot be theirs.
        rows_ = rows_ * shape_.back() <= static_cast<std::size_t>(INT_MAX) ? rows_ * shape_.back() : 0;
        if (size > 0 && dimensions_.back().data == nullptr) rows_ = 0;
    }
    if (rows_ != static_cast<std::size_t>(record.getValSize()))
        throw ToolError(exitFile, what + ": the value columns do not match the grid of the dimensions");
    for (int i = 0; i < record.getValNo(); ++i) {
        values_.push_back({record.getValName(i), unitText(record.getValUnit(i)), record.getValData(i)});
        if (rows_ > 0 && values_.back().data == nullptr)
            throw ToolError(exitFile, what + ": value column " + values_.back().name + " holds no numbers");
    }
}

void Table::forEachRow(const std::function<void(const double* row)>& row) const {
    const std::size_t dims = dimensions_.size();
    std::vector<double> cells(width());
    std::vector<std::size_t> index(dims, 0);
    for (std::size_t r = 0; r < rows_; ++r) {
        for (std::size_t d = 0; d < dims; ++d) cells[d] = dimensions_[d].data[index[d]];
        for (std::size_t v = 0; v < values_.size(); ++v) cells[dims + v] = values_[v].data[r];
        row(cells.data());
        // Next grid point: the last dimension moves fastest.
        for (std::size_t d = dims; d-- > 0;) {
            if (++index[d] < shape_[d]) break;
            index[d] = 0;
        }
    }
}

}  // namespace tool
