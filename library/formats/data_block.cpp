// Parsing of the data block: row holder semantics, column filling and the row-count check.
#include "data_block.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstring>

#include "column_memory.h"
#include "number_text.h"
#include "record_access.h"

namespace qx {

namespace {

constexpr std::size_t initialRows = 4096;

}  // namespace

DataBlockParser::DataBlockParser(const std::vector<int>& sizes, std::size_t dimColumns, std::size_t valColumns,
                                 std::int64_t knownBytes)
    : sizes(sizes), total(1), impossible(false) {
    for (int size : sizes) {
        if (size < 0 || total * size > INT_MAX) {
            impossible = true;
            break;
        }
        total *= size;
    }
    // Coordinates come from the rows of the grid; an empty grid has none to give.
    if (!impossible && total == 0) {
        for (int size : sizes) impossible = impossible || size > 0;
    }
    if (!impossible && knownBytes >= 0 && total > knownBytes) impossible = true;
    if (impossible) {
        total = -1;
        return;
    }
    holder.dimVal.assign(dimColumns, 0.0);
    holder.valVal.assign(valColumns, 0.0);

    // Text of known length holds at least `total` bytes here: size every column once.
    const std::size_t start = knownBytes >= 0 ? static_cast<std::size_t>(total)
                                              : std::min<std::size_t>(static_cast<std::size_t>(total), initialRows);
    valueCapacity = start;
    values.resize(valColumns);
    for (Column& column : values) {
        column.data.reset(allocateColumn(start));
        column.capacity = start;
    }
    coordinates.resize(sizes.size());
    strides.assign(sizes.size(), 1);
    for (std::size_t d = sizes.size(); d-- > 1;) strides[d - 1] = strides[d] * sizes[d];
    for (std::size_t d = 0; d < sizes.size(); ++d) {
        // Sizes are only claims until the rows arrive: without a known length, grow as they do.
        const auto size = static_cast<std::size_t>(sizes[d]);
        const std::size_t capacity = knownBytes >= 0 ? size : std::min(size, initialRows);
        coordinates[d].data.reset(allocateColumn(capacity));
        coordinates[d].capacity = capacity;
    }
    nextCoordinateRow.assign(sizes.size(), 0);
    coordinatesTaken.assign(sizes.size(), 0);
}

void DataBlockParser::grow(Column& column) {
    const std::size_t capacity = std::min<std::size_t>(static_cast<std::size_t>(total), valueCapacity * 2 + 1);
    std::unique_ptr<double[]> data(allocateColumn(capacity));
    std::copy(column.data.get(), column.data.get() + rows, data.get());
    column.data = std::move(data);
    column.capacity = capacity;
}

std::size_t DataBlockParser::feed(const char* data, std::size_t n, bool final) {
    std::size_t pos = 0;
    while (pos < n && !complete() && !impossible) {
        const char* first = data + pos;
        const char* newline = static_cast<const char*>(std::memchr(first, '\n', n - pos));
        if (newline == nullptr && !final) break;
        const char* last = newline != nullptr ? newline : data + n;
        parseLine(first, last);
        storeRow();
        pos = static_cast<std::size_t>(last - data) + (newline != nullptr ? 1 : 0);
    }
    return pos;
}

void DataBlockParser::parseLine(const char* first, const char* last) {
    const std::size_t dimColumns = holder.dimVal.size();
    const std::size_t columns = dimColumns + holder.valVal.size();
    std::size_t c = 0;
    const char* p = first;
    // Pieces lie between commas; the piece after the last comma counts only when not empty.
    // Columns beyond the record's are ignored.
    while (p < last && c < columns) {
        // Fast path for the usual "<blanks>[-]digits..." piece; everything else (other white
        // space, '+', hex, inf/nan, out-of-range numbers) goes through the general parser.
        const char* q = p;
        while (q < last && *q == ' ') ++q;
        const char* digits = q < last && *q == '-' ? q + 1 : q;
        double value = 0.0;
        const char* end = nullptr;
        if (digits < last && ((*digits >= '0' && *digits <= '9') || *digits == '.')) {
            const std::from_chars_result result = std::from_chars(q, last, value);
            if (result.ec == std::errc() && (result.ptr == last || (*result.ptr != 'x' && *result.ptr != 'X'))) {
                end = result.ptr;
            }
        }
        if (end == nullptr) {
            const char* comma = static_cast<const char*>(std::memchr(p, ',', static_cast<std::size_t>(last - p)));
            end = comma != nullptr ? comma : last;
            const char* next = nullptr;
            value = parseNumber(p, end, &next);
        }
        if (c < dimColumns) {
            holder.dimVal[c] = value;
        } else {
            holder.valVal[c - dimColumns] = value;
        }
        while (end < last && *end != ',') ++end;
        if (end == last) break;
        p = end + 1;
        ++c;
    }
}

void DataBlockParser::storeRow() {
    const auto row = static_cast<std::size_t>(rows);
    if (row >= valueCapacity) {
        for (Column& column : values) grow(column);
        valueCapacity = std::min<std::size_t>(static_cast<std::size_t>(total), valueCapacity * 2 + 1);
    }
    const double* held = holder.valVal.data();
    for (std::size_t v = 0; v < values.size(); ++v) values[v].data[row] = held[v];
    for (std::size_t d = 0; d < coordinates.size(); ++d) {
        if (rows == nextCoordinateRow[d] && coordinatesTaken[d] < sizes[d]) {
            const double coordinate = d < holder.dimVal.size() ? holder.dimVal[d] : 0.0;
            Column& column = coordinates[d];
            const auto taken = static_cast<std::size_t>(coordinatesTaken[d]);
            if (taken >= column.capacity) {
                const std::size_t capacity = std::min(static_cast<std::size_t>(sizes[d]), column.capacity * 2 + 1);
                std::unique_ptr<double[]> grown(allocateColumn(capacity));
                std::copy(column.data.get(), column.data.get() + taken, grown.get());
                column.data = std::move(grown);
                column.capacity = capacity;
            }
            column.data[taken] = coordinate;
            ++coordinatesTaken[d];
            nextCoordinateRow[d] += strides[d];
        }
    }
    ++rows;
}

void DataBlockParser::finish(AnaData& rec, const std::vector<std::string>& dimNames,
                             const std::vector<std::string>& dimUnits, const std::vector<std::string>& valNames,
                             const std::vector<std::string>& valUnits) {
    if (impossible || rows != total) throw AnaDataException("Datasize error");
    std::vector<DimType>& dims = RecordAccess::dims(rec);
    std::vector<DimType>& vals = RecordAccess::vals(rec);
    const std::size_t dimCount = sizes.size();
    if (dimNames.size() < dimCount || dimUnits.size() < dimCount) throw AnaDataException("DimNo Error");
    if (valUnits.size() < valNames.size()) throw AnaDataException("ValNo Error");
    if (dimCount > dims.size()) throw AnaDataException("setDim out of range");
    if (valNames.size() > vals.size()) throw AnaDataException("setVal out of range");

    for (std::size_t d = 0; d < dimCount; ++d) {
        dims[d] = RecordAccess::adopt(dimNames[d], dimUnits[d], sizes[d], coordinates[d].data.release());
        RecordAccess::dimMap(rec)[dimNames[d]] = static_cast<int>(d);
    }
    RecordAccess::invalidateFactor(rec);
    for (std::size_t v = 0; v < valNames.size(); ++v) {
        vals[v] = RecordAccess::adopt(valNames[v], valUnits[v], static_cast<int>(total), values[v].data.release());
        RecordAccess::valMap(rec)[valNames[v]] = static_cast<int>(v);
    }
}

}  // namespace qx
