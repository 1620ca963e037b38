// The text-format writer: header, comment and data rows of a record, CR LF line ends.
#include "anadata.h"

#include <algorithm>
#include <cstring>
#include <locale>
#include <ostream>
#include <string>
#include <vector>

#include "number_text.h"
#include "record_access.h"

namespace qx {

namespace {

constexpr const char* lineEnd = "\r\n";

// Puts the stream's format flags back however the writer leaves.
class FlagsGuard {
public:
    explicit FlagsGuard(std::ostream& os) : os(os), flags(os.flags()) {}
    ~FlagsGuard() { os.flags(flags); }
    FlagsGuard(const FlagsGuard&) = delete;
    FlagsGuard& operator=(const FlagsGuard&) = delete;

private:
    std::ostream& os;
    std::ios::fmtflags flags;
};

void writeQuotedList(std::ostream& os, const char* key, const std::vector<DimType>& list, bool units) {
    os << key;
    for (std::size_t i = 0; i < list.size(); ++i) {
        if (i > 0) os << ", ";
        os << '\'' << (units ? list[i].getUnit() : list[i].getName()) << '\'';
    }
    os << lineEnd;
}

void writeHeader(std::ostream& os, const AnaData& rec) {
    const std::vector<DimType>& dims = RecordAccess::dims(rec);
    const std::vector<DimType>& vals = RecordAccess::vals(rec);
    os << "# [Parameters]" << lineEnd;
    os << "# Name='" << rec.getDiagnostics() << '\'' << lineEnd;
    os << "# ShotNo=" << rec.getShotNo() << lineEnd;
    os << "# Date='" << rec.getDate() << '\'' << lineEnd;
    os << "# DimNo=" << rec.getDimNo() << lineEnd;
    writeQuotedList(os, "# DimName=", dims, false);
    os << "# DimSize=";
    for (std::size_t i = 0; i < dims.size(); ++i) {
        if (i > 0) os << ", ";
        os << dims[i].getNum();
    }
    os << lineEnd;
    writeQuotedList(os, "# DimUnit=", dims, true);
    os << "# ValNo=" << rec.getValNo() << lineEnd;
    writeQuotedList(os, "# ValName=", vals, false);
    writeQuotedList(os, "# ValUnit=", vals, true);
    os << "#" << lineEnd << "# [Comments]" << lineEnd << "#" << lineEnd;

    const std::string comment = rec.getComment();
    for (std::size_t pos = 0; pos < comment.size();) {
        std::size_t end = comment.find('\n', pos);
        if (end == std::string::npos) end = comment.size();
        os << "# ";
        os.write(comment.data() + pos, static_cast<std::streamsize>(end - pos));
        os << lineEnd;
        pos = end + 1;
    }
    os << "#" << lineEnd << "# [Data] " << lineEnd;
}

// Walks the grid in row-major order, handing each point's coordinates and flat position over.
template <typename EmitRow>
void forEachRow(const AnaData& rec, EmitRow emit) {
    const std::vector<DimType>& dims = RecordAccess::dims(rec);
    const int total = rec.getValSize();
    std::vector<int> idx(dims.size(), 0);
    for (int p = 0; p < total; ++p) {
        emit(idx, p);
        for (std::size_t k = dims.size(); k-- > 0;) {
            if (++idx[k] < dims[k].getNum()) break;
            idx[k] = 0;
        }
    }
}

bool streamFormatsLikeToChars(std::ostream& os) {
    const std::ios::fmtflags unusual = std::ios::uppercase | std::ios::showpos | std::ios::showpoint;
    if ((os.flags() & unusual) != 0) return false;
    if (os.precision() < 0 || os.precision() > 100) return false;
    return std::use_facet<std::numpunct<char>>(os.getloc()).decimal_point() == '.';
}

// Fast path: numbers formatted with to_chars into a large buffer handed over in blocks.
void writeRowsBuffered(std::ostream& os, const AnaData& rec) {
    const std::vector<DimType>& dims = RecordAccess::dims(rec);
    const std::vector<DimType>& vals = RecordAccess::vals(rec);
    const int precision = static_cast<int>(os.precision());
    const std::size_t numberRoom = maxNumberText(precision) + 2;
    const std::size_t rowRoom = (dims.size() + vals.size()) * numberRoom + 2;
    const auto rowsToWrite = static_cast<std::size_t>(rec.getValSize()) + 1;
    const std::size_t blockSize = std::max<std::size_t>(std::min<std::size_t>(1 << 20, rowRoom * rowsToWrite), 4 * rowRoom);
    std::vector<char> block(blockSize);
    char* const begin = block.data();
    char* out = begin;

    // Coordinates repeat along the grid: format each once (short axes only, to bound memory).
    constexpr int cachedAxisLimit = 1 << 16;
    std::vector<std::vector<std::string>> coordinateText(dims.size());
    for (std::size_t k = 0; k < dims.size(); ++k) {
        if (dims[k].getNum() > cachedAxisLimit) continue;
        char text[128];
        for (int i = 0; i < dims[k].getNum(); ++i) {
            char* end = formatScientific(text, dims[k].getData()[i], precision);
            coordinateText[k].emplace_back(text, end);
        }
    }

    forEachRow(rec, [&](const std::vector<int>& idx, int p) {
        if (static_cast<std::size_t>(out - begin) + rowRoom > blockSize) {
            os.write(begin, out - begin);
            out = begin;
        }
        for (std::size_t k = 0; k < dims.size(); ++k) {
            if (!coordinateText[k].empty()) {
                const std::string& text = coordinateText[k][static_cast<std::size_t>(idx[k])];
                std::memcpy(out, text.data(), text.size());
                out += text.size();
            } else {
                out = formatScientific(out, dims[k].getData()[idx[k]], precision);
            }
            *out++ = ',';
            *out++ = ' ';
        }
        for (std::size_t j = 0; j < vals.size(); ++j) {
            out = formatScientific(out, vals[j].getData()[p], precision);
            if (j + 1 < vals.size()) {
                *out++ = ',';
                *out++ = ' ';
            }
        }
        *out++ = '\r';
        *out++ = '\n';
    });
    os.write(begin, out - begin);
}

// Slow path for streams with flags or locales that to_chars does not reproduce.
void writeRowsThroughStream(std::ostream& os, const AnaData& rec) {
    const std::vector<DimType>& dims = RecordAccess::dims(rec);
    const std::vector<DimType>& vals = RecordAccess::vals(rec);
    forEachRow(rec, [&](const std::vector<int>& idx, int p) {
        for (std::size_t k = 0; k < dims.size(); ++k) os << dims[k].getData()[idx[k]] << ", ";
        for (std::size_t j = 0; j < vals.size(); ++j) {
            os << vals[j].getData()[p];
            if (j + 1 < vals.size()) os << ", ";
        }
        os << lineEnd;
    });
}

}  // namespace

std::ostream& operator<<(std::ostream& os, const AnaData& rec) {
    const std::vector<DimType>& vals = RecordAccess::vals(rec);
    // Every row ends with the last value, so a record without values has no rows to write;
    // a value column shorter than the grid would be read past its end.
    if (vals.empty()) throw AnaDataException("ValNo Error");
    const int total = rec.getValSize();
    for (const DimType& val : vals) {
        if (val.getNum() < total || (total > 0 && val.getData() == nullptr)) throw AnaDataException("Datasize error");
    }
    if (total < 0) throw AnaDataException("Datasize error");
    for (const DimType& dim : RecordAccess::dims(rec)) {
        if (dim.getNum() < 0) throw AnaDataException("Datasize error");
    }

    FlagsGuard guard(os);
    writeHeader(os, rec);
    os.setf(std::ios::scientific, std::ios::floatfield);
    if (streamFormatsLikeToChars(os)) {
        writeRowsBuffered(os, rec);
    } else {
        writeRowsThroughStream(os, rec);
    }
    os.flush();
    return os;
}

}  // namespace qx
