// Checks on what a client sends: names that must be safe as path components, numbers, lengths.
#include "Validation.h"

#include <cstdio>
#include <ctime>

#include "ServiceError.h"
#include "soapH.h"

namespace {

std::string text(const char* p) { return p ? std::string(p) : std::string(); }

}  // namespace

void requireSafeName(const std::string& name, const char* what) {
    if (name.empty()) throw ServiceError(std::string(what) + " is empty");
    if (name.size() > 255) throw ServiceError(std::string(what) + " is longer than 255 bytes");
    if (name == "." || name == "..") throw ServiceError(std::string(what) + " must not be '" + name + "'");
    for (unsigned char c : name)
        if (c == '/' || c == '\\' || c < 0x20 || c == 0x7f)
            throw ServiceError(std::string(what) + " '" + name + "' contains a character not allowed in a file name");
}

int effectiveSubshot(int sub) {
    if (sub < 0) throw ServiceError("sub-shot number " + std::to_string(sub) + " is negative");
    return sub == 0 ? 1 : sub;
}

std::string currentFileDate() {
    std::time_t now = std::time(nullptr);
    std::tm tm{};
    localtime_r(&now, &tm);
    char buf[64];
    std::snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d:%02d", tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday,
                  tm.tm_hour, tm.tm_min, tm.tm_sec);
    return buf;
}

CatalogueEntry entryFromRequest(const ns__TavolenInfo& info, const std::string& user, std::int64_t maxLength) {
    CatalogueEntry e;
    e.diagnostics = text(info.diagnostics);
    requireSafeName(e.diagnostics, "data name");
    if (info.shotno <= 0) throw ServiceError("shot number " + std::to_string(info.shotno) + " is not positive");
    e.shotno = info.shotno;
    e.subshotno = effectiveSubshot(info.subshotno);
    if (info.filelen < 0) throw ServiceError("file length " + std::to_string(info.filelen) + " is negative");
    if (info.filelen > maxLength) throw ServiceError("file length " + std::to_string(info.filelen) + " is too large");
    e.filelen = info.filelen;

    // The stored name is what a download is saved as; the client strips ".zip" to name the extracted file.
    e.filename = text(info.filename);
    if (e.filename.empty())
        e.filename = e.diagnostics + "@" + std::to_string(e.shotno) + "-" + std::to_string(e.subshotno) + ".dat.zip";
    requireSafeName(e.filename, "file name");
    if (e.filename.size() < 4 || e.filename.compare(e.filename.size() - 4, 4, ".zip") != 0) {
        e.filename += ".zip";
        requireSafeName(e.filename, "file name");
    }
    e.filedate = text(info.filedate);
    if (e.filedate.empty()) e.filedate = currentFileDate();
    if (e.filedate.size() > 64) throw ServiceError("file date is longer than 64 bytes");
    e.summary = text(info.summary);
    if (e.summary.size() > 65536) throw ServiceError("summary is longer than 65536 bytes");
    e.userid = user;
    return e;
}
