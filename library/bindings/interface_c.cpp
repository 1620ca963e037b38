// The cAnaData* entry points: records behind integer handles for C callers.
#include "anadata_c.h"

#include <algorithm>
#include <string>

#include "anadata.h"
#include "anadata_util.h"
#include "binding_calls.h"
#include "c_repository.h"
#include "record_files.h"

namespace qx::c_binding {

HandleTable<AnaData>& repository() {
    static HandleTable<AnaData> table;
    return table;
}

AnaData& getData(int handle) { return repository().get(handle); }

}  // namespace qx::c_binding

using qx::AnaData;
using qx::NotAllocatedNotice;
using qx::reportNegativeSize;
using qx::reportNullArgument;
using qx::runRecordCall;
using qx::statusOk;
using qx::c_binding::getData;

namespace {

// The getters hand out the record's own strings; the C signatures predate const.
char* handedOut(const char* text) { return const_cast<char*>(text); }

// Copying zero numbers needs no buffer, so a null one is accepted then.
void copyNumbers(const double* from, int count, double* to) {
    if (count > 0) std::copy(from, from + count, to);
}

}  // namespace

extern "C" {

int cAnaDataNew(int* handle, int dimno, int valno) {
    if (!handle) return reportNullArgument(__func__);
    if (dimno < 0 || valno < 0) return reportNegativeSize(__func__);
    *handle = qx::c_binding::repository().add(AnaData(dimno, valno));
    return statusOk;
}

int cAnaDataRelease(int handle) {
    qx::c_binding::repository().release(handle);
    return statusOk;
}

int cAnaDataLoad(int* handle, const char* path) {
    if (!handle || !path) return reportNullArgument(__func__);
    return runRecordCall([&] { return qx::loadRecordFile(qx::c_binding::repository(), handle, path); });
}

int cAnaDataSave(int handle, const char* path, int mode) {
    if (!path) return reportNullArgument(__func__);
    return runRecordCall([&] { return qx::saveRecordFile(getData(handle), path, mode); });
}

int cAnaDataGetShotnumber(int handle, int* shotno) {
    if (!shotno) return reportNullArgument(__func__);
    return runRecordCall([&] {
        *shotno = getData(handle).getShotNo();
        return statusOk;
    });
}

int cAnaDataGetSubnumber(int handle, int* subno) {
    if (!subno) return reportNullArgument(__func__);
    // Existing callers rely on this reporting the shot number.
    return runRecordCall([&] {
        *subno = getData(handle).getShotNo();
        return statusOk;
    });
}

int cAnaDataSetShotNumber(int handle, int shotno) {
    return runRecordCall([&] {
        getData(handle).setShotNo(shotno);
        return statusOk;
    });
}

int cAnaDataSetSubnumber(int handle, int subno) {
    return runRecordCall([&] {
        getData(handle).setSubNo(subno);
        return statusOk;
    });
}

int cAnaDataGetDate(int handle, char** date) {
    if (!date) return reportNullArgument(__func__);
    return runRecordCall([&] {
        *date = handedOut(getData(handle).getDate());
        return statusOk;
    });
}

int cAnaDataSetDateNow(int handle) {
    return runRecordCall([&] {
        getData(handle).setDate();
        return statusOk;
    });
}

int cAnaDataSetdate(int handle, const char* date) {
    if (!date) return reportNullArgument(__func__);
    return runRecordCall([&] {
        getData(handle).setDate(qx::withoutTrailingBlanks(date).c_str());
        return statusOk;
    });
}

int cAnaDataGetDiagnostics(int handle, char** name) {
    if (!name) return reportNullArgument(__func__);
    return runRecordCall([&] {
        *name = handedOut(getData(handle).getDiagnostics());
        return statusOk;
    });
}

int cAnaDataSetDiagnostics_(int handle, const char* name) {
    if (!name) return reportNullArgument(__func__);
    return qx::runLookupOnlyCall([&] {
        getData(handle).setDiagnostics(qx::withoutTrailingBlanks(name).c_str());
        return statusOk;
    });
}

int cAnaDataGetComment(int handle, char** comment) {
    if (!comment) return reportNullArgument(__func__);
    return runRecordCall([&] {
        *comment = handedOut(getData(handle).getComment());
        return statusOk;
    });
}

int cAnaDataGetDimNo(int handle, int* n) {
    if (!n) return reportNullArgument(__func__);
    return runRecordCall([&] {
        *n = getData(handle).getDimNo();
        return statusOk;
    });
}

int cAnaDataGetDimName(int handle, int index, char** name) {
    if (!name) return reportNullArgument(__func__);
    return runRecordCall(
        [&] {
            *name = handedOut(getData(handle).getDimName(index));
            return statusOk;
        },
        NotAllocatedNotice::printed);
}

int cAnaDataGetDimUnit(int handle, int index, char** unit) {
    if (!unit) return reportNullArgument(__func__);
    return runRecordCall([&] {
        *unit = handedOut(getData(handle).getDimUnit(index));
        return statusOk;
    });
}

int cAnaDataGetDimUnit2(int handle, const char* name, char** unit) {
    if (!name || !unit) return reportNullArgument(__func__);
    return runRecordCall([&] {
        *unit = handedOut(getData(handle).getDimUnit(name));
        return statusOk;
    });
}

int cAnaDataGetValName(int handle, int index, char** name) {
    if (!name) return reportNullArgument(__func__);
    return runRecordCall([&] {
        *name = handedOut(getData(handle).getValName(index));
        return statusOk;
    });
}

int cAnaDataGetValUnit(int handle, int index, char** unit) {
    if (!unit) return reportNullArgument(__func__);
    return runRecordCall([&] {
        *unit = handedOut(getData(handle).getValUnit(index));
        return statusOk;
    });
}

int cAnaDataGetValUnit2(int handle, const char* name, char** unit) {
    if (!name || !unit) return reportNullArgument(__func__);
    return runRecordCall([&] {
        *unit = handedOut(getData(handle).getValUnit(name));
        return statusOk;
    });
}

int cAnaDataGetDimSize(int handle, int index, int* size) {
    if (!size) return reportNullArgument(__func__);
    return runRecordCall([&] {
        *size = getData(handle).getDimSize(index);
        return statusOk;
    });
}

int cAnaDataGetDimSize2(int handle, const char* name, int* size) {
    if (!name || !size) return reportNullArgument(__func__);
    return runRecordCall([&] {
        *size = getData(handle).getDimSize(name);
        return statusOk;
    });
}

int cAnaDataGetValSize(int handle, int* size) {
    if (!size) return reportNullArgument(__func__);
    return runRecordCall([&] {
        *size = getData(handle).getValSize();
        return statusOk;
    });
}

int cAnaDataGetDimData(int handle, int index, double* buf) {
    const char* const self = __func__;
    return runRecordCall([&] {
        AnaData& record = getData(handle);
        const double* data = record.getDimData(index);
        const int size = record.getDimSize(index);
        if (!buf && size > 0) return reportNullArgument(self);
        copyNumbers(data, size, buf);
        return statusOk;
    });
}

int cAnaDataGetDimData2(int handle, const char* name, double* buf) {
    if (!name) return reportNullArgument(__func__);
    const char* const self = __func__;
    return runRecordCall([&] {
        AnaData& record = getData(handle);
        const double* data = record.getDimData(name);
        const int size = record.getDimSize(name);
        if (!buf && size > 0) return reportNullArgument(self);
        copyNumbers(data, size, buf);
        return statusOk;
    });
}

int cAnaDataGetValData(int handle, double* buf, int index) {
    const char* const self = __func__;
    return runRecordCall([&] {
        AnaData& record = getData(handle);
        const double* data = record.getValData(index);
        const int size = record.getValSize();
        if (!buf && size > 0) return reportNullArgument(self);
        copyNumbers(data, size, buf);
        return statusOk;
    });
}

int cAnaDataGetValData2(int handle, const char* name, double* buf) {
    if (!name) return reportNullArgument(__func__);
    const char* const self = __func__;
    return runRecordCall([&] {
        AnaData& record = getData(handle);
        const double* data = record.getValData(name);
        const int size = record.getValSize();
        if (!buf && size > 0) return reportNullArgument(self);
        copyNumbers(data, size, buf);
        return statusOk;
    });
}

int cAnaDataSetDimData(int handle, int index, const char* name, const char* unit, int size,
                       const double* data) {
    if (!name || !unit || (!data && size > 0)) return reportNullArgument(__func__);
    if (size < 0) return reportNegativeSize(__func__);
    static const double none = 0.0;
    return runRecordCall([&] {
        getData(handle).setDim(index, name, unit, size, data ? data : &none);
        return statusOk;
    });
}

int cAnaDataSetValData(int handle, int index, const char* name, const char* unit, int size,
                       const double* data) {
    if (!name || !unit || (!data && size > 0)) return reportNullArgument(__func__);
    if (size < 0) return reportNegativeSize(__func__);
    static const double none = 0.0;
    return runRecordCall([&] {
        getData(handle).setVal(index, name, unit, size, data ? data : &none);
        return statusOk;
    });
}

const char* cAnaDataLastError(void) {
    return qx::lastFailureText();
}

bool cAnaDataIsDigit(const char* text) {
    if (!text) {
        reportNullArgument(__func__);
        return false;
    }
    return qx::isDigit(text);
}

}  // extern "C"

int cAnaDataGetValnNo(int handle, int* n) {
    if (!n) return reportNullArgument(__func__);
    return runRecordCall([&] {
        *n = getData(handle).getValNo();
        return statusOk;
    });
}
