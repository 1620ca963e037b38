// Everything the operations of the service share: settings, store, accounts, sessions, experiment log.
#ifndef ANADATA_SERVER_SERVICE_H
#define ANADATA_SERVER_SERVICE_H

#include <cstdint>
#include <string>

#include "Accounts.h"
#include "ExperimentLog.h"
#include "Store.h"
#include "UploadSessions.h"

class Catalogue;

struct ServiceLimits {
    int maxBlock = 4 << 20;      // bytes of one "ns:putData" block and most bytes one "ns:getData" returns
    int maxResults = 10000;      // rows of one catalogue answer
    int maxNames = 1000;         // data names in one "ns:listTavolenInfo" filter
    std::int64_t maxFileLength = 0x7fffffff;
};

struct Service {
    Service(const std::string& storeDir, UploadLimits uploads, ServiceLimits limits, ExperimentLog log)
        : store(storeDir), sessions(store, uploads), limits(limits), explog(std::move(log)) {}

    Store store;
    Accounts accounts;
    UploadSessions sessions;
    ServiceLimits limits;
    ExperimentLog explog;
    std::string hostname;
};

// What one worker thread hands to the operations: the SOAP context's user pointer points to a
// structure whose first member is a pointer to this.
struct RequestContext {
    Service* service;
    Catalogue* catalogue;
};

#endif
