// Numpy views over a record's columns.
#include "views.h"

#include <cstdint>

#include <anadata/columns.h>

namespace py = pybind11;

namespace anadata::python {

namespace {

using Owner = std::shared_ptr<const qx::AnaData>;

py::array viewOf(const Owner& owner, double* data, const std::vector<py::ssize_t>& shape) {
    if (data == nullptr) return py::array_t<double>(shape);
    // The capsule is the array's base: the arrays stay alive until numpy drops the last view.
    py::capsule base(new Owner(owner), [](void* keep) { delete static_cast<Owner*>(keep); });
    return py::array_t<double>(shape, data, base);
}

}  // namespace

std::string shownUnit(const std::string& unit) {
    const auto first = unit.find_first_not_of(" \t");
    if (first == std::string::npos) return "";
    return unit.substr(first, unit.find_last_not_of(" \t") - first + 1);
}

std::vector<py::ssize_t> gridShape(const qx::AnaData& rec) {
    std::vector<py::ssize_t> shape;
    for (int d = 0; d < rec.getDimNo(); ++d) shape.push_back(rec.getDimSize(d) > 0 ? rec.getDimSize(d) : 0);
    return shape;
}

std::vector<Column> columnsOf(const qx::AnaData& rec, bool values) {
    const auto owner = std::make_shared<const qx::AnaData>(rec);
    const std::vector<py::ssize_t> grid = gridShape(rec);
    std::int64_t gridSize = 1;
    for (py::ssize_t n : grid) gridSize *= n;
    std::vector<Column> columns;
    if (!values) {
        for (int i = 0; i < rec.getDimNo(); ++i)
            columns.push_back({rec.getDimName(i), shownUnit(rec.getDimUnit(i)),
                               viewOf(owner, rec.getDimData(i), {grid[static_cast<std::size_t>(i)]})});
        return columns;
    }
    for (int i = 0; i < rec.getValNo(); ++i) {
        // A dump may declare a value column of another length than the grid: it is shown flat,
        // as long as it is, rather than read past its end.
        const int held = valueSize(rec, i);
        const std::vector<py::ssize_t> shape =
            held == gridSize ? grid : std::vector<py::ssize_t>{held > 0 ? held : 0};
        columns.push_back({rec.getValName(i), shownUnit(rec.getValUnit(i)), viewOf(owner, rec.getValData(i), shape)});
    }
    return columns;
}

}  // namespace anadata::python
