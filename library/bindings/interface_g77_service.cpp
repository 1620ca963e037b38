// The g77anadata*_ and g77explog*_ entry points built on the record's service members and the
// experiment log.
#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "anadata.h"
#include "anadata_c.h"
#include "anadata_export.h"
#include "binding_calls.h"
#include "bounded_copy.h"
#include "explog.h"
#include "fortran_repository.h"
#include "fortran_strings.h"

using qx::AnaData;
using qx::AnaDataException;
using qx::DBException;
using qx::FortranFill;
using qx::FortranLength;
using qx::reportNullArgument;
using qx::reportRefusal;
using qx::runReportingCall;
using qx::statusOk;

extern "C" {

ANADATA_API int g77anadataregist_(int* handle) {
    if (!handle) return reportNullArgument(__func__);
    return qx::runRecordCall([&] {
        qx::fortran_binding::getData(*handle).regist();
        return statusOk;
    });
}

ANADATA_API int g77anadataretrieve_(int* handle, char* diag, int* shot, int* subshot, FortranLength diaglen) {
    if (!handle || !diag || !shot || !subshot) return reportNullArgument(__func__);
    const std::string name = qx::fromFortran(diag, diaglen);
    return runReportingCall<AnaDataException>([&] {
        AnaData record = AnaData::retrieve(name.c_str(), *shot, *subshot, false);
        *handle = qx::fortran_binding::repository().add(record);
        return statusOk;
    });
}

ANADATA_API int g77exploggetcolumnno_(int* n) {
    if (!n) return reportNullArgument(__func__);
    return cExplogGetColumnNo(n);
}

// The Fortran side passes an array of CHARACTER*256; its hidden length is that of one element.
ANADATA_API int g77exploggetcolumnnames_(char* names, FortranLength /*nameslen*/) {
    if (!names) return reportNullArgument(__func__);
    return runReportingCall<DBException>([&] {
        const std::vector<std::string> columns = qx::ExpLog::getColumnNames();
        for (std::size_t i = 0; i < columns.size(); ++i)
            qx::toFortran(names + qx::columnBufferSize * i, static_cast<FortranLength>(qx::columnBufferSize),
                          columns[i].c_str(), FortranFill::blanks);
        return statusOk;
    });
}

// The value is first copied as the C member copies it (always 256 bytes), then blank-padded to
// the variable's own length, so the variable must hold at least 256 characters.
ANADATA_API int g77exploggetvalue_(int* shotno, char* column, char* value, FortranLength columnlen,
                                   FortranLength valuelen) {
    if (!shotno || !column || !value) return reportNullArgument(__func__);
    const std::string name = qx::fromFortran(column, columnlen);
    try {
        const std::string text = qx::ExpLog::getValue(*shotno, name.c_str());
        qx::copyBounded(value, qx::columnBufferSize, text);
        if (valuelen > 0 && text.size() < static_cast<std::size_t>(valuelen))
            std::memset(value + text.size(), ' ', static_cast<std::size_t>(valuelen) - text.size());
    } catch (const DBException& e) {
        return reportRefusal(e.getMessage());
    } catch (const qx::clsException&) {
        // An unknown shot or column leaves the variable as it was, as in the C member.
    }
    return statusOk;
}

}  // extern "C"
