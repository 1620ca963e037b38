// Reading record files for the modern layer: the format by content, the strict text reading, and
// every message a refused file gets.
#include "record_file.h"

#include <cerrno>
#include <cstring>
#include <fstream>

#include <sys/stat.h>

#include "columns.h"
#include "record_access.h"
#include "text_reading.h"

namespace anadata {

namespace {

[[noreturn]] void cannotRead(const std::string& path, int error) {
    throw Error(ErrorCode::local_io, "cannot read " + path + ": " + std::strerror(error));
}

[[noreturn]] void refuse(const std::string& path, const std::string& why) {
    throw Error(ErrorCode::format, path + ": " + why);
}

// The file opened for reading, with the format its first bytes give.
struct OpenedFile {
    std::ifstream in;
    FileFormat format = FileFormat::text;
};

void open(const std::string& path, OpenedFile& file) {
    struct stat info;
    if (stat(path.c_str(), &info) != 0) cannotRead(path, errno);
    if (S_ISDIR(info.st_mode)) cannotRead(path, EISDIR);
    file.in.open(path, std::ios::binary);
    if (!file.in) cannotRead(path, errno != 0 ? errno : EIO);
    switch (qx::AnaData::checkHeader(file.in)) {
    case 0:
        file.format = FileFormat::text;
        return;
    case 1:
        file.format = FileFormat::dump;
        return;
    default:
        refuse(path, "not an analysed-data file (neither text nor dump)");
    }
}

// Reads the text with the strict or the qx:: reading; every fault becomes Error(format).
void readText(const std::string& path, std::istream& in, qx::AnaData& rec, const qx::TextReading& how) {
    try {
        if (!qx::readTextRecord(in, rec, how)) refuse(path, "no data block in the text file");
    } catch (const qx::TextFault& fault) {
        refuse(path + ":" + std::to_string(fault.line), fault.message);
    } catch (const qx::clsException& e) {
        refuse(path, e.getMessage());
    }
    if (in.bad()) cannotRead(path, EIO);
}

// A dump holds its whole image, and value columns as long as the grid they lie on.
qx::AnaData readDump(const std::string& path, std::istream& in) {
    qx::AnaData rec;
    try {
        rec = qx::AnaData::restore(in);
    } catch (const qx::clsException& e) {
        refuse(path, e.getMessage());
    }
    if (in.fail()) refuse(path, "truncated or corrupt dump");
    const int points = rec.getValSize();
    for (int v = 0; v < rec.getValNo(); ++v) {
        const int size = valueSize(rec, v);
        if (size < points || (points > 0 && rec.getValData(v) == nullptr))
            refuse(path, std::string("value column '") + rec.getValName(v) + "' holds " + std::to_string(size) +
                             " numbers, the grid " + std::to_string(points));
    }
    return rec;
}

qx::TextReading strictly(bool lenient) {
    qx::TextReading how;
    how.strict = !lenient;
    return how;
}

}  // namespace

FileFormat recordFileFormat(const std::string& path) {
    OpenedFile file;
    open(path, file);
    return file.format;
}

qx::AnaData readRecord(const std::string& path, const ReadOptions& options) {
    OpenedFile file;
    open(path, file);
    if (file.format == FileFormat::dump) return readDump(path, file.in);
    qx::AnaData rec;
    readText(path, file.in, rec, strictly(options.lenient));
    return rec;
}

qx::AnaData readRecordHeader(const std::string& path) {
    OpenedFile file;
    open(path, file);
    qx::AnaData rec;
    if (file.format == FileFormat::text) {
        qx::TextReading how = strictly(false);
        how.headerOnly = true;
        readText(path, file.in, rec, how);
        return rec;
    }
    // The dump's parameters come before its columns: magic, counts, shot, sub-shot, date, name, comment.
    std::istream& in = file.in;
    qx::read_int(in);
    qx::read_int(in);
    qx::read_int(in);
    rec.setShotNo(qx::read_int(in));
    rec.setSubNo(qx::read_int(in));
    rec.setDate(qx::read_string(in).c_str());
    rec.setDiagnostics(qx::read_string(in).c_str());
    qx::RecordAccess::setComment(rec, qx::read_string(in));
    if (in.fail()) refuse(path, "truncated or corrupt dump");
    return rec;
}

void checkRecordFile(const std::string& path, const ReadOptions& options) {
    OpenedFile file;
    open(path, file);
    if (file.format == FileFormat::dump) {
        readDump(path, file.in);
        return;
    }
    qx::TextReading how = strictly(options.lenient);
    how.keepNumbers = options.lenient;  // the qx:: reading has no way to drop them
    qx::AnaData rec;
    readText(path, file.in, rec, how);
}

}  // namespace anadata
