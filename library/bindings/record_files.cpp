// Loading and saving records for the C and Fortran entry points.
#include "record_files.h"

#include <fstream>

#include "binding_calls.h"

namespace qx {

namespace {

constexpr int textFormat = 0;
constexpr int dumpFormat = 1;

}  // namespace

int loadRecordFile(HandleTable<AnaData>& table, int* handle, const char* path) {
    int status = statusOk;
    std::ifstream in(path, std::ios::binary);
    const int format = AnaData::checkHeader(in);
    if (format == dumpFormat) {
        *handle = table.add(AnaData::restore(in));
    } else if (format == textFormat) {
        AnaData record;
        in >> record;
        *handle = table.add(record);
    } else {
        status = rememberFailure(statusUnknownFormat, std::string(path) + ": neither the text nor the dump format");
    }
    // A stream that failed wins over every other outcome, also over a handle already given.
    if (in.fail()) status = rememberFailure(statusStreamFailed, std::string(path) + ": cannot be read");
    return status;
}

int saveRecordFile(const AnaData& record, const char* path, int mode) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (mode == 0) {
        out << record;
    } else {
        record.dump(out);
    }
    // Write errors (a full disk) show only once the buffer is handed to the system.
    out.flush();
    return out.fail() ? rememberFailure(statusStreamFailed, std::string(path) + ": cannot be written") : statusOk;
}

}  // namespace qx
