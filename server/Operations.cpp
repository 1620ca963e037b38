// The sixteen operations of the service, as the generated dispatcher calls them.
#include <cerrno>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include <unistd.h>

#include "Catalogue.h"
#include "HttpAnswers.h"
#include "Service.h"
#include "ServiceError.h"
#include "Validation.h"
#include "soapH.h"

namespace {

std::string text(const char* p) { return p ? std::string(p) : std::string(); }

char* dup(struct soap* soap, const std::string& s) { return soap_strdup(soap, s.c_str()); }

// What one operation works with: a catalogue connection is held for the whole of it.
struct Call {
    Service& service;
    Catalogue& catalogue;
    const std::string& client;
};

// The fault code tells the kind of error; the fault string is the message users see.
int fault(struct soap* soap, const ServiceError& e) {
    char* message = dup(soap, e.what());
    switch (e.kind()) {
    case ServiceError::Kind::NotFound:
        return soap_sender_fault_subcode(soap, "SOAP-ENV:Client.NotFound", message, nullptr);
    case ServiceError::Kind::Unauthorized:
        return soap_sender_fault_subcode(soap, "SOAP-ENV:Client.Unauthorized", message, nullptr);
    case ServiceError::Kind::Busy: {
        // The wait in a form clients read without parsing the message.
        return soap_receiver_fault_subcode(soap, "SOAP-ENV:Server.Busy", message,
                                           dup(soap, retryAfterDetail(e.retryAfter())));
    }
    case ServiceError::Kind::Internal:
        return soap_receiver_fault(soap, message, nullptr);
    default:
        return soap_sender_fault(soap, message, nullptr);
    }
}

Outcome outcomeOf(ServiceError::Kind kind) {
    switch (kind) {
    case ServiceError::Kind::NotFound: return Outcome::notFound;
    case ServiceError::Kind::Unauthorized: return Outcome::unauthorized;
    case ServiceError::Kind::Busy: return Outcome::busy;
    case ServiceError::Kind::Internal: return Outcome::serverError;
    default: return Outcome::clientError;
    }
}

// Runs the operation of the given name; a ServiceError becomes a fault of its kind.
template <class Body>
int serve(struct soap* soap, const char* operation, Body&& body) {
    auto* ctx = *static_cast<RequestContext**>(soap->user);
    ctx->operation = Metrics::operationIndex(operation);
    ctx->outcome = Outcome::serverError;
    try {
        CataloguePool::Lease catalogue(ctx->service->catalogues);
        Call call{*ctx->service, *catalogue, ctx->client};
        body(call);
        ctx->outcome = Outcome::ok;
        return SOAP_OK;
    } catch (const ServiceError& e) {
        ctx->outcome = outcomeOf(e.kind());
        return fault(soap, e);
    } catch (const std::bad_alloc&) {
        return soap_receiver_fault(soap, "out of memory", nullptr);
    } catch (const std::exception& e) {
        return soap_receiver_fault(soap, dup(soap, e.what()), nullptr);
    }
}

// Checks a login under the throttle; every refusal goes to the audit trail, with the data set the
// request was about (dataSet, as AuditLog::dataSet gives it) if any.
void authenticate(Call& c, const std::string& user, const std::string& password, const std::string& dataSet = "") {
    auto verdict = c.service.logins.check(user, c.client);
    if (verdict.waitSeconds > 0) {
        if (verdict.firstRefusal) c.service.audit->record("login-refused", user, c.client, dataSet + " reason=locked");
        throw ServiceError("too many failed logins, try again in " + std::to_string(verdict.waitSeconds) + " s",
                           ServiceError::Kind::Unauthorized);
    }
    try {
        c.service.accounts.check(c.catalogue, user, password);
    } catch (const ServiceError& e) {
        if (e.kind() == ServiceError::Kind::Unauthorized) {
            c.service.metrics.loginFailed(c.service.logins.failed(user, c.client));
            c.service.audit->record("login-refused", user, c.client, dataSet + " reason=password");
        }
        throw;
    }
    c.service.logins.succeeded(user);
}

std::string describe(const std::string& diag, int shot, int sub) {
    return "data set " + diag + " shot " + std::to_string(shot) + " sub-shot " + std::to_string(sub);
}

void fill(struct soap* soap, const Service& service, const CatalogueEntry& e, ns__TavolenInfo& out) {
    out.diagnostics = dup(soap, e.diagnostics);
    out.server = dup(soap, service.hostname);
    out.directory = dup(soap, service.store.absolute(e.directory));
    out.filename = dup(soap, e.filename);
    out.filedate = dup(soap, e.filedate);
    out.userid = dup(soap, e.userid);
    out.summary = dup(soap, e.summary);
    out.shotno = e.shotno;
    out.subshotno = e.subshotno;
    out.filelen = static_cast<int>(e.filelen);
}

void fill(struct soap* soap, const Service& service, const std::vector<CatalogueEntry>& rows,
          ns__TavolenInfoArray& ary) {
    ary.__size = static_cast<int>(rows.size());
    ary.__ptr = rows.empty() ? nullptr : soap_new_ns__TavolenInfo(soap, ary.__size);
    if (!rows.empty() && !ary.__ptr) throw std::bad_alloc();
    for (size_t i = 0; i < rows.size(); ++i) fill(soap, service, rows[i], ary.__ptr[i]);
}

void fill(struct soap* soap, const std::vector<std::string>& list, ns__StringArray& out) {
    std::vector<const char*> ptrs;
    for (const auto& s : list) ptrs.push_back(s.c_str());
    out = ns__StringArray(soap, ptrs.data(), static_cast<int>(ptrs.size()));
}

}  // namespace

int ns__getTavolenDataPath(struct soap* soap, char* diag, int shot, int sub, char*& path) {
    return serve(soap, "getTavolenDataPath", [&](Call& c) {
        int subshot = effectiveSubshot(sub);
        auto e = c.catalogue.find(text(diag), shot, subshot);
        if (!e) throw ServiceError("unknown " + describe(text(diag), shot, subshot), ServiceError::Kind::NotFound);
        path = dup(soap, c.service.store.absolute(e->relativePath()));
    });
}

int ns__getData(struct soap* soap, char* path, int pos, int size, ns__Binary& bin) {
    return serve(soap, "getData", [&](Call& c) {
        ServiceError unknown("unknown path: " + text(path), ServiceError::Kind::NotFound);
        std::string rel = c.service.store.relative(text(path));
        if (rel.empty() || !c.catalogue.knowsFile(rel)) throw unknown;
        if (pos < 0) throw ServiceError("position " + std::to_string(pos) + " is negative");
        if (size < 0) throw ServiceError("size " + std::to_string(size) + " is negative");
        if (size > c.service.limits.maxBlock) size = c.service.limits.maxBlock;
        int fd = c.service.store.openData(rel);
        if (fd < 0) throw unknown;
        bin.__ptr = static_cast<unsigned char*>(soap_malloc(soap, static_cast<size_t>(size) + 1));
        if (!bin.__ptr) {
            close(fd);
            throw std::bad_alloc();
        }
        size_t done = 0;
        while (done < static_cast<size_t>(size)) {
            ssize_t n = pread(fd, bin.__ptr + done, static_cast<size_t>(size) - done, static_cast<off_t>(pos) + done);
            if (n < 0 && errno == EINTR) continue;
            if (n < 0) {
                int err = errno;
                close(fd);
                throw ServiceError("cannot read " + text(path) + ": " + std::strerror(err),
                                   ServiceError::Kind::Internal);
            }
            if (n == 0) break;
            done += static_cast<size_t>(n);
        }
        close(fd);
        bin.__size = static_cast<int>(done);
    });
}

int ns__getDiagnostics(struct soap* soap, ns__StringArray& diags) {
    return serve(soap, "getDiagnostics", [&](Call& c) { fill(soap, c.catalogue.names(), diags); });
}

int ns__getNumEntry(struct soap* soap, char* diag, int shot, int range, ns__NumEntryArray& ary) {
    return serve(soap, "getNumEntry", [&](Call& c) {
        if (range < 0) throw ServiceError("range " + std::to_string(range) + " is negative");
        auto rows = c.catalogue.shotCounts(text(diag), shot, static_cast<long long>(shot) + range,
                                           c.service.limits.maxResults);
        ary.__size = static_cast<int>(rows.size());
        ary.__ptr = rows.empty() ? nullptr : soap_new_ns__NumEntry(soap, ary.__size);
        if (!rows.empty() && !ary.__ptr) throw std::bad_alloc();
        for (size_t i = 0; i < rows.size(); ++i) {
            ary.__ptr[i].no = rows[i].first;
            ary.__ptr[i].sum = rows[i].second;
        }
    });
}

int ns__getDiagEntry(struct soap* soap, ns__DiagEntryArray& ary) {
    return serve(soap, "getDiagEntry", [&](Call& c) {
        auto rows = c.catalogue.nameCounts();
        ary.__size = static_cast<int>(rows.size());
        ary.__ptr = rows.empty() ? nullptr : soap_new_ns__DiagEntry(soap, ary.__size);
        if (!rows.empty() && !ary.__ptr) throw std::bad_alloc();
        for (size_t i = 0; i < rows.size(); ++i) {
            ary.__ptr[i].diagnostics = dup(soap, rows[i].first);
            ary.__ptr[i].sum = rows[i].second;
        }
    });
}

int ns__getTavolenInfo(struct soap* soap, char* diag, int lower, int higher, ns__TavolenInfoArray& ary) {
    return serve(soap, "getTavolenInfo", [&](Call& c) {
        CatalogueFilter filter;
        filter.names.push_back(text(diag));
        filter.lower = lower;
        filter.higher = higher;
        fill(soap, c.service, c.catalogue.list(filter, c.service.limits.maxResults), ary);
    });
}

int ns__listTavolenInfo(struct soap* soap, ns__StringArray diags, int lower, int higher, int subshot, char* user,
                        int limit, ns__TavolenInfoArray& ary) {
    return serve(soap, "listTavolenInfo", [&](Call& c) {
        if (diags.__size > c.service.limits.maxNames)
            throw ServiceError("more than " + std::to_string(c.service.limits.maxNames) + " data names");
        if (subshot < 0) throw ServiceError("sub-shot number " + std::to_string(subshot) + " is negative");
        CatalogueFilter filter;
        for (int i = 0; i < diags.__size && diags.__ptr; ++i) filter.names.push_back(text(diags.__ptr[i]));
        filter.lower = lower;
        filter.higher = higher;
        filter.subshot = subshot;
        filter.user = text(user);
        filter.limit = limit;
        fill(soap, c.service, c.catalogue.list(filter, c.service.limits.maxResults), ary);
    });
}

int ns__beginTavolenDataRegistration(struct soap* soap, char* user, char* password, bool replace,
                                     ns__TavolenInfo info, char*& session) {
    return serve(soap, "beginTavolenDataRegistration", [&](Call& c) {
        authenticate(c, text(user), text(password),
                     AuditLog::dataSet(text(info.diagnostics), info.shotno, info.subshotno));
        CatalogueEntry entry = entryFromRequest(info, text(user), c.service.limits.maxFileLength);
        if (auto existing = c.catalogue.find(entry.diagnostics, entry.shotno, entry.subshotno)) {
            std::string what = describe(entry.diagnostics, entry.shotno, entry.subshotno);
            if (!replace) throw ServiceError(what + " is already registered");
            if (existing->userid != entry.userid)
                throw ServiceError(what + " was registered by another account", ServiceError::Kind::Unauthorized);
        }
        session = dup(soap, c.service.sessions.begin(entry, replace));
    });
}

int ns__putData(struct soap* soap, char* session, ns__Binary bin, int& ret) {
    return serve(soap, "putData", [&](Call& c) {
        if (bin.__size < 0 || (bin.__size > 0 && !bin.__ptr)) throw ServiceError("malformed block");
        if (bin.__size > c.service.limits.maxBlock)
            throw ServiceError("block of " + std::to_string(bin.__size) + " bytes is larger than " +
                               std::to_string(c.service.limits.maxBlock));
        ret = static_cast<int>(c.service.sessions.append(text(session), bin.__ptr, static_cast<size_t>(bin.__size)));
    });
}

int ns__endTavolenDataRegistration(struct soap* soap, char* session, int& ret) {
    return serve(soap, "endTavolenDataRegistration", [&](Call& c) {
        Committed done = c.service.sessions.end(text(session), c.catalogue);
        const CatalogueEntry& e = done.entry;
        c.service.audit->record(done.replaced ? "replace" : "register", e.userid, c.client,
                                AuditLog::dataSet(e.diagnostics, e.shotno, e.subshotno));
        ret = 0;
    });
}

int ns__abortTavolenDataRegistration(struct soap* soap, char* session, int& ret) {
    return serve(soap, "abortTavolenDataRegistration", [&](Call& c) {
        c.service.sessions.abort(text(session));
        ret = 0;
    });
}

int ns__delTavolenData(struct soap* soap, char* user, char* password, char* diag, int shot, int sub, int& ret) {
    return serve(soap, "delTavolenData", [&](Call& c) {
        authenticate(c, text(user), text(password), AuditLog::dataSet(text(diag), shot, sub));
        int subshot = effectiveSubshot(sub);
        std::string rel = c.catalogue.remove(text(diag), shot, subshot, text(user));
        c.service.store.discard(rel);
        c.service.audit->record("delete", text(user), c.client, AuditLog::dataSet(text(diag), shot, subshot));
        ret = 0;
    });
}

int ns__getExplogColumnNames(struct soap* soap, ns__StringArray& name) {
    return serve(soap, "getExplogColumnNames", [&](Call& c) { fill(soap, c.service.explog.columns(), name); });
}

int ns__getExplogColumnValues(struct soap* soap, int shotNo, ns__StringArray& values) {
    return serve(soap, "getExplogColumnValues", [&](Call& c) { fill(soap, c.service.explog.row(shotNo), values); });
}

int ns__getExplogColumnValue(struct soap* soap, int shotNo, char* name, char*& value) {
    return serve(soap, "getExplogColumnValue", [&](Call& c) { value = dup(soap, c.service.explog.value(shotNo, text(name))); });
}

int ns__changePassword(struct soap* soap, char* user, char* oldpass, char* newpass, int& ret) {
    return serve(soap, "changePassword", [&](Call& c) {
        authenticate(c, text(user), text(oldpass));
        c.service.accounts.set(c.catalogue, text(user), text(newpass));
        c.service.audit->record("password", text(user), c.client);
        ret = 0;
    });
}
