// https for client contexts: OpenSSL set up once per process, each context verifying its peer.
#include "HttpsClient.h"

#include <cstring>
#include <mutex>

#include "soapH.h"

bool isHttpsEndpoint(const char* endpoint) {
    return endpoint != nullptr && std::strncmp(endpoint, "https://", 8) == 0;
}

int setUpHttps(struct soap* soap, const char* caFile) {
    static std::once_flag initialised;
    std::call_once(initialised, [] { soap_ssl_init(); });
    return soap_ssl_client_context(soap, SOAP_SSL_REQUIRE_SERVER_AUTHENTICATION | SOAP_TLSv1_2 | SOAP_TLSv1_3, nullptr,
                                   nullptr, caFile != nullptr && *caFile != '\0' ? caFile : nullptr, nullptr, nullptr);
}
