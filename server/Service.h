// Everything the operations of the service share: settings, store, accounts, sessions, experiment log.
#ifndef ANADATA_SERVER_SERVICE_H
#define ANADATA_SERVER_SERVICE_H

#include <cstdint>
#include <memory>
#include <string>

#include "Accounts.h"
#include "AuditLog.h"
#include "CataloguePool.h"
#include "ExperimentLog.h"
#include "LoginThrottle.h"
#include "Metrics.h"
#include "Store.h"
#include "UploadSessions.h"

struct ServiceLimits {
    int maxBlock = 4 << 20;      // bytes of one "ns:putData" block and most bytes one "ns:getData" returns
    int maxResults = 10000;      // rows of one catalogue answer
    int maxNames = 1000;         // data names in one "ns:listTavolenInfo" filter
    std::int64_t maxFileLength = 0x7fffffff;
    int operations = 8;          // operations that run at once, each with a catalogue connection of its own
    int passwordIterations = Accounts::kDefaultIterations;  // PBKDF2 rounds of passwords set
    LoginLimits logins;
};

struct Service {
    Service(const std::string& storeDir, UploadLimits uploads, ServiceLimits limits, ExperimentLog log)
        : store(storeDir),
          accounts(limits.passwordIterations),
          sessions(store, uploads),
          limits(limits),
          explog(std::move(log)),
          logins(limits.logins),
          catalogues(store.cataloguePath(), limits.operations) {}

    Store store;
    Accounts accounts;
    UploadSessions sessions;
    ServiceLimits limits;
    ExperimentLog explog;
    LoginThrottle logins;
    CataloguePool catalogues;
    std::unique_ptr<AuditLog> audit = std::make_unique<AuditLog>();
    std::string hostname;
    Metrics metrics;
};

// What a connection hands to the operations: the SOAP context's user pointer points to a structure
// whose first member is a pointer to this.
struct RequestContext {
    Service* service;
    std::string client;  // the peer's address, for the login throttle and the audit trail
    // What the operation reports for the metrics; Metrics::kNone until an operation runs.
    int operation = Metrics::kNone;
    Outcome outcome = Outcome::clientError;
};

#endif
