// The requests of the service's operations, their results copied out, and the one path of every failure.
#include "ServiceCalls.h"

#include "DataBlockReply.h"
#include "HttpsClient.h"
#include "soapH.h"

namespace anadata::detail {

namespace {

// The stubs take char* for parameters they only read.
char* text(const char* s) {
    return const_cast<char*>(s);
}

std::string copy(const char* s) {
    return s != nullptr ? s : "";
}

qx::TavolenInfo copyItem(const ns__TavolenInfo& row) {
    qx::TavolenInfo info;
    info.diagnostics = copy(row.diagnostics);
    info.server = copy(row.server);
    info.directory = copy(row.directory);
    info.filename = copy(row.filename);
    info.filedate = copy(row.filedate);
    info.userid = copy(row.userid);
    info.summary = copy(row.summary);
    info.shotno = row.shotno;
    info.subshotno = row.subshotno;
    info.filelen = row.filelen;
    return info;
}

qx::DiagEntry copyItem(const ns__DiagEntry& item) {
    qx::DiagEntry row;
    row.diagnostics = copy(item.diagnostics);
    row.sum = item.sum;
    return row;
}

qx::NumEntry copyItem(const ns__NumEntry& item) {
    qx::NumEntry row;
    row.no = item.no;
    row.sum = item.sum;
    return row;
}

std::string copyItem(const char* item) {
    return copy(item);
}

// Makes a call whose result is a list (`call` fills it) and copies its items into `out`.
template <class Array, class Row, class Call>
int listCall(std::vector<Row>& out, Call&& call) {
    Array items;
    const int status = call(items);
    out.clear();
    for (int i = 0; status == SOAP_OK && items.__ptr != nullptr && i < items.__size; ++i)
        out.push_back(copyItem(items.__ptr[i]));
    return status;
}

}  // namespace

bool ServiceCalls::run(Operation operation, const std::function<int(struct soap*, const char*)>& request) {
    using Clock = std::chrono::steady_clock;
    struct soap* soap = connection_.soap();
    const auto deadline = Clock::now() + connection_.settings().requestTimeout;
    const int transferTimeout = soap->transfer_timeout;
    for (int attempt = 1;; ++attempt) {
        const auto begun = Clock::now();
        takeCertificateRefusal();  // only this call's handshake counts
        CallContext context;
        // A port found not to speak TLS will not start to between attempts: one look is enough.
        context.fresh = attempt == 1 && !soap_valid_socket(soap->socket);
        int status = connection_.setupStatus();
        if (status == SOAP_OK)
            status = request(soap, connection_.settings().endpoint.c_str());
        else
            soap->error = status;  // the set-up's fault is still in the context
        if (status == SOAP_OK) {
            soap->transfer_timeout = transferTimeout;
            return true;
        }
        context.elapsed = Clock::now() - begun;
        context.refusal = takeCertificateRefusal();
        const CallFailure failure = describeFailure(connection_, operation, status, context);
        if (attempt < retry_.attempts && mayRetry(failure)) {
            const auto wait = retryDelay(retry_, attempt + 1, failure);
            // The next attempt gets what is left of the request's time, and at least a second of it.
            const auto left = std::chrono::duration_cast<std::chrono::seconds>(deadline - Clock::now() - wait);
            if (left >= std::chrono::seconds(1) && waitBeforeRetry(retry_, wait)) {
                // The failed connection may be in the middle of a message.
                connection_.close();
                soap->transfer_timeout = static_cast<int>(std::min<long long>(left.count(), transferTimeout));
                continue;
            }
        }
        soap->transfer_timeout = transferTimeout;
        onFailure_(failure);
        return false;
    }
}

bool ServiceCalls::dataPath(const char* name, int shot, int subshot, std::string& path) {
    return run(Operation::dataPath, [&](struct soap* soap, const char* endpoint) {
        char* found = nullptr;
        const int status =
            soap_call_ns__getTavolenDataPath(soap, endpoint, nullptr, text(name), shot, subshot, found);
        path = copy(found);
        return status;
    });
}

bool ServiceCalls::dataBlock(const char* path, int offset, int size, std::vector<unsigned char>& block) {
    return run(Operation::dataBlock, [&](struct soap* soap, const char* endpoint) {
        // The reply is decoded straight into `block`, outside the context's memory.
        int status = soap_send_ns__getData(soap, endpoint, nullptr, text(path), offset, size);
        if (status == SOAP_OK) status = receiveDataBlock(soap, block);
        return status;
    });
}

bool ServiceCalls::beginRegistration(const char* account, const char* password, const RegistrationInfo& info,
                                     std::string& key) {
    return run(Operation::beginRegistration, [&](struct soap* soap, const char* endpoint) {
        ns__TavolenInfo record;  // "server" and "directory" stay null: the service fills them in
        record.shotno = info.shot;
        record.subshotno = info.subshot;
        record.filelen = info.length;
        record.diagnostics = text(info.name);
        record.filename = text(info.fileName);
        record.filedate = text(info.fileDate);
        record.userid = text(info.account);
        record.summary = text(info.summary);
        char* session = nullptr;
        const int status = soap_call_ns__beginTavolenDataRegistration(soap, endpoint, nullptr, text(account),
                                                                      text(password), true, record, session);
        key = copy(session);
        return status;
    });
}

bool ServiceCalls::putBlock(const char* key, const unsigned char* data, int size, int* held) {
    return run(Operation::putBlock, [&](struct soap* soap, const char* endpoint) {
        static const unsigned char nothing = 0;  // an empty block, not a nil one
        ns__Binary block;
        block.__ptr = const_cast<unsigned char*>(data != nullptr ? data : &nothing);
        block.__size = size;
        int ret = -1;
        const int status = soap_call_ns__putData(soap, endpoint, nullptr, text(key), block, ret);
        if (held != nullptr) *held = ret;
        return status;
    });
}

bool ServiceCalls::endRegistration(const char* key) {
    return run(Operation::endRegistration, [&](struct soap* soap, const char* endpoint) {
        int ret = 0;
        return soap_call_ns__endTavolenDataRegistration(soap, endpoint, nullptr, text(key), ret);
    });
}

bool ServiceCalls::abortRegistration(const char* key) {
    return run(Operation::abortRegistration, [&](struct soap* soap, const char* endpoint) {
        int ret = 0;
        return soap_call_ns__abortTavolenDataRegistration(soap, endpoint, nullptr, text(key), ret);
    });
}

bool ServiceCalls::deleteEntry(const char* account, const char* password, const char* name, int shot, int subshot) {
    return run(Operation::deleteEntry, [&](struct soap* soap, const char* endpoint) {
        int ret = 0;
        return soap_call_ns__delTavolenData(soap, endpoint, nullptr, text(account), text(password), text(name), shot,
                                            subshot, ret);
    });
}

bool ServiceCalls::listEntries(const std::vector<std::string>& names, int lower, int higher, int subshot,
                               const char* user, int limit, std::vector<qx::TavolenInfo>& rows) {
    return run(Operation::listEntries, [&](struct soap* soap, const char* endpoint) {
        std::vector<const char*> list;
        for (const auto& n : names) list.push_back(n.c_str());
        ns__StringArray diags(soap, list.data(), static_cast<int>(list.size()));
        if (!list.empty() && diags.__ptr == nullptr) return soap->error = SOAP_EOM;
        return listCall<ns__TavolenInfoArray>(rows, [&](ns__TavolenInfoArray& found) {
            return soap_call_ns__listTavolenInfo(soap, endpoint, nullptr, diags, lower, higher, subshot, text(user),
                                                 limit, found);
        });
    });
}

bool ServiceCalls::names(std::vector<std::string>& names) {
    return run(Operation::names, [&](struct soap* soap, const char* endpoint) {
        return listCall<ns__StringArray>(names, [&](ns__StringArray& items) {
            return soap_call_ns__getDiagnostics(soap, endpoint, nullptr, items);
        });
    });
}

bool ServiceCalls::nameCounts(std::vector<qx::DiagEntry>& rows) {
    return run(Operation::nameCounts, [&](struct soap* soap, const char* endpoint) {
        return listCall<ns__DiagEntryArray>(rows, [&](ns__DiagEntryArray& items) {
            return soap_call_ns__getDiagEntry(soap, endpoint, nullptr, items);
        });
    });
}

bool ServiceCalls::shotCounts(const char* name, int shot, int range, std::vector<qx::NumEntry>& rows) {
    return run(Operation::shotCounts, [&](struct soap* soap, const char* endpoint) {
        return listCall<ns__NumEntryArray>(rows, [&](ns__NumEntryArray& items) {
            return soap_call_ns__getNumEntry(soap, endpoint, nullptr, text(name), shot, range, items);
        });
    });
}

bool ServiceCalls::explogColumns(std::vector<std::string>& columns) {
    return run(Operation::explogColumns, [&](struct soap* soap, const char* endpoint) {
        return listCall<ns__StringArray>(columns, [&](ns__StringArray& items) {
            return soap_call_ns__getExplogColumnNames(soap, endpoint, nullptr, items);
        });
    });
}

bool ServiceCalls::explogRow(int shot, std::vector<std::string>& values) {
    return run(Operation::explogRow, [&](struct soap* soap, const char* endpoint) {
        return listCall<ns__StringArray>(values, [&](ns__StringArray& items) {
            return soap_call_ns__getExplogColumnValues(soap, endpoint, nullptr, shot, items);
        });
    });
}

bool ServiceCalls::explogValue(int shot, const char* column, std::string& value) {
    return run(Operation::explogValue, [&](struct soap* soap, const char* endpoint) {
        char* found = nullptr;
        const int status = soap_call_ns__getExplogColumnValue(soap, endpoint, nullptr, shot, text(column), found);
        value = copy(found);
        return status;
    });
}

bool ServiceCalls::changePassword(const char* account, const char* oldPassword, const char* newPassword) {
    return run(Operation::changePassword, [&](struct soap* soap, const char* endpoint) {
        int ret = 0;
        return soap_call_ns__changePassword(soap, endpoint, nullptr, text(account), text(oldPassword),
                                            text(newPassword), ret);
    });
}

}  // namespace anadata::detail
