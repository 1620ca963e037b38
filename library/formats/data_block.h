// Incremental parser of the text format's data block: rows of comma-separated numbers filled
// straight into the record's columns.
#ifndef ANADATA_DATA_BLOCK_H
#define ANADATA_DATA_BLOCK_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "anadata.h"

namespace qx {

// A fault of the strict reading: the line it is on (counted from 1) and what is wrong there.
struct TextFault {
    std::int64_t line;
    std::string message;
};

// The strict reading of a data block: each row holds exactly one number per column, each piece
// is a whole number, the grid's rows are all there, nothing but blank lines follows them and the
// last line ends with a line feed. Faults throw TextFault.
struct StrictRows {
    std::int64_t firstLine = 1;  // the line number of the block's first row
    bool keepNumbers = true;     // false: every number is checked, none kept (finish() is then not called)
};

class DataBlockParser {
public:
    // knownBytes is how much text can still arrive (-1 when unknown); it bounds what is
    // allocated up front, since every row takes at least one byte. Without `strict`, the block
    // is read as the qx:: reader always has (short rows filled, later text ignored).
    DataBlockParser(const std::vector<int>& sizes, std::size_t dimColumns, std::size_t valColumns,
                    std::int64_t knownBytes, const StrictRows* strict = nullptr);

    // Parses the complete lines of [data, data + n), and the trailing partial line too when
    // `final`. Returns how many bytes were consumed; the caller keeps the rest for later.
    std::size_t feed(const char* data, std::size_t n, bool final);
    // True once every row of the grid has been read; later text is ignored.
    bool complete() const { return rows == total; }
    // True when no more text can change the outcome: complete (the strict reading looks on to
    // the end), or a grid no text can fill.
    bool finished() const { return (complete() && !strict) || impossible; }

    // The strict reading: throws TextFault unless every row of the grid was there.
    void checkRowCount() const;
    // Checks the row count ("Datasize error") and hands the columns to the record.
    void finish(AnaData& rec, const std::vector<std::string>& dimNames, const std::vector<std::string>& dimUnits,
                const std::vector<std::string>& valNames, const std::vector<std::string>& valUnits);

private:
    struct Column {
        std::unique_ptr<double[]> data;
        std::size_t capacity = 0;
    };

    std::size_t feedStrict(const char* data, std::size_t n, bool final);
    void makeRoom();
    void parseLine(const char* first, const char* last);
    void parseStrictLine(const char* first, const char* last);
    void storeRow();
    void resolveCoordinate(std::size_t d);
    void grow(Column& column);

    std::vector<int> sizes;
    std::int64_t total;
    bool impossible;
    bool strict;
    bool keep;
    std::int64_t line = 0;  // the strict reading's current line
    std::int64_t rows = 0;
    // The row holder's coordinates; values are kept in their columns, whose previous row
    // fills the missing columns of a short row.
    strDimVal holder;
    std::vector<Column> values;
    std::size_t valueCapacity = 0;
    std::vector<double*> columnStarts;
    std::vector<double> scratch;  // the numbers of a row that are not kept
    // Text of each coordinate column's latest piece, not yet parsed (null when parsed).
    std::vector<const char*> pendingFirst;
    std::vector<const char*> pendingLast;
    std::vector<Column> coordinates;
    std::vector<std::int64_t> strides;
    std::vector<std::int64_t> nextCoordinateRow;
    std::vector<std::int64_t> coordinatesTaken;
};

}  // namespace qx

#endif
