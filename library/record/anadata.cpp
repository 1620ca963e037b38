// AnaData: the record's parameters, its columns by position and by name, and grid access.
#include "anadata.h"

#include <cstdint>
#include <ctime>
#include <vector>

namespace qx {

namespace {

// Flat arithmetic of the grid wraps like the 32-bit ints it is stored in instead of being
// undefined when a corrupt record holds absurd sizes.
int wrapToInt(std::uint64_t value) { return static_cast<int>(static_cast<std::uint32_t>(value)); }

}  // namespace

AnaData::AnaData()
    : shotNo(1), subNo(1), dimNo(0), valNo(0), factorValid(false) {}

AnaData::AnaData(int dimNo, int valNo)
    : shotNo(1),
      subNo(1),
      dimNo(dimNo),
      valNo(valNo),
      dims(dimNo > 0 ? dimNo : 0),
      vals(valNo > 0 ? valNo : 0),
      factor(dimNo > 0 ? dimNo : 0, 0),
      factorValid(false) {}

AnaData::AnaData(const AnaData& other) : AnaData() { *this = other; }

AnaData& AnaData::operator=(const AnaData& other) {
    if (this == &other) return *this;
    diagnostics = other.diagnostics;
    shotNo = other.shotNo;
    subNo = other.subNo;
    dimNo = other.dimNo;
    valNo = other.valNo;
    date = other.date;
    comment = other.comment;
    dims = other.dims;
    vals = other.vals;
    factor = other.factor;
    factorValid = other.factorValid;
    dimMap = other.dimMap;
    valMap = other.valMap;
    return *this;
}

AnaData::~AnaData() = default;

void AnaData::clear() {
    shotNo = 0;
    subNo = 0;
    dimNo = 0;
    valNo = 0;
    diagnostics.clear();
    date.clear();
    comment.clear();
    dims.clear();
    vals.clear();
    factor.clear();
    dimMap.clear();
    valMap.clear();
    factorValid = false;
}

void AnaData::setShotNo(int value) { shotNo = value; }
int AnaData::getShotNo() const { return shotNo; }
void AnaData::setSubNo(int value) { subNo = value; }
int AnaData::getSubNo() const { return subNo; }
void AnaData::setDiagnostics(const char* name) { diagnostics = name; }
const char* AnaData::getDiagnostics() const { return diagnostics.c_str(); }
void AnaData::setDate(const char* text) { date = text; }
const char* AnaData::getDate() const { return date.c_str(); }

void AnaData::setDate() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char buffer[256];
    std::strftime(buffer, sizeof buffer, "%m/%d/%Y %H:%M", &local);
    setDate(buffer);
}

void AnaData::addComment(const char* text) {
    comment += text;
    comment += '\n';
}

const char* AnaData::getComment() const { return comment.c_str(); }

int AnaData::getDimNo() const { return static_cast<int>(dims.size()); }
int AnaData::getValNo() const { return static_cast<int>(vals.size()); }

namespace {

const DimType& at(const std::vector<DimType>& list, int i, const char* message) {
    if (i < 0 || static_cast<std::size_t>(i) >= list.size()) throw AnaDataException(message);
    return list[static_cast<std::size_t>(i)];
}

}  // namespace

const char* AnaData::getDimName(int i) const { return at(dims, i, "getDimName out of range").getName(); }
const char* AnaData::getDimUnit(int i) const { return at(dims, i, "getDimUnit out of range").getUnit(); }
int AnaData::getDimSize(int i) const { return at(dims, i, "getDimSize out of range").getNum(); }
double* AnaData::getDimData(int i) const { return at(dims, i, "getDimData out of range").getData(); }
const char* AnaData::getValName(int i) const { return at(vals, i, "getValName out of range").getName(); }
const char* AnaData::getValUnit(int i) const { return at(vals, i, "getValUnit out of range").getUnit(); }
double* AnaData::getValData(int i) const { return at(vals, i, "getValData out of range").getData(); }

int AnaData::getValSize() const {
    std::uint64_t size = 1;
    for (const DimType& dim : dims) size *= static_cast<std::uint64_t>(static_cast<std::int64_t>(dim.getNum()));
    return wrapToInt(size);
}

void AnaData::setDim(int i, const char* name, const char* unit, int size, const double* data) {
    if (i < 0 || static_cast<std::size_t>(i) >= dims.size()) throw AnaDataException("setDim out of range");
    dims[static_cast<std::size_t>(i)] = DimType(name, unit, size, data);
    factorValid = false;
    dimMap[name] = i;
}

void AnaData::setVal(int i, const char* name, const char* unit, int size, const double* data) {
    if (i < 0 || static_cast<std::size_t>(i) >= vals.size()) throw AnaDataException("setVal out of range");
    vals[static_cast<std::size_t>(i)] = DimType(name, unit, size, data);
    valMap[name] = i;
}

int AnaData::getDimIndex(const char* name) const {
    const auto found = dimMap.find(name);
    if (found == dimMap.end()) throw AnaDataException("Invalid Dim Name");
    return found->second;
}

int AnaData::getValIndex(const char* name) const {
    const auto found = valMap.find(name);
    if (found == valMap.end()) throw AnaDataException("Invalid Val Name");
    return found->second;
}

int AnaData::getDimSize(const char* name) const { return getDimSize(getDimIndex(name)); }
const char* AnaData::getDimUnit(const char* name) const { return getDimUnit(getDimIndex(name)); }
double* AnaData::getDimData(const char* name) const { return getDimData(getDimIndex(name)); }
const char* AnaData::getValUnit(const char* name) const { return getValUnit(getValIndex(name)); }
double* AnaData::getValData(const char* name) const { return getValData(getValIndex(name)); }

void AnaData::calc_factor() {
    const std::size_t n = dims.size();
    factor.resize(n);
    if (n > 0) {
        std::uint64_t stride = 1;
        factor[n - 1] = 1;
        for (std::size_t k = n - 1; k-- > 0;) {
            stride *= static_cast<std::uint64_t>(static_cast<std::int64_t>(dims[k + 1].getNum()));
            factor[k] = wrapToInt(stride);
        }
    }
    factorValid = true;
}

int AnaData::index(int* idx) {
    if (!factorValid) calc_factor();
    std::uint64_t position = 0;
    for (std::size_t k = 0; k < dims.size(); ++k) {
        position += static_cast<std::uint64_t>(static_cast<std::int64_t>(factor[k])) *
                    static_cast<std::uint64_t>(static_cast<std::int64_t>(idx[k]));
    }
    return wrapToInt(position);
}

void AnaData::getValData(int* idx, int dim, int val, double* out) {
    const int size = dims[static_cast<std::size_t>(dim)].getNum();
    const double* values = vals[static_cast<std::size_t>(val)].getData();
    for (int j = 0; j < size; ++j) {
        idx[dim] = j;
        out[j] = values[index(idx)];
    }
}

void AnaData::getValData(const char** dimNames, const int* dimIdx, const char* valName, double* out) {
    const std::size_t n = dims.size();
    std::vector<int> indices(n, 0);
    std::vector<bool> free(n, true);
    for (std::size_t k = 0; k + 1 < n; ++k) {
        const int d = getDimIndex(dimNames[k]);
        indices[static_cast<std::size_t>(d)] = dimIdx[k];
        free[static_cast<std::size_t>(d)] = false;
    }
    int line = 0;
    for (std::size_t k = 0; k < n; ++k) {
        if (free[k]) {
            line = static_cast<int>(k);
            break;
        }
    }
    getValData(indices.data(), line, getValIndex(valName), out);
}

}  // namespace qx
