// The cAnaData* and cExplog* entry points built on the record's service members, the summary
// reader and the experiment log.
#include "anadata_c.h"

#include <cstddef>
#include <string>
#include <vector>

#include "anadata.h"
#include "binding_calls.h"
#include "bounded_copy.h"
#include "c_repository.h"
#include "explog.h"

using qx::AnaData;
using qx::AnaDataException;
using qx::copyBounded;
using qx::DBException;
using qx::reportNullArgument;
using qx::reportRefusal;
using qx::runRecordCall;
using qx::runReportingCall;
using qx::statusOk;

extern "C" {

int cAnaDataRetrieve(int* handle, const char* diag, int shot, int subshot) {
    if (!handle || !diag) return reportNullArgument(__func__);
    return runReportingCall<AnaDataException>([&] {
        // The record is fetched before a handle is taken, so a failure allocates none.
        AnaData record = AnaData::retrieve(diag, shot, subshot, false);
        *handle = qx::c_binding::repository().add(record);
        return statusOk;
    });
}

int cAnaDataRegist(int handle) {
    return runRecordCall([&] {
        qx::c_binding::getData(handle).regist();
        return statusOk;
    });
}

// These two return nothing, so the status of the call is dropped.
void cAnaDataDispSummary(int n, const char* text) {
    runReportingCall<AnaDataException>([&] {
        qx::dispSummary(n, text ? text : "");
        return statusOk;
    });
}

void cAnaDataGetSummary(const char* file, char* summary, char* date, char* time) {
    if (!file || !summary || !date || !time) {
        reportNullArgument(__func__);
        return;
    }
    runReportingCall<AnaDataException>([&] {
        std::string summaryText, dateText, timeText;
        qx::getSummary(file, summaryText, dateText, timeText);
        copyBounded(summary, qx::pathBufferSize, summaryText);
        copyBounded(date, qx::pathBufferSize, dateText);
        copyBounded(time, qx::pathBufferSize, timeText);
        return statusOk;
    });
}

int cExploGetValue(int shotno, const char* column, char* value) {
    if (!column || !value) return reportNullArgument(__func__);
    try {
        copyBounded(value, qx::columnBufferSize, qx::ExpLog::getValue(shotno, column));
    } catch (const DBException& e) {
        return reportRefusal(e.getMessage());
    } catch (const qx::clsException&) {
        // An unknown shot or column is not an error here: the caller's text stays as it was.
    }
    return statusOk;
}

int cExplogGetColumnNames(char* names, int /*n: the caller's count is not trusted nor needed*/) {
    if (!names) return reportNullArgument(__func__);
    return runReportingCall<DBException>([&] {
        const std::vector<std::string> columns = qx::ExpLog::getColumnNames();
        for (std::size_t i = 0; i < columns.size(); ++i)
            copyBounded(names + qx::columnBufferSize * i, qx::columnBufferSize, columns[i]);
        return statusOk;
    });
}

}  // extern "C"

int cExplogGetColumnNo(int* n) {
    if (!n) return reportNullArgument(__func__);
    return runReportingCall<DBException>([&] {
        *n = static_cast<int>(qx::ExpLog::getColumnNames().size());
        return statusOk;
    });
}
