// https for client contexts: OpenSSL set up once per process, each context verifying its peer.
#include "HttpsClient.h"

#include <cstring>
#include <map>
#include <mutex>

#include <arpa/inet.h>
#include <sys/stat.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include "Endpoint.h"
#include "soapH.h"

namespace {

// Handshakes run on the thread that makes the call, so the verdict is kept per thread until the
// caller turns the failed call into its error.
thread_local std::string certificateRefusal;

int recordVerdict(int ok, X509_STORE_CTX* store) {
    if (!ok) {
        const int error = X509_STORE_CTX_get_error(store);
        certificateRefusal = std::string(error == X509_V_ERR_HOSTNAME_MISMATCH || error == X509_V_ERR_IP_ADDRESS_MISMATCH
                                             ? "certificate does not name the service's host: "
                                             : "certificate refused: ") +
                             X509_verify_cert_error_string(error);
    }
    return ok;
}

// The verifying TLS contexts made so far, by CA file (as it is now) and host, shared by every
// connection to that host: making one loads the CA bundle, which took 20 ms and more for each
// connection. Kept for the life of the process (a few per endpoint at most).
// Never destroyed, so that no context is freed under a connection that outlives static destruction.
std::mutex contextsMutex;
std::map<std::string, SSL_CTX*>& contexts = *new std::map<std::string, SSL_CTX*>;

std::string contextKey(const char* caFile, const std::string& host) {
    std::string key = host + '\n' + (caFile != nullptr ? caFile : "");
    struct stat info {};
    // A CA file replaced meanwhile gets a context of its own.
    if (caFile != nullptr && *caFile != '\0' && stat(caFile, &info) == 0)
        key += '\n' + std::to_string(info.st_mtim.tv_sec) + "." + std::to_string(info.st_mtim.tv_nsec) + "/" +
               std::to_string(info.st_size) + "/" + std::to_string(info.st_ino);
    return key;
}

}  // namespace

bool isHttpsEndpoint(const char* endpoint) {
    return endpoint != nullptr && std::strncmp(endpoint, "https://", 8) == 0;
}

int setUpHttps(struct soap* soap, const char* endpoint, const char* caFile) {
    static std::once_flag initialised;
    std::call_once(initialised, [] { soap_ssl_init(); });
    soap->fsslverify = recordVerdict;
    const int flags = SOAP_SSL_REQUIRE_SERVER_AUTHENTICATION | SOAP_TLSv1_2 | SOAP_TLSv1_3;
    const std::string host = anadata::detail::endpointParts(endpoint).host;
    const std::string key = contextKey(caFile, host);
    {
        std::lock_guard<std::mutex> lock(contextsMutex);
        if (const auto found = contexts.find(key); found != contexts.end()) {
            // The context's own reference, released by the runtime with the context.
            SSL_CTX_up_ref(found->second);
            soap->ctx = found->second;
            soap->ssl_flags = flags;
            return SOAP_OK;
        }
    }
    const int status = soap_ssl_client_context(soap, flags, nullptr, nullptr,
                                               caFile != nullptr && *caFile != '\0' ? caFile : nullptr, nullptr, nullptr);
    if (status != SOAP_OK || soap->ctx == nullptr) return status;
    // The name check is OpenSSL's, within the verification, so that a mismatch is refused like any
    // other bad certificate (and reported through recordVerdict).
    X509_VERIFY_PARAM* param = SSL_CTX_get0_param(soap->ctx);
    unsigned char address[16];
    const bool literal = inet_pton(AF_INET, host.c_str(), address) == 1 || inet_pton(AF_INET6, host.c_str(), address) == 1;
    if (literal ? X509_VERIFY_PARAM_set1_ip_asc(param, host.c_str()) != 1
                : X509_VERIFY_PARAM_set1_host(param, host.c_str(), host.size()) != 1)
        return soap_set_sender_error(soap, "SSL/TLS error", "cannot check the certificate against the host name",
                                     SOAP_SSL_ERROR);
    std::lock_guard<std::mutex> lock(contextsMutex);
    if (contexts.emplace(key, soap->ctx).second) SSL_CTX_up_ref(soap->ctx);
    return SOAP_OK;
}

std::string takeCertificateRefusal() {
    std::string refusal;
    refusal.swap(certificateRefusal);
    return refusal;
}
