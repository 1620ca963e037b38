// The g77anadata*_ entry points: records behind integer handles for Fortran callers.
#include <algorithm>
#include <string>

#include "anadata.h"
#include "anadata_export.h"
#include "binding_calls.h"
#include "fortran_repository.h"
#include "fortran_strings.h"
#include "record_files.h"

namespace qx::fortran_binding {

HandleTable<AnaData>& repository() {
    static HandleTable<AnaData> table;
    return table;
}

AnaData& getData(int handle) { return repository().get(handle); }

}  // namespace qx::fortran_binding

using qx::AnaData;
using qx::FortranFill;
using qx::FortranLength;
using qx::fromFortran;
using qx::reportNegativeSize;
using qx::reportNullArgument;
using qx::runRecordCall;
using qx::statusOk;
using qx::toFortran;
using qx::fortran_binding::getData;

namespace {

// A CHARACTER buffer is usable when it exists or has no length to fill.
bool missing(const char* buffer, FortranLength length) { return !buffer && length > 0; }

void copyNumbers(const double* from, int count, double* to) {
    if (count > 0) std::copy(from, from + count, to);
}

// The body shared by the members that copy a text of the record into a CHARACTER argument.
template <typename Getter>
int textOut(const char* function, int* handle, char* buffer, FortranLength length, FortranFill fill,
            Getter getter) {
    if (!handle || missing(buffer, length)) return reportNullArgument(function);
    return runRecordCall([&] {
        toFortran(buffer, length, getter(getData(*handle)), fill);
        return statusOk;
    });
}

// The body shared by the members that store one integer of the record.
template <typename Getter>
int numberOut(const char* function, int* handle, int* out, Getter getter) {
    if (!handle || !out) return reportNullArgument(function);
    return runRecordCall([&] {
        *out = getter(getData(*handle));
        return statusOk;
    });
}

// The body shared by the members that copy a column of numbers; sizeOf is asked after dataOf so
// that an index error carries the message of the data getter.
template <typename Data, typename Size>
int numbersOut(const char* function, int* handle, double* buffer, Data dataOf, Size sizeOf) {
    if (!handle) return reportNullArgument(function);
    return runRecordCall([&] {
        AnaData& record = getData(*handle);
        const double* data = dataOf(record);
        const int size = sizeOf(record);
        if (!buffer && size > 0) return reportNullArgument(function);
        copyNumbers(data, size, buffer);
        return statusOk;
    });
}

}  // namespace

extern "C" {

ANADATA_API int g77anadatanew_(int* handle, int* dimno, int* valno) {
    if (!handle || !dimno || !valno) return reportNullArgument(__func__);
    if (*dimno < 0 || *valno < 0) return reportNegativeSize(__func__);
    *handle = qx::fortran_binding::repository().add(AnaData(*dimno, *valno));
    return statusOk;
}

ANADATA_API int g77anadatarelease_(int* handle) {
    if (!handle) return reportNullArgument(__func__);
    qx::fortran_binding::repository().release(*handle);
    return statusOk;
}

ANADATA_API int g77anadataload_(int* handle, char* path, FortranLength pathlen) {
    if (!handle || missing(path, pathlen)) return reportNullArgument(__func__);
    const std::string file = path ? fromFortran(path, pathlen) : std::string();
    return runRecordCall(
        [&] { return qx::loadRecordFile(qx::fortran_binding::repository(), handle, file.c_str()); });
}

ANADATA_API int g77anadatasave_(int* handle, char* path, int* mode, FortranLength pathlen) {
    if (!handle || !mode || missing(path, pathlen)) return reportNullArgument(__func__);
    const std::string file = path ? fromFortran(path, pathlen) : std::string();
    return runRecordCall([&] { return qx::saveRecordFile(getData(*handle), file.c_str(), *mode); });
}

ANADATA_API int g77anadatagetshotnumber_(int* handle, int* shotno) {
    return numberOut(__func__, handle, shotno, [](AnaData& r) { return r.getShotNo(); });
}

ANADATA_API int g77anadatagetsubnumber_(int* handle, int* subno) {
    // Reports the shot number, as the C member does; existing programs rely on it.
    return numberOut(__func__, handle, subno, [](AnaData& r) { return r.getShotNo(); });
}

ANADATA_API int g77anadatasetshotnumber_(int* handle, int* shotno) {
    if (!handle || !shotno) return reportNullArgument(__func__);
    return runRecordCall([&] {
        getData(*handle).setShotNo(*shotno);
        return statusOk;
    });
}

ANADATA_API int g77anadatasetsubnumber_(int* handle, int* subno) {
    if (!handle || !subno) return reportNullArgument(__func__);
    return runRecordCall([&] {
        getData(*handle).setSubNo(*subno);
        return statusOk;
    });
}

ANADATA_API int g77anadatagetdate_(int* handle, char* date, FortranLength datelen) {
    return textOut(__func__, handle, date, datelen, FortranFill::blanks,
                   [](AnaData& r) { return r.getDate(); });
}

ANADATA_API int g77anadatasetdate_(int* handle, char* date, FortranLength datelen) {
    if (!handle || missing(date, datelen)) return reportNullArgument(__func__);
    const std::string text = date ? fromFortran(date, datelen) : std::string();
    return runRecordCall([&] {
        getData(*handle).setDate(text.c_str());
        return statusOk;
    });
}

ANADATA_API int g77anadatasetdatenow_(int* handle) {
    if (!handle) return reportNullArgument(__func__);
    return runRecordCall([&] {
        getData(*handle).setDate();
        return statusOk;
    });
}

ANADATA_API int g77anadatagetdiagnostics_(int* handle, char* name, FortranLength namelen) {
    return textOut(__func__, handle, name, namelen, FortranFill::blanks,
                   [](AnaData& r) { return r.getDiagnostics(); });
}

ANADATA_API int g77anadatasetdiagnostics_(int* handle, char* name, FortranLength namelen) {
    if (!handle || missing(name, namelen)) return reportNullArgument(__func__);
    const std::string text = name ? fromFortran(name, namelen) : std::string();
    return qx::runLookupOnlyCall([&] {
        getData(*handle).setDiagnostics(text.c_str());
        return statusOk;
    });
}

ANADATA_API int g77anadatagetdimno_(int* handle, int* n) {
    return numberOut(__func__, handle, n, [](AnaData& r) { return r.getDimNo(); });
}

ANADATA_API int g77anadatagetvalno_(int* handle, int* n) {
    return numberOut(__func__, handle, n, [](AnaData& r) { return r.getValNo(); });
}

ANADATA_API int g77anadatagetdimname_(int* handle, int* index, char* name, FortranLength namelen) {
    if (!handle || !index || missing(name, namelen)) return reportNullArgument(__func__);
    return runRecordCall(
        [&] {
            toFortran(name, namelen, getData(*handle).getDimName(*index), FortranFill::blanks);
            return statusOk;
        },
        qx::NotAllocatedNotice::printed);
}

ANADATA_API int g77anadatagetvalname_(int* handle, int* index, char* name, FortranLength namelen) {
    if (!index) return reportNullArgument(__func__);
    return textOut(__func__, handle, name, namelen, FortranFill::blanks,
                   [&](AnaData& r) { return r.getValName(*index); });
}

// Units by position: the dimension's comes back NUL-filled, the value's blank-padded. Programs
// written against these members expect exactly that.
ANADATA_API int g77anadatagetdimunit_(int* handle, int* index, char* unit, FortranLength unitlen) {
    if (!index) return reportNullArgument(__func__);
    return textOut(__func__, handle, unit, unitlen, FortranFill::nuls,
                   [&](AnaData& r) { return r.getDimUnit(*index); });
}

ANADATA_API int g77anadatagetvalunit_(int* handle, int* index, char* unit, FortranLength unitlen) {
    if (!index) return reportNullArgument(__func__);
    return textOut(__func__, handle, unit, unitlen, FortranFill::blanks,
                   [&](AnaData& r) { return r.getValUnit(*index); });
}

ANADATA_API int g77anadatagetdimunit2_(int* handle, char* name, char* unit, FortranLength namelen,
                                       FortranLength unitlen) {
    if (missing(name, namelen)) return reportNullArgument(__func__);
    const std::string key = name ? fromFortran(name, namelen) : std::string();
    return textOut(__func__, handle, unit, unitlen, FortranFill::nuls,
                   [&](AnaData& r) { return r.getDimUnit(key.c_str()); });
}

ANADATA_API int g77anadatagetvalunit2_(int* handle, char* name, char* unit, FortranLength namelen,
                                       FortranLength unitlen) {
    if (missing(name, namelen)) return reportNullArgument(__func__);
    const std::string key = name ? fromFortran(name, namelen) : std::string();
    return textOut(__func__, handle, unit, unitlen, FortranFill::nuls,
                   [&](AnaData& r) { return r.getValUnit(key.c_str()); });
}

ANADATA_API int g77anadatagetdimsize_(int* handle, int* index, int* size) {
    if (!index) return reportNullArgument(__func__);
    return numberOut(__func__, handle, size, [&](AnaData& r) { return r.getDimSize(*index); });
}

ANADATA_API int g77anadatagetdimsize2_(int* handle, char* name, int* size, FortranLength namelen) {
    if (missing(name, namelen)) return reportNullArgument(__func__);
    const std::string key = name ? fromFortran(name, namelen) : std::string();
    return numberOut(__func__, handle, size, [&](AnaData& r) { return r.getDimSize(key.c_str()); });
}

ANADATA_API int g77anadatagetvalsize_(int* handle, int* size) {
    return numberOut(__func__, handle, size, [](AnaData& r) { return r.getValSize(); });
}

ANADATA_API int g77anadatagetdimdata_(int* handle, int* index, double* buf) {
    if (!index) return reportNullArgument(__func__);
    return numbersOut(
        __func__, handle, buf, [&](AnaData& r) { return r.getDimData(*index); },
        [&](AnaData& r) { return r.getDimSize(*index); });
}

ANADATA_API int g77anadatagetdimdata2_(int* handle, char* name, double* buf, FortranLength namelen) {
    if (missing(name, namelen)) return reportNullArgument(__func__);
    const std::string key = name ? fromFortran(name, namelen) : std::string();
    return numbersOut(
        __func__, handle, buf, [&](AnaData& r) { return r.getDimData(key.c_str()); },
        [&](AnaData& r) { return r.getDimSize(key.c_str()); });
}

ANADATA_API int g77anadatagetvaldata2_(int* handle, char* name, double* buf, FortranLength namelen) {
    if (missing(name, namelen)) return reportNullArgument(__func__);
    const std::string key = name ? fromFortran(name, namelen) : std::string();
    return numbersOut(
        __func__, handle, buf, [&](AnaData& r) { return r.getValData(key.c_str()); },
        [](AnaData& r) { return r.getValSize(); });
}

ANADATA_API int g77anadatasetdimdata_(int* handle, int* index, char* name, char* unit, int* size,
                                      double* data, FortranLength namelen, FortranLength unitlen) {
    if (!handle || !index || !size || missing(name, namelen) || missing(unit, unitlen) ||
        (!data && *size > 0))
        return reportNullArgument(__func__);
    if (*size < 0) return reportNegativeSize(__func__);
    const std::string key = name ? fromFortran(name, namelen) : std::string();
    const std::string unitText = unit ? fromFortran(unit, unitlen) : std::string();
    static const double none = 0.0;
    return runRecordCall([&] {
        getData(*handle).setDim(*index, key.c_str(), unitText.c_str(), *size, data ? data : &none);
        return statusOk;
    });
}

ANADATA_API int g77anadatasetvaldata_(int* handle, int* index, char* name, char* unit, int* size,
                                      double* data, FortranLength namelen, FortranLength unitlen) {
    if (!handle || !index || !size || missing(name, namelen) || missing(unit, unitlen) ||
        (!data && *size > 0))
        return reportNullArgument(__func__);
    if (*size < 0) return reportNegativeSize(__func__);
    const std::string key = name ? fromFortran(name, namelen) : std::string();
    const std::string unitText = unit ? fromFortran(unit, unitlen) : std::string();
    static const double none = 0.0;
    return runRecordCall([&] {
        getData(*handle).setVal(*index, key.c_str(), unitText.c_str(), *size, data ? data : &none);
        return statusOk;
    });
}

ANADATA_API int g77anadatalasterror_(char* text, FortranLength textlen) {
    if (missing(text, textlen)) return reportNullArgument(__func__);
    toFortran(text, textlen, qx::lastFailureText(), FortranFill::blanks);
    return statusOk;
}

}  // extern "C"

// These two members have C++ linkage: programs reach them through their decorated symbols,
// _Z21g77anadatagetcomment_PiPci and _Z21g77anadatagetvaldata_PiPdS_.
ANADATA_API int g77anadatagetcomment_(int* handle, char* comment, FortranLength commentlen);
ANADATA_API int g77anadatagetvaldata_(int* handle, double* buf, int* index);

int g77anadatagetcomment_(int* handle, char* comment, FortranLength commentlen) {
    return textOut(__func__, handle, comment, commentlen, FortranFill::blanks,
                   [](AnaData& r) { return r.getComment(); });
}

int g77anadatagetvaldata_(int* handle, double* buf, int* index) {
    if (!index) return reportNullArgument(__func__);
    return numbersOut(
        __func__, handle, buf, [&](AnaData& r) { return r.getValData(*index); },
        [](AnaData& r) { return r.getValSize(); });
}
