// Constructors of the service types: every field starts as zero or null.
#include "soapH.h"

ns__Binary::ns__Binary() : __ptr(nullptr), __size(0) {}

ns__StringArray::ns__StringArray() : __ptr(nullptr), __size(0) {}

ns__StringArray::ns__StringArray(struct soap* soap, const char** list, int n) : __ptr(nullptr), __size(n) {
    if (n <= 0) {
        __size = 0;
        return;
    }
    __ptr = static_cast<char**>(soap_malloc(soap, sizeof(char*) * static_cast<size_t>(n)));
    if (!__ptr) {
        __size = 0;
        return;
    }
    for (int i = 0; i < n; ++i) __ptr[i] = list[i] ? soap_strdup(soap, list[i]) : nullptr;
}

ns__TavolenInfo::ns__TavolenInfo()
    : diagnostics(nullptr), server(nullptr), directory(nullptr), filename(nullptr), filedate(nullptr),
      userid(nullptr), summary(nullptr), shotno(0), subshotno(0), filelen(0) {}

ns__TavolenInfoArray::ns__TavolenInfoArray() : __ptr(nullptr), __size(0) {}

ns__NumEntry::ns__NumEntry() : no(0), sum(0) {}

ns__NumEntryArray::ns__NumEntryArray() : __ptr(nullptr), __size(0) {}

ns__DiagEntry::ns__DiagEntry() : diagnostics(nullptr), sum(0) {}

ns__DiagEntryArray::ns__DiagEntryArray() : __ptr(nullptr), __size(0) {}

ns__TavolenData::ns__TavolenData() : info(nullptr) {}

ns__TavolenDataResponse::ns__TavolenDataResponse() {}

ns__Dummy::ns__Dummy() {}
