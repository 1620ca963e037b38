// A SOAP context for tests that call the service through the generated stubs, with transfer helpers.
#ifndef ANADATA_TEST_SERVICECLIENT_H
#define ANADATA_TEST_SERVICECLIENT_H

#include <string>
#include <utility>
#include <vector>

#include <sys/socket.h>

#include "soapH.h"

// The stubs take char* for every text.
inline char* s(const char* text) { return const_cast<char*>(text); }
inline char* s(const std::string& text) { return const_cast<char*>(text.c_str()); }

inline ns__TavolenInfo dataSet(const char* diag, int shot, int sub, int length = 0, const char* filename = nullptr) {
    ns__TavolenInfo info;
    info.diagnostics = s(diag);
    info.shotno = shot;
    info.subshotno = sub;
    info.filelen = length;
    info.filename = s(filename);
    return info;
}

inline std::vector<std::string> strings(const ns__StringArray& ary) {
    return std::vector<std::string>(ary.__ptr, ary.__ptr + ary.__size);
}

class ServiceClient {
public:
    // caFile: the authority an https server must be signed by.
    explicit ServiceClient(std::string url, const char* caFile = nullptr, int timeout = 30)
        : url_(std::move(url)), soap_(soap_new()) {
        soap_->send_timeout = soap_->recv_timeout = timeout;
        soap_->socket_flags = MSG_NOSIGNAL;  // a server that hangs up must not kill the test with SIGPIPE
        if (caFile) soap_ssl_client_context(soap_, SOAP_SSL_DEFAULT, nullptr, nullptr, caFile, nullptr, nullptr);
    }
    ~ServiceClient() {
        soap_destroy(soap_);
        soap_end(soap_);
        soap_free(soap_);
    }
    ServiceClient(const ServiceClient&) = delete;
    ServiceClient& operator=(const ServiceClient&) = delete;

    const char* url() const { return url_.c_str(); }
    // The fault string of the last failed call, or "" when there is none.
    std::string fault() {
        const char* text = *soap_faultstring(soap_);
        return soap_->error && text ? text : "";
    }

    // The fault string of a call that must fail, or "<accepted>": refused(c.upload(...)) == "message".
    std::string refused(int status) { return status ? fault() : "<accepted>"; }

    // The fault code of the last failed call, e.g. "SOAP-ENV:Client.NotFound", or "" when there is none.
    std::string faultCode() {
        const char* code = *soap_faultcode(soap_);
        return soap_->error && code ? code : "";
    }

    // What the runtime gives as the fault's detail, e.g. "<retryAfter>1</retryAfter>", or "".
    std::string faultDetail() {
        const char** detail = soap_faultdetail(soap_);
        return soap_->error && detail && *detail ? *detail : "";
    }

    // Calls one generated stub on this context and endpoint: call(soap_call_ns__getData, path, pos, size, bin).
    template <class Stub, class... Args>
    int call(Stub stub, Args&&... args) {
        return stub(soap_, url(), nullptr, std::forward<Args>(args)...);
    }

    // beginTavolenDataRegistration; returns the status and sets session.
    int begin(ns__TavolenInfo info, std::string& session, const char* user = "alice", const char* pass = "wonder",
              bool replace = true) {
        char* key = nullptr;
        int rc = call(soap_call_ns__beginTavolenDataRegistration, s(user), s(pass), replace, info, key);
        session = key ? key : "";
        return rc;
    }

    // One putData of bytes; returns the status, and the server's byte count through ret.
    int put(const std::string& session, const std::string& bytes, int* ret = nullptr) {
        ns__Binary bin;
        bin.__ptr = reinterpret_cast<unsigned char*>(s(bytes));
        bin.__size = static_cast<int>(bytes.size());
        int got = 0;
        int rc = call(soap_call_ns__putData, s(session), bin, got);
        if (ret) *ret = got;
        return rc;
    }

    int end(const std::string& session) {
        int ret = 0;
        return call(soap_call_ns__endTavolenDataRegistration, s(session), ret);
    }

    // begin, one putData per block, end; returns the first failing status (0 when all succeeded).
    int upload(const char* user, const char* pass, ns__TavolenInfo info, const std::string& bytes,
               size_t block = 819200, bool replace = true) {
        info.filelen = static_cast<int>(bytes.size());
        std::string session;
        if (int rc = begin(info, session, user, pass, replace)) return rc;
        for (size_t pos = 0; pos < bytes.size(); pos += block)
            if (int rc = put(session, bytes.substr(pos, block))) return rc;
        return end(session);
    }
    int upload(ns__TavolenInfo info, const std::string& bytes) { return upload("alice", "wonder", info, bytes); }

    // getData from offset 0 until an empty block; returns the status and fills bytes.
    int download(const std::string& path, std::string& bytes, int block = 819200) {
        bytes.clear();
        for (;;) {
            ns__Binary bin;
            if (int rc = call(soap_call_ns__getData, s(path), static_cast<int>(bytes.size()), block, bin)) return rc;
            if (bin.__size == 0) return 0;
            bytes.append(reinterpret_cast<char*>(bin.__ptr), static_cast<size_t>(bin.__size));
        }
    }

    std::string pathOf(const char* diag, int shot, int sub) {
        char* path = nullptr;
        return call(soap_call_ns__getTavolenDataPath, s(diag), shot, sub, path) || !path ? "" : path;
    }

    std::vector<ns__TavolenInfo> list(std::vector<const char*> names, int lower, int higher, int subshot,
                                      const char* user, int limit, int* status = nullptr) {
        ns__StringArray diags(soap_, names.data(), static_cast<int>(names.size()));
        ns__TavolenInfoArray ary;
        int rc = call(soap_call_ns__listTavolenInfo, diags, lower, higher, subshot, s(user), limit, ary);
        if (status) *status = rc;
        if (rc) return {};
        return std::vector<ns__TavolenInfo>(ary.__ptr, ary.__ptr + ary.__size);
    }

private:
    std::string url_;
    struct soap* soap_;
};

#endif
