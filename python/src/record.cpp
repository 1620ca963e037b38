// The Python class Record over qx::AnaData: building from numpy, parameters, column views, files.
#include "record.h"

#include <climits>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <pybind11/numpy.h>
#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <anadata/columns.h>
#include <anadata/record_file.h>

#include "views.h"

namespace py = pybind11;
using namespace py::literals;

namespace anadata::python {

namespace {

// The library keeps the comment as lines that each end in '\n' (addComment); Python shows it
// without the last one, so that `rec.comment = text` reads back as text.
std::string commentOut(const qx::AnaData& rec) {
    std::string text = rec.getComment();
    if (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
}

void commentIn(qx::AnaData& rec, const std::string& text) {
    setComment(rec, text.empty() ? text : text + '\n');
}

// One (name, unit, array) item of the constructor's lists, the array as numpy sees it (no copy).
struct ColumnSource {
    std::string name;
    std::string unit;
    py::array numbers;
};

std::vector<ColumnSource> columnSources(const py::iterable& items, const char* what) {
    std::vector<ColumnSource> sources;
    const py::object asarray = py::module_::import("numpy").attr("asarray");
    for (py::handle item : items) {
        const auto parts = py::cast<std::vector<py::object>>(item);
        if (parts.size() != 3)
            throw py::value_error(std::string(what) + ": each item is (name, unit, array)");
        sources.push_back(
            {py::cast<std::string>(parts[0]), py::cast<std::string>(parts[1]), asarray(parts[2])});
    }
    return sources;
}

int checkedSize(std::int64_t size, const std::string& column) {
    if (size > INT_MAX)
        throw py::value_error(column + " holds " + std::to_string(size) + " numbers, more than a record can");
    return static_cast<int>(size);
}

// The one copy: numpy converts into the record's new array as it copies.
void fill(double* target, const py::array& source) {
    const std::vector<py::ssize_t> shape(source.shape(), source.shape() + source.ndim());
    py::array_t<double> view(shape, target, py::capsule(target));
    py::module_::import("numpy").attr("copyto")(view, source, "casting"_a = "same_kind");
}

std::string shapeText(const std::vector<py::ssize_t>& shape) {
    std::string text = "(";
    for (std::size_t i = 0; i < shape.size(); ++i) text += (i ? ", " : "") + std::to_string(shape[i]);
    return text + (shape.size() == 1 ? ",)" : ")");
}

qx::AnaData makeRecord(const std::string& name, int shot, const py::iterable& dimItems,
                       const py::iterable& valueItems, int subshot, const std::optional<std::string>& date,
                       const std::string& comment) {
    const std::vector<ColumnSource> dims = columnSources(dimItems, "dims");
    const std::vector<ColumnSource> values = columnSources(valueItems, "values");
    qx::AnaData rec(static_cast<int>(dims.size()), static_cast<int>(values.size()));
    rec.setDiagnostics(name.c_str());
    rec.setShotNo(shot);
    rec.setSubNo(subshot);
    if (date)
        rec.setDate(date->c_str());
    else
        rec.setDate();
    commentIn(rec, comment);

    std::vector<py::ssize_t> grid;
    std::int64_t gridSize = 1;
    for (std::size_t d = 0; d < dims.size(); ++d) {
        const ColumnSource& dim = dims[d];
        const std::string label = "dimension '" + dim.name + "'";
        if (dim.numbers.ndim() != 1) throw py::value_error(label + " must be 1-D");
        const int size = checkedSize(dim.numbers.size(), label);
        fill(newDimension(rec, static_cast<int>(d), dim.name, dim.unit, size), dim.numbers);
        grid.push_back(size);
        gridSize = checkedSize(gridSize * size, "the grid " + shapeText(grid));
    }
    for (std::size_t v = 0; v < values.size(); ++v) {
        const ColumnSource& value = values[v];
        const std::vector<py::ssize_t> shape(value.numbers.shape(),
                                             value.numbers.shape() + value.numbers.ndim());
        // Flat in grid order, or shaped like the grid; never broadcast.
        if (value.numbers.size() != gridSize || (value.numbers.ndim() > 1 && shape != grid))
            throw py::value_error("value column '" + value.name + "' of shape " + shapeText(shape) +
                                  " does not fit the grid " + shapeText(grid));
        fill(newValue(rec, static_cast<int>(v), value.name, value.unit, static_cast<int>(gridSize)),
             value.numbers);
    }
    return rec;
}

void writeToFile(const qx::AnaData& rec, const std::filesystem::path& path, const std::string& format, int precision,
                 bool overwrite) {
    WriteOptions options;
    if (format == "dump")
        options.format = FileFormat::dump;
    else if (format != "text")
        throw py::value_error("format is \"text\" or \"dump\", not \"" + format + "\"");
    if (precision < 0 || precision > 40) throw py::value_error("precision is 0 to 40 digits");
    options.precision = precision;
    options.overwrite = overwrite;
    // Written from a copy, which shares the numbers: another thread may change the record meanwhile.
    const qx::AnaData snapshot(rec);
    py::gil_scoped_release unlocked;
    writeRecord(snapshot, path.string(), options);
}

qx::AnaData readFromFile(const std::filesystem::path& path, bool lenient) {
    py::gil_scoped_release unlocked;
    ReadOptions options;
    options.lenient = lenient;
    return readRecord(path.string(), options);
}

}  // namespace

void bindRecord(py::module_& m) {
    py::class_<Column>(m, "Column",
                       "One dimension or value column: name, unit and a numpy view of its numbers.")
        .def_readonly("name", &Column::name, "Name of the column.")
        .def_readonly("unit", &Column::unit, "Unit, \"\" when it has none.")
        .def_readonly("data", &Column::data, "Writable view of the record's own numbers.")
        .def(
            "__array__",
            [](const Column& c, const py::object& dtype) -> py::object {
                return dtype.is_none() ? py::object(c.data) : c.data.attr("astype")(dtype);
            },
            "dtype"_a = py::none(), "The numbers as a numpy array (the view itself unless a dtype is asked).")
        .def(
            "__len__", [](const Column& c) { return c.data.ndim() ? c.data.shape(0) : 1; },
            "Length of the first axis.")
        .def("__repr__", [](const Column& c) {
            return "<anadata.Column " + c.name + " [" + c.unit + "] " +
                   shapeText({c.data.shape(), c.data.shape() + c.data.ndim()}) + ">";
        });

    // Read-only, so that assigning into it is not mistaken for changing the record.
    auto columns = [](const qx::AnaData& rec, bool values) {
        py::dict byName;
        for (Column& column : columnsOf(rec, values)) {
            const py::str name(column.name);
            byName[name] = py::cast(std::move(column));
        }
        return py::module_::import("types").attr("MappingProxyType")(byName);
    };

    py::class_<qx::AnaData>(m, "Record",
                            "One analysed-data set: dimensions (a grid) and value columns over it.")
        .def(py::init(&makeRecord), "name"_a, "shot"_a, "dims"_a = py::tuple(), "values"_a = py::tuple(),
             "subshot"_a = 1, "date"_a = py::none(), "comment"_a = "",
             "A record of data name `name` at `shot`: dims and values are lists of (name, unit, numbers);\n"
             "each value column is flat in grid order (last dimension fastest) or shaped like the grid.\n"
             "The numbers are copied once, as float64. date defaults to now.")
        .def_property(
            "name", &qx::AnaData::getDiagnostics,
            [](qx::AnaData& rec, const std::string& name) { rec.setDiagnostics(name.c_str()); }, "Data name.")
        .def_property("shot", &qx::AnaData::getShotNo, &qx::AnaData::setShotNo, "Shot number.")
        .def_property("subshot", &qx::AnaData::getSubNo, &qx::AnaData::setSubNo,
                      "Sub-shot number (1 unless set; text files do not carry it).")
        .def_property(
            "date", &qx::AnaData::getDate,
            [](qx::AnaData& rec, const std::string& date) { rec.setDate(date.c_str()); },
            "Date text of the record, as written in its file.")
        .def_property("comment", &commentOut, &commentIn, "Comment text (the summary on the service).")
        .def_property_readonly(
            "shape", [](const qx::AnaData& rec) { return py::tuple(py::cast(gridShape(rec))); },
            "Sizes of the grid, one per dimension.")
        .def_property_readonly(
            "dims", [columns](const qx::AnaData& rec) { return columns(rec, false); },
            "Ordered mapping name -> Column, one per dimension.")
        .def_property_readonly(
            "values", [columns](const qx::AnaData& rec) { return columns(rec, true); },
            "Ordered mapping name -> Column of numbers shaped to the grid.")
        .def("write", &writeToFile, "path"_a, "format"_a = "text", "precision"_a = 16, py::kw_only(),
             "overwrite"_a = false,
             "Writes the record as a text file (format=\"text\") or as a dump (format=\"dump\").\n\n"
             "Text numbers keep every bit (16 digits after the point) unless a smaller `precision` is\n"
             "given (6 is what the C++ record's own writer uses). The file is written under a temporary\n"
             "name beside `path` and renamed at the end, so a failure never leaves half a file. An\n"
             "existing file is replaced only with overwrite=True (anadata.IOError otherwise).")
        .def(
            "to_xarray",
            [](py::object rec) { return py::module_::import("anadata.dataset").attr("to_xarray")(rec); },
            "The record as an xarray.Dataset: coordinates from the dimensions, one variable per value "
            "column.")
        .def("__repr__", [](const qx::AnaData& rec) {
            std::string text = "<anadata.Record " + std::string(rec.getDiagnostics()) + " " +
                               std::to_string(rec.getShotNo()) + "/" + std::to_string(rec.getSubNo()) + ":";
            for (int d = 0; d < rec.getDimNo(); ++d)
                text += (d ? " x " : " ") + std::string(rec.getDimName(d)) + "(" +
                        std::to_string(rec.getDimSize(d)) + ")";
            for (int v = 0; v < rec.getValNo(); ++v)
                text += (v ? ", " : "; ") + std::string(rec.getValName(v));
            return text + ">";
        });

    m.def("read", &readFromFile, "path"_a, py::kw_only(), "lenient"_a = false,
          "Reads a data file, text or dump (told apart by its first bytes).\n\n"
          "A text file that is cut short, has rows missing numbers or rows past its grid, or does not end\n"
          "with a line feed raises anadata.FormatError naming the file and line; lenient=True reads such\n"
          "a file as far as it goes, as older programs did. A file that cannot be read raises\n"
          "anadata.IOError.");
}

}  // namespace anadata::python
