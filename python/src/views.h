// Numpy arrays over a record's own columns, kept alive by a copy of the record that shares them.
#ifndef ANADATA_PYTHON_VIEWS_H
#define ANADATA_PYTHON_VIEWS_H

#include <memory>
#include <string>
#include <vector>

#include <pybind11/numpy.h>

#include <anadata/anadata.h>

namespace anadata::python {

// One dimension or value column as Python sees it; `data` is a writable view, `unit` the shown unit.
struct Column {
    std::string name;
    std::string unit;
    pybind11::array data;
};

// The record's dimensions (values false) or value columns (values true), in order, as views that
// stay valid however long they are held: each keeps a copy of the record, which shares its arrays.
std::vector<Column> columnsOf(const qx::AnaData& rec, bool values);

// A unit as Python shows it: without surrounding blanks, so that an empty unit is "" whichever
// format the record came from (the text reader keeps a blank for it).
std::string shownUnit(const std::string& unit);

// The dimension sizes of the record's grid.
std::vector<pybind11::ssize_t> gridShape(const qx::AnaData& rec);

}  // namespace anadata::python

#endif
