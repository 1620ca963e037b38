// Records that travel: pickling with the columns as raw buffers, copies, equality, len() and
// rec["column"], and the way back from xarray.
#include "record_travel.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <anadata/columns.h>

#include "views.h"

namespace py = pybind11;
using namespace py::literals;

namespace anadata::python {

namespace {

// Each column as a flat numpy view: pickle sends a view's numbers as raw bytes, out of band with
// protocol 5 when the pickler takes buffers; nothing is turned into text.
py::list columnStates(const qx::AnaData& rec, bool values) {
    py::list states;
    for (Column& column : columnsOf(rec, values)) {
        const int i = static_cast<int>(py::len(states));
        states.append(py::make_tuple(column.name, values ? rec.getValUnit(i) : rec.getDimUnit(i),
                                     column.data.attr("reshape")(-1)));
    }
    return states;
}

// Everything a record holds, the units and the comment exactly as they are.
py::tuple recordState(const qx::AnaData& rec) {
    return py::make_tuple(rec.getDiagnostics(), rec.getShotNo(), rec.getSubNo(), rec.getDate(), rec.getComment(),
                          columnStates(rec, false), columnStates(rec, true));
}

void fillColumns(qx::AnaData& rec, const py::list& states, bool values) {
    for (std::size_t i = 0; i < states.size(); ++i) {
        const auto item = states[i].cast<py::tuple>();
        const auto name = item[0].cast<std::string>();
        const auto unit = item[1].cast<std::string>();
        const py::buffer_info numbers = py::reinterpret_borrow<py::buffer>(item[2]).request();
        const auto bytes = static_cast<std::size_t>(numbers.size * numbers.itemsize);
        if (bytes % sizeof(double) != 0 || bytes / sizeof(double) > INT32_MAX)
            throw py::value_error("column '" + name + "': " + std::to_string(bytes) +
                                  " bytes are no column of doubles");
        const int size = static_cast<int>(bytes / sizeof(double));
        const int index = static_cast<int>(i);
        double* target = values ? newValue(rec, index, name, unit, size) : newDimension(rec, index, name, unit, size);
        if (size == 0) continue;
        py::gil_scoped_release unlocked;
        std::memcpy(target, numbers.ptr, bytes);
    }
}

// The inverse of recordState; the numbers are copied once.
qx::AnaData rebuild(const py::tuple& state) {
    if (state.size() != 7) throw py::value_error("a Record's state has 7 items, not " + std::to_string(state.size()));
    const auto dims = state[5].cast<py::list>();
    const auto values = state[6].cast<py::list>();
    qx::AnaData rec(static_cast<int>(dims.size()), static_cast<int>(values.size()));
    rec.setDiagnostics(state[0].cast<std::string>().c_str());
    rec.setShotNo(state[1].cast<int>());
    rec.setSubNo(state[2].cast<int>());
    rec.setDate(state[3].cast<std::string>().c_str());
    setComment(rec, state[4].cast<std::string>());
    fillColumns(rec, dims, false);
    fillColumns(rec, values, true);
    return rec;
}

struct ColumnView {
    std::string name, unit;
    const double* numbers;
    int size;
};

ColumnView dimensionView(const qx::AnaData& rec, int i) {
    return {rec.getDimName(i), shownUnit(rec.getDimUnit(i)), rec.getDimData(i), rec.getDimSize(i)};
}

ColumnView valueView(const qx::AnaData& rec, int i) {
    return {rec.getValName(i), shownUnit(rec.getValUnit(i)), rec.getValData(i), valueSize(rec, i)};
}

bool same(const ColumnView& a, const ColumnView& b) {
    if (a.name != b.name || a.unit != b.unit || a.size != b.size) return false;
    for (int i = 0; i < a.size; ++i)
        if (a.numbers[i] != b.numbers[i] && !(std::isnan(a.numbers[i]) && std::isnan(b.numbers[i]))) return false;
    return true;
}

std::string withoutLastNewline(std::string text) {
    if (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
}

// Equal as Python shows them: the same fields, names, shown units and numbers (NaN equal to NaN).
bool equal(const qx::AnaData& a, const qx::AnaData& b) {
    if (std::string(a.getDiagnostics()) != b.getDiagnostics() || a.getShotNo() != b.getShotNo() ||
        a.getSubNo() != b.getSubNo() || std::string(a.getDate()) != b.getDate() ||
        withoutLastNewline(a.getComment()) != withoutLastNewline(b.getComment()) ||
        a.getDimNo() != b.getDimNo() || a.getValNo() != b.getValNo())
        return false;
    for (int i = 0; i < a.getDimNo(); ++i)
        if (!same(dimensionView(a, i), dimensionView(b, i))) return false;
    for (int i = 0; i < a.getValNo(); ++i)
        if (!same(valueView(a, i), valueView(b, i))) return false;
    return true;
}

py::ssize_t gridPoints(const qx::AnaData& rec) {
    const std::vector<py::ssize_t> shape = gridShape(rec);
    if (shape.empty()) return 0;
    py::ssize_t points = 1;
    for (py::ssize_t n : shape) points *= n;
    return points;
}

py::array column(const qx::AnaData& rec, const std::string& name) {
    for (bool values : {true, false})
        for (Column& c : columnsOf(rec, values))
            if (c.name == name) return c.data;
    throw py::key_error(name);
}

}  // namespace

void bindRecordTravel(py::module_& m) {
    auto record = py::reinterpret_borrow<py::class_<qx::AnaData>>(m.attr("Record"));
    record.def(py::pickle(&recordState, &rebuild))
        .def(
            "__copy__", [](const qx::AnaData& rec) { return qx::AnaData(rec); },
            "A copy that shares the numbers with this record (changing one changes the other).")
        .def(
            "__deepcopy__",
            [](const qx::AnaData& rec, const py::object&) { return rebuild(recordState(rec)); },
            "memo"_a, "A copy with numbers of its own.")
        .def("__eq__", &equal, "other"_a,
             "Same name, shot, sub-shot, date, comment, columns, units and numbers (NaN equals NaN).")
        .def("__eq__", [](const qx::AnaData&, const py::object&) {
            return py::reinterpret_borrow<py::object>(Py_NotImplemented);
        })
        .def("__len__", &gridPoints, "Number of grid points (0 without dimensions).")
        .def("__getitem__", &column, "name"_a,
             "The numpy view of the value column (or else the dimension) of that name; KeyError if none.")
        .def_static(
            "from_xarray",
            [](const py::object& dataset, const py::object& name, const py::object& shot, const py::object& subshot) {
                return py::module_::import("anadata.dataset")
                    .attr("from_xarray")(dataset, "name"_a = name, "shot"_a = shot, "subshot"_a = subshot);
            },
            "dataset"_a, py::kw_only(), "name"_a = py::none(), "shot"_a = py::none(), "subshot"_a = py::none(),
            "The Record of an xarray.Dataset (the inverse of to_xarray): its dimensions and coordinates\n"
            "(a dimension without coordinates counts 0, 1, ...), one value column per data variable, units\n"
            "from attrs[\"units\"]; name, shot and sub-shot from the arguments or else the Dataset's attrs.");
}

}  // namespace anadata::python
