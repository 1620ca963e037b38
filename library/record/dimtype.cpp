// DimType: one named column of doubles whose array is shared and counted between copies.
#include "anadata.h"

#include <algorithm>
#include <utility>

#include "column_memory.h"
#include "record_access.h"

namespace qx {

namespace {

// Copies of one column live in records on different threads (a session's batch, Python views), so
// the count is changed atomically. Taking a share needs no ordering: the taker already holds one.
// Dropping one releases this thread's use of the array to whichever thread frees it.
void takeShare(int* count) { __atomic_fetch_add(count, 1, __ATOMIC_RELAXED); }

bool dropShare(int* count) { return __atomic_sub_fetch(count, 1, __ATOMIC_ACQ_REL) < 1; }

}  // namespace

DimType::DimType() : num(0), refCount(new int(1)), data(nullptr) {}

DimType::DimType(std::string name, std::string unit, int num, const double* data)
    : name(std::move(name)), unit(std::move(unit)), num(num), refCount(nullptr), data(nullptr) {
    const int count = num > 0 ? num : 0;
    this->data = allocateColumn(static_cast<std::size_t>(count));
    if (count > 0 && data != nullptr) std::copy(data, data + count, this->data);
    refCount = new int(1);
}

DimType::DimType(const DimType& other)
    : name(other.name), unit(other.unit), num(other.num), refCount(other.refCount), data(other.data) {
    takeShare(refCount);
}

DimType& DimType::operator=(const DimType& other) {
    if (this == &other) return *this;
    // Take the share first so that assigning a copy of the same array never frees it.
    takeShare(other.refCount);
    release();
    name = other.name;
    unit = other.unit;
    num = other.num;
    refCount = other.refCount;
    data = other.data;
    return *this;
}

DimType::~DimType() { release(); }

void DimType::release() {
    if (dropShare(refCount)) {
        delete[] data;
        delete refCount;
    }
    data = nullptr;
    refCount = nullptr;
}

const char* DimType::getName() const { return name.c_str(); }
const char* DimType::getUnit() const { return unit.c_str(); }
int DimType::getNum() const { return num; }
double* DimType::getData() const { return data; }

DimType RecordAccess::adopt(std::string name, std::string unit, int num, double* data) {
    DimType column;
    delete[] column.data;
    column.name = std::move(name);
    column.unit = std::move(unit);
    column.num = num;
    column.data = data;
    return column;
}

}  // namespace qx
