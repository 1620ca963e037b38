// Internal helpers of the zip functions: the entry time stamp and the one table of minizip codes.
#ifndef ANADATA_UTIL_ZIP_SUPPORT_H
#define ANADATA_UTIL_ZIP_SUPPORT_H

#include <string>

#include <unzip.h>
#include <zip.h>

namespace qx {

// Fills in the time stamp of a new archive entry. Deliberately leaves both untouched and
// returns 0: entries carry the all-zero date so that archives of equal files are equal.
int filetime(const char* name, tm_zip* date, unsigned long* dosDate);

// unzip, also telling whether the output file was written at all: false when the first entry
// could not be read (the archive did not unpack) or the output could not be created.
int unzipReporting(const std::string& zipPath, const std::string& outPath, bool& created);

// The minizip status codes the zip functions produce or test for, under one name each.
namespace zipstatus {
constexpr int ok = ZIP_OK;
constexpr int fileError = ZIP_ERRNO;       // -1: a read, write or open of a plain file failed
constexpr int badArgument = ZIP_PARAMERROR;  // -102: e.g. an archive that could not be opened
constexpr int badArchive = UNZ_BADZIPFILE;   // -103: entry data shorter than its declared size
constexpr int crcMismatch = UNZ_CRCERROR;    // -105: entry data does not match its CRC
static_assert(ZIP_ERRNO == -1 && UNZ_ERRNO == -1, "file errors are reported as -1");
static_assert(ZIP_PARAMERROR == UNZ_PARAMERROR, "zip and unzip share their codes");

// The status packing reports for a failed step: every negative status becomes the
// file-system error, so callers see one code for "the data did not get into the archive".
constexpr int packingFailure(int status) {
    return status < 0 ? fileError : status;
}
}  // namespace zipstatus

}  // namespace qx

#endif
