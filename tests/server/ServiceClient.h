// A SOAP context for tests that call the service through the generated stubs, with transfer helpers.
#ifndef ANADATA_TEST_SERVICECLIENT_H
#define ANADATA_TEST_SERVICECLIENT_H

#include <string>
#include <vector>

#include <sys/socket.h>

#include "soapH.h"

class ServiceClient {
public:
    explicit ServiceClient(std::string url) : url_(std::move(url)), soap_(soap_new()) {
        soap_->send_timeout = soap_->recv_timeout = 30;
        soap_->socket_flags = MSG_NOSIGNAL;  // a server that hangs up must not kill the test with SIGPIPE
    }
    ~ServiceClient() {
        soap_destroy(soap_);
        soap_end(soap_);
        soap_free(soap_);
    }
    ServiceClient(const ServiceClient&) = delete;
    ServiceClient& operator=(const ServiceClient&) = delete;

    struct soap* soap() { return soap_; }
    const char* url() const { return url_.c_str(); }
    // The fault string of the last failed call, or "" when there is none.
    std::string fault() {
        const char* s = *soap_faultstring(soap_);
        return soap_->error && s ? s : "";
    }

    static ns__TavolenInfo record(char* diag, int shot, int sub, int length, char* filename = nullptr) {
        ns__TavolenInfo info;
        info.diagnostics = diag;
        info.shotno = shot;
        info.subshotno = sub;
        info.filelen = length;
        info.filename = filename;
        return info;
    }

    // begin, one putData per block, end; returns the first failing status (0 when all succeeded).
    int upload(const char* user, const char* pass, ns__TavolenInfo info, const std::string& bytes,
               size_t block = 819200, bool replace = true) {
        info.filelen = static_cast<int>(bytes.size());
        char* session = nullptr;
        if (int rc = soap_call_ns__beginTavolenDataRegistration(soap_, url(), nullptr, const_cast<char*>(user),
                                                                const_cast<char*>(pass), replace, info, session))
            return rc;
        for (size_t pos = 0; pos < bytes.size(); pos += block) {
            ns__Binary bin;
            bin.__ptr = reinterpret_cast<unsigned char*>(const_cast<char*>(bytes.data() + pos));
            bin.__size = static_cast<int>(std::min(block, bytes.size() - pos));
            int ret = 0;
            if (int rc = soap_call_ns__putData(soap_, url(), nullptr, session, bin, ret)) return rc;
        }
        int ret = 0;
        return soap_call_ns__endTavolenDataRegistration(soap_, url(), nullptr, session, ret);
    }

    // getData from offset 0 until an empty block; returns the status and fills bytes.
    int download(char* path, std::string& bytes, int block = 819200) {
        bytes.clear();
        for (;;) {
            ns__Binary bin;
            if (int rc = soap_call_ns__getData(soap_, url(), nullptr, path, static_cast<int>(bytes.size()), block, bin))
                return rc;
            if (bin.__size == 0) return 0;
            bytes.append(reinterpret_cast<char*>(bin.__ptr), static_cast<size_t>(bin.__size));
        }
    }

    std::string pathOf(const char* diag, int shot, int sub) {
        char* path = nullptr;
        if (soap_call_ns__getTavolenDataPath(soap_, url(), nullptr, const_cast<char*>(diag), shot, sub, path) || !path)
            return "";
        return path;
    }

    std::vector<ns__TavolenInfo> list(std::vector<const char*> names, int lower, int higher, int subshot,
                                      const char* user, int limit, int* status = nullptr) {
        ns__StringArray diags(soap_, names.data(), static_cast<int>(names.size()));
        ns__TavolenInfoArray ary;
        int rc = soap_call_ns__listTavolenInfo(soap_, url(), nullptr, diags, lower, higher, subshot,
                                               const_cast<char*>(user), limit, ary);
        if (status) *status = rc;
        if (rc) return {};
        return std::vector<ns__TavolenInfo>(ary.__ptr, ary.__ptr + ary.__size);
    }

private:
    std::string url_;
    struct soap* soap_;
};

#endif
