// New columns filled in place by the caller, the count a value column holds, and the comment replaced whole.
#include "columns.h"

#include <cstddef>

#include "record_access.h"

namespace anadata {

namespace {

double* newColumn(std::vector<qx::DimType>& list, std::map<std::string, int>& names, int i,
                  const std::string& name, const std::string& unit, int size, const char* outOfRange) {
    if (i < 0 || static_cast<std::size_t>(i) >= list.size()) throw qx::AnaDataException(outOfRange);
    // A null source leaves the new array unfilled: the caller writes every number.
    list[static_cast<std::size_t>(i)] = qx::DimType(name, unit, size, nullptr);
    names[name] = i;
    return list[static_cast<std::size_t>(i)].getData();
}

}  // namespace

double* newDimension(qx::AnaData& rec, int i, const std::string& name, const std::string& unit, int size) {
    double* data = newColumn(qx::RecordAccess::dims(rec), qx::RecordAccess::dimMap(rec), i, name, unit, size,
                             "setDim out of range");
    qx::RecordAccess::invalidateFactor(rec);
    return data;
}

double* newValue(qx::AnaData& rec, int i, const std::string& name, const std::string& unit, int size) {
    return newColumn(qx::RecordAccess::vals(rec), qx::RecordAccess::valMap(rec), i, name, unit, size,
                     "setVal out of range");
}

int valueSize(const qx::AnaData& rec, int i) {
    const std::vector<qx::DimType>& vals = qx::RecordAccess::vals(rec);
    if (i < 0 || static_cast<std::size_t>(i) >= vals.size())
        throw qx::AnaDataException("valueSize out of range");
    return vals[static_cast<std::size_t>(i)].getNum();
}

void setComment(qx::AnaData& rec, const std::string& text) { qx::RecordAccess::setComment(rec, text); }

}  // namespace anadata
