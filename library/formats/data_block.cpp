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

// One piece as atof reads it. Fast path for the usual "<blanks>[-]digits..." piece;
// everything else (other white space, '+', hex, inf/nan, out-of-range numbers) goes through
// the general parser. *end is where the number ended, or the next comma after a fallback.
inline double parsePiece(const char* p, const char* last, const char** end) {
    const char* q = p;
    while (q < last && *q == ' ') ++q;
    const char* digits = q < last && *q == '-' ? q + 1 : q;
    if (digits < last && ((*digits >= '0' && *digits <= '9') || *digits == '.')) {
        double value = 0.0;
        const std::from_chars_result result = std::from_chars(q, last, value);
        if (result.ec == std::errc() && (result.ptr == last || (*result.ptr != 'x' && *result.ptr != 'X'))) {
            *end = result.ptr;
            return value;
        }
    }
    const char* comma = static_cast<const char*>(std::memchr(p, ',', static_cast<std::size_t>(last - p)));
    *end = comma != nullptr ? comma : last;
    const char* next = nullptr;
    return parseNumber(p, *end, &next);
}

bool isBlank(const char* first, const char* last) {
    for (; first < last; ++first)
        if (*first != ' ' && *first != '\t' && *first != '\r') return false;
    return true;
}

// The piece [first, last) as one number with nothing but blanks around it, read as atof does.
double wholeNumber(const char* first, const char* last, std::int64_t line, std::size_t column) {
    const char* end = first;
    const double value = parseNumber(first, last, &end);
    if (end == first || !isBlank(end, last)) {
        while (first < last && *first == ' ') ++first;
        const std::size_t shown = std::min<std::size_t>(static_cast<std::size_t>(last - first), 40);
        throw TextFault{line, "column " + std::to_string(column + 1) + " is not a number: '" +
                                  std::string(first, shown) + "'"};
    }
    return value;
}

}  // namespace

DataBlockParser::DataBlockParser(const std::vector<int>& sizes, std::size_t dimColumns, std::size_t valColumns,
                                 std::int64_t knownBytes, const StrictRows* strictRows)
    : sizes(sizes),
      total(1),
      impossible(false),
      strict(strictRows != nullptr),
      keep(strictRows == nullptr || strictRows->keepNumbers),
      line(strictRows != nullptr ? strictRows->firstLine : 0) {
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
    pendingFirst.assign(dimColumns, nullptr);
    pendingLast.assign(dimColumns, nullptr);
    if (!keep) {
        scratch.assign(valColumns, 0.0);
        return;
    }

    // Text of known length holds at least `total` bytes here: size every column once.
    const std::size_t start = knownBytes >= 0 ? static_cast<std::size_t>(total)
                                              : std::min<std::size_t>(static_cast<std::size_t>(total), initialRows);
    valueCapacity = start;
    values.resize(valColumns);
    for (Column& column : values) {
        column.data.reset(allocateColumn(start));
        column.capacity = start;
        columnStarts.push_back(column.data.get());
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
    if (strict) return feedStrict(data, n, final);
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
    // The caller may reuse the buffer: parse the coordinates that still point into it.
    for (std::size_t d = 0; d < pendingFirst.size(); ++d) resolveCoordinate(d);
    return pos;
}

void DataBlockParser::resolveCoordinate(std::size_t d) {
    if (pendingFirst[d] == nullptr) return;
    const char* end = nullptr;
    holder.dimVal[d] = parsePiece(pendingFirst[d], pendingLast[d], &end);
    pendingFirst[d] = nullptr;
}

void DataBlockParser::makeRoom() {
    if (static_cast<std::size_t>(rows) < valueCapacity) return;
    for (Column& column : values) grow(column);
    for (std::size_t v = 0; v < values.size(); ++v) columnStarts[v] = values[v].data.get();
    valueCapacity = std::min<std::size_t>(static_cast<std::size_t>(total), valueCapacity * 2 + 1);
}

void DataBlockParser::parseLine(const char* first, const char* last) {
    const auto row = static_cast<std::size_t>(rows);
    makeRoom();
    // Locals, so that the opaque from_chars call does not force the members to be reloaded.
    const std::size_t dimColumns = holder.dimVal.size();
    const std::size_t valColumns = values.size();
    const std::size_t columns = dimColumns + valColumns;
    const char** const pending = pendingFirst.data();
    const char** const pendingEnds = pendingLast.data();
    double* const* const valueColumns = columnStarts.data();
    // Values go straight into their columns; the holder keeps only the coordinates.
    std::size_t c = 0;
    const char* p = first;
    // Pieces lie between commas; the piece after the last comma counts only when not empty.
    // Columns beyond the record's are ignored.
    while (p < last && c < columns) {
        if (c < dimColumns) {
            // Coordinates matter only on the rows that start a line of the grid: remember
            // where the piece is and parse it when (and if) it is needed.
            const char* comma = static_cast<const char*>(std::memchr(p, ',', static_cast<std::size_t>(last - p)));
            pending[c] = p;
            pendingEnds[c] = comma != nullptr ? comma : last;
            ++c;
            if (comma == nullptr) break;
            p = comma + 1;
            continue;
        }
        const char* end = nullptr;
        valueColumns[c - dimColumns][row] = parsePiece(p, last, &end);
        ++c;
        while (end < last && *end != ',') ++end;
        if (end == last) break;
        p = end + 1;
    }
    // A short row keeps the previous row's numbers (0 before the first row) in its missing columns.
    for (std::size_t v = c > dimColumns ? c - dimColumns : 0; v < valColumns; ++v) {
        valueColumns[v][row] = row > 0 ? valueColumns[v][row - 1] : 0.0;
    }
}

void DataBlockParser::storeRow() {
    for (std::size_t d = 0; keep && d < coordinates.size(); ++d) {
        if (rows == nextCoordinateRow[d] && coordinatesTaken[d] < sizes[d]) {
            if (d < pendingFirst.size()) resolveCoordinate(d);
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

std::size_t DataBlockParser::feedStrict(const char* data, std::size_t n, bool final) {
    std::size_t pos = 0;
    while (pos < n && !impossible) {
        const char* first = data + pos;
        const char* newline = static_cast<const char*>(std::memchr(first, '\n', n - pos));
        if (newline == nullptr) {
            if (!final) break;
            throw TextFault{line, "the last line has no line feed: the file is cut short"};
        }
        if (!complete()) {
            parseStrictLine(first, newline);
            storeRow();
        } else if (!isBlank(first, newline)) {
            throw TextFault{line, "a row more than the grid's " + std::to_string(total)};
        }
        ++line;
        pos = static_cast<std::size_t>(newline - data) + 1;
    }
    return pos;
}

void DataBlockParser::parseStrictLine(const char* first, const char* last) {
    if (last > first && last[-1] == '\r') --last;
    if (isBlank(first, last)) throw TextFault{line, "an empty line among the rows"};
    if (keep) makeRoom();
    const auto row = static_cast<std::size_t>(rows);
    const std::size_t dimColumns = holder.dimVal.size();
    const std::size_t columns = dimColumns + (keep ? values.size() : scratch.size());
    std::size_t c = 0;
    for (const char* p = first;; ++c) {
        const char* comma = static_cast<const char*>(std::memchr(p, ',', static_cast<std::size_t>(last - p)));
        const char* end = comma != nullptr ? comma : last;
        if (c == columns) {
            const auto pieces = c + 1 + static_cast<std::size_t>(std::count(end, last, ','));
            throw TextFault{line, std::to_string(pieces) + " numbers in a row of " + std::to_string(columns)};
        }
        const double value = wholeNumber(p, end, line, c);
        if (c < dimColumns)
            holder.dimVal[c] = value;
        else if (keep)
            columnStarts[c - dimColumns][row] = value;
        else
            scratch[c - dimColumns] = value;
        if (comma == nullptr) break;
        p = comma + 1;
    }
    if (c + 1 < columns)
        throw TextFault{line, std::to_string(c + 1) + " numbers in a row of " + std::to_string(columns)};
}

void DataBlockParser::checkRowCount() const {
    if (impossible) throw TextFault{line, "the DimSize line gives a grid that the file cannot hold"};
    if (rows < total)
        throw TextFault{line, "the data end after " + std::to_string(rows) + " of the grid's " +
                                  std::to_string(total) + " rows: the file is cut short"};
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
