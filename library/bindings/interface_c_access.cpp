// The cAnaData* entry points that drive the access object directly: download, file registration,
// deletion, and the path, date and paging helpers.
#include "anadata_c.h"

#include <cstdlib>
#include <cstring>
#include <string>

#include "anadata_util.h"
#include "binding_calls.h"
#include "bounded_copy.h"
#include "clsAnaDataAccess.h"

using qx::AnaDataException;
using qx::clsAnaDataAccess;
using qx::copyBounded;
using qx::pathBufferSize;
using qx::reportNullArgument;
using qx::reportRefusal;
using qx::runReportingCall;
using qx::statusOk;

namespace {

// A configured number kept as text; 0 when it is not a number. The access object loads the
// settings file when nothing has loaded it yet.
int settingNumber(std::string (*getter)()) {
    try {
        clsAnaDataAccess access;
        return std::atoi(getter().c_str());
    } catch (const AnaDataException& e) {
        reportRefusal(e.getMessage());
        return 0;
    }
}

// An access object whose account replaces the configured one for the rest of the process.
clsAnaDataAccess accessAs(const char* user, const char* password) {
    clsAnaDataAccess access;
    access.userset(user);
    access.passset(password);
    return access;
}

}  // namespace

extern "C" {

int cAnaDataRegistFile(const char* dir, const char* file, const char* diag, int shot, int subshot,
                       const char* reserved, const char* summary, const char* user, const char* password) {
    return accessAs(user, password).Regist(dir, file, diag, shot, subshot, reserved, summary) ? 1 : 0;
}

int cAnaDataGet(const char* diag, int shot, int subshot, char* path, const char* dir, bool keepArchive) {
    if (!path) return reportNullArgument(__func__);
    return runReportingCall<AnaDataException>([&] {
        // The caller's buffer holds 1024 bytes; a name of that length has no terminator.
        std::string local(path, strnlen(path, pathBufferSize));
        if (!clsAnaDataAccess().Get(diag, shot, subshot, local, dir, keepArchive))
            throw AnaDataException("data acquisition failure.");
        copyBounded(path, pathBufferSize, local);
        return statusOk;
    });
}

int cAnaDataDelete(const char* diag, int shot, int subshot, const char* user, const char* password) {
    return accessAs(user, password).Delete(diag, shot, subshot) ? 1 : 0;
}

int cAnaDataGetDirName(const char* path, char* out) {
    if (!out) return reportNullArgument(__func__);
    return runReportingCall<AnaDataException>([&] {
        copyBounded(out, pathBufferSize, qx::getDirName(path));
        return statusOk;
    });
}

int cAnaDataGetFileName(const char* path, char* out) {
    if (!out) return reportNullArgument(__func__);
    return runReportingCall<AnaDataException>([&] {
        copyBounded(out, pathBufferSize, qx::getFileName(path));
        return statusOk;
    });
}

int cAnaDataThe_date(char* out) {
    if (!out) return reportNullArgument(__func__);
    return runReportingCall<AnaDataException>([&] {
        copyBounded(out, pathBufferSize, qx::the_date());
        return statusOk;
    });
}

int cAnaDataGetPage(void) { return settingNumber(&clsAnaDataAccess::getPage); }

int cAnaDataGetLimit(void) { return settingNumber(&clsAnaDataAccess::getLimit); }

}  // extern "C"
