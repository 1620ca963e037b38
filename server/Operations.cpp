// The sixteen operations of the service, as the generated dispatcher calls them.
#include <cerrno>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "Catalogue.h"
#include "Service.h"
#include "ServiceError.h"
#include "Validation.h"
#include "soapH.h"

namespace {

std::string text(const char* p) { return p ? std::string(p) : std::string(); }

char* dup(struct soap* soap, const std::string& s) { return soap_strdup(soap, s.c_str()); }

// Runs one operation; a ServiceError becomes a fault whose string is its message.
template <class Body>
int serve(struct soap* soap, Body&& body) {
    auto* ctx = *static_cast<RequestContext**>(soap->user);
    try {
        body(*ctx->service, *ctx->catalogue);
        return SOAP_OK;
    } catch (const ServiceError& e) {
        return e.internal() ? soap_receiver_fault(soap, dup(soap, e.what()), nullptr)
                            : soap_sender_fault(soap, dup(soap, e.what()), nullptr);
    } catch (const std::bad_alloc&) {
        return soap_receiver_fault(soap, "out of memory", nullptr);
    } catch (const std::exception& e) {
        return soap_receiver_fault(soap, dup(soap, e.what()), nullptr);
    }
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
    return serve(soap, [&](Service& service, Catalogue& catalogue) {
        int subshot = effectiveSubshot(sub);
        auto e = catalogue.find(text(diag), shot, subshot);
        if (!e) throw ServiceError("unknown " + describe(text(diag), shot, subshot));
        path = dup(soap, service.store.absolute(e->relativePath()));
    });
}

int ns__getData(struct soap* soap, char* path, int pos, int size, ns__Binary& bin) {
    return serve(soap, [&](Service& service, Catalogue& catalogue) {
        std::string rel = service.store.relative(text(path));
        if (rel.empty() || !catalogue.knowsFile(rel)) throw ServiceError("unknown path: " + text(path));
        if (pos < 0) throw ServiceError("position " + std::to_string(pos) + " is negative");
        if (size < 0) throw ServiceError("size " + std::to_string(size) + " is negative");
        if (size > service.limits.maxBlock) size = service.limits.maxBlock;
        int fd = open(service.store.absolute(rel).c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0) throw ServiceError("unknown path: " + text(path));
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
                throw ServiceError("cannot read " + text(path) + ": " + std::strerror(err), true);
            }
            if (n == 0) break;
            done += static_cast<size_t>(n);
        }
        close(fd);
        bin.__size = static_cast<int>(done);
    });
}

int ns__getDiagnostics(struct soap* soap, ns__StringArray& diags) {
    return serve(soap, [&](Service&, Catalogue& catalogue) { fill(soap, catalogue.names(), diags); });
}

int ns__getNumEntry(struct soap* soap, char* diag, int shot, int range, ns__NumEntryArray& ary) {
    return serve(soap, [&](Service& service, Catalogue& catalogue) {
        if (range < 0) throw ServiceError("range " + std::to_string(range) + " is negative");
        auto rows = catalogue.shotCounts(text(diag), shot, static_cast<long long>(shot) + range,
                                         service.limits.maxResults);
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
    return serve(soap, [&](Service&, Catalogue& catalogue) {
        auto rows = catalogue.nameCounts();
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
    return serve(soap, [&](Service& service, Catalogue& catalogue) {
        CatalogueFilter filter;
        filter.names.push_back(text(diag));
        filter.lower = lower;
        filter.higher = higher;
        fill(soap, service, catalogue.list(filter, service.limits.maxResults), ary);
    });
}

int ns__listTavolenInfo(struct soap* soap, ns__StringArray diags, int lower, int higher, int subshot, char* user,
                        int limit, ns__TavolenInfoArray& ary) {
    return serve(soap, [&](Service& service, Catalogue& catalogue) {
        if (diags.__size > service.limits.maxNames)
            throw ServiceError("more than " + std::to_string(service.limits.maxNames) + " data names");
        if (subshot < 0) throw ServiceError("sub-shot number " + std::to_string(subshot) + " is negative");
        CatalogueFilter filter;
        for (int i = 0; i < diags.__size && diags.__ptr; ++i) filter.names.push_back(text(diags.__ptr[i]));
        filter.lower = lower;
        filter.higher = higher;
        filter.subshot = subshot;
        filter.user = text(user);
        filter.limit = limit;
        fill(soap, service, catalogue.list(filter, service.limits.maxResults), ary);
    });
}

int ns__beginTavolenDataRegistration(struct soap* soap, char* user, char* password, bool replace,
                                     ns__TavolenInfo info, char*& session) {
    return serve(soap, [&](Service& service, Catalogue& catalogue) {
        service.accounts.check(catalogue, text(user), text(password));
        CatalogueEntry entry = entryFromRequest(info, text(user), service.limits.maxFileLength);
        if (!replace && catalogue.find(entry.diagnostics, entry.shotno, entry.subshotno))
            throw ServiceError(describe(entry.diagnostics, entry.shotno, entry.subshotno) + " is already registered");
        session = dup(soap, service.sessions.begin(entry, replace));
    });
}

int ns__putData(struct soap* soap, char* session, ns__Binary bin, int& ret) {
    return serve(soap, [&](Service& service, Catalogue&) {
        if (bin.__size < 0 || (bin.__size > 0 && !bin.__ptr)) throw ServiceError("malformed block");
        if (bin.__size > service.limits.maxBlock)
            throw ServiceError("block of " + std::to_string(bin.__size) + " bytes is larger than " +
                               std::to_string(service.limits.maxBlock));
        ret = static_cast<int>(service.sessions.append(text(session), bin.__ptr, static_cast<size_t>(bin.__size)));
    });
}

int ns__endTavolenDataRegistration(struct soap* soap, char* session, int& ret) {
    return serve(soap, [&](Service& service, Catalogue& catalogue) {
        service.sessions.end(text(session), catalogue);
        ret = 0;
    });
}

int ns__abortTavolenDataRegistration(struct soap* soap, char* session, int& ret) {
    return serve(soap, [&](Service& service, Catalogue&) {
        service.sessions.abort(text(session));
        ret = 0;
    });
}

int ns__delTavolenData(struct soap* soap, char* user, char* password, char* diag, int shot, int sub, int& ret) {
    return serve(soap, [&](Service& service, Catalogue& catalogue) {
        service.accounts.check(catalogue, text(user), text(password));
        std::string rel = catalogue.remove(text(diag), shot, effectiveSubshot(sub), text(user));
        service.store.discard(rel);
        ret = 0;
    });
}

int ns__getExplogColumnNames(struct soap* soap, ns__StringArray& name) {
    return serve(soap, [&](Service& service, Catalogue&) { fill(soap, service.explog.columns(), name); });
}

int ns__getExplogColumnValues(struct soap* soap, int shotNo, ns__StringArray& values) {
    return serve(soap, [&](Service& service, Catalogue&) { fill(soap, service.explog.row(shotNo), values); });
}

int ns__getExplogColumnValue(struct soap* soap, int shotNo, char* name, char*& value) {
    return serve(soap,
                 [&](Service& service, Catalogue&) { value = dup(soap, service.explog.value(shotNo, text(name))); });
}

int ns__changePassword(struct soap* soap, char* user, char* oldpass, char* newpass, int& ret) {
    return serve(soap, [&](Service& service, Catalogue& catalogue) {
        service.accounts.check(catalogue, text(user), text(oldpass));
        service.accounts.set(catalogue, text(user), text(newpass));
        ret = 0;
    });
}
