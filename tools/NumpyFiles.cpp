// The NPY header and number encoding, and the arrays of an .npz archive.
#include "NumpyFiles.h"

#include <cstdint>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "StoredZip.h"
#include "ToolError.h"

namespace tool {

namespace {

constexpr std::size_t maxNameBytes = 200;  // of an array name, before ".npy"
constexpr std::size_t maxDimensions = 32;  // of a numpy array

std::string shapeText(const std::vector<std::size_t>& shape) {
    std::string text = "(";
    for (std::size_t i = 0; i < shape.size(); ++i) text += (i > 0 ? ", " : "") + std::to_string(shape[i]);
    return text + (shape.size() == 1 ? ",)" : ")");
}

// Magic, version 1.0, header length, then the dictionary padded with blanks and a line feed to
// a multiple of 64 bytes, as numpy writes it.
std::string npyHeader(const std::vector<std::size_t>& shape) {
    std::string dict = "{'descr': '<f8', 'fortran_order': False, 'shape': " + shapeText(shape) + ", }";
    const std::size_t unpadded = 10 + dict.size() + 1;
    dict.append((64 - unpadded % 64) % 64, ' ');
    dict += '\n';
    std::string header("\x93NUMPY\x01\x00", 8);
    header += static_cast<char>(dict.size() & 0xff);
    header += static_cast<char>(dict.size() >> 8);
    return header + dict;
}

// Doubles as little-endian bytes whatever the machine's order, in pieces of 8192.
class LittleEndianDoubles {
public:
    explicit LittleEndianDoubles(const ByteSink& sink) : sink_(sink) {}
    ~LittleEndianDoubles() { flush(); }
    LittleEndianDoubles(const LittleEndianDoubles&) = delete;
    LittleEndianDoubles& operator=(const LittleEndianDoubles&) = delete;

    void add(const double* values, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            std::uint64_t bits;
            std::memcpy(&bits, &values[i], sizeof bits);
            for (int b = 0; b < 8; ++b) buffer_[used_++] = static_cast<char>((bits >> (8 * b)) & 0xff);
            if (used_ == sizeof buffer_) flush();
        }
    }
    void flush() {
        if (used_ > 0) sink_(buffer_, used_);
        used_ = 0;
    }

private:
    const ByteSink& sink_;
    char buffer_[8 * 8192];
    std::size_t used_ = 0;
};

void writeArray(const ByteSink& sink, const std::vector<std::size_t>& shape, const double* data, std::size_t count) {
    const std::string header = npyHeader(shape);
    sink(header.data(), header.size());
    LittleEndianDoubles out(sink);
    out.add(data, count);
}

// A column name as a file name inside the archive, unique among `taken`.
std::string arrayName(const std::string& column, std::set<std::string>& taken) {
    std::string name = column.substr(0, maxNameBytes);
    for (char& c : name) {
        const bool safe = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
                          c == '-' || c == '.';
        if (!safe) c = '_';
    }
    if (name.empty() || name[0] == '.') name.insert(0, "_");
    std::string unique = name;
    for (int n = 2; !taken.insert(unique).second; ++n) unique = name + "_" + std::to_string(n);
    return unique;
}

}  // namespace

void writeNpyTable(const Table& table, std::ostream& out) {
    const ByteSink sink = [&out](const char* data, std::size_t size) {
        out.write(data, static_cast<std::streamsize>(size));
    };
    const std::string header = npyHeader({table.rows(), table.width()});
    sink(header.data(), header.size());
    LittleEndianDoubles numbers(sink);
    table.forEachRow([&](const double* row) { numbers.add(row, table.width()); });
}

void writeNpz(const Table& table, std::ostream& out) {
    if (table.shape().size() > maxDimensions)
        throw ToolError(exitFile, "numpy arrays have at most " + std::to_string(maxDimensions) +
                                      " dimensions; write one .npy table instead");
    StoredZip zip(out);
    std::set<std::string> taken;
    for (std::size_t d = 0; d < table.dimensions().size(); ++d) {
        const TableColumn& column = table.dimensions()[d];
        const std::size_t size = table.shape()[d];
        zip.add(arrayName(column.name, taken) + ".npy",
                [&](const ByteSink& sink) { writeArray(sink, {size}, column.data, size); });
    }
    for (const TableColumn& column : table.values())
        zip.add(arrayName(column.name, taken) + ".npy",
                [&](const ByteSink& sink) { writeArray(sink, table.shape(), column.data, table.rows()); });
    zip.finish();
}

}  // namespace tool
