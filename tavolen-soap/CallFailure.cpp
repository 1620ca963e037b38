// Reading a failed call: the service's faults by their code, local failures by their kind.
#include "CallFailure.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "Endpoint.h"
#include "TlsProbe.h"
#include "soapH.h"

namespace anadata::detail {

namespace {

std::string textOf(const char** field) {
    return field != nullptr && *field != nullptr ? *field : "";
}

bool endsWith(const std::string& text, const char* suffix) {
    const std::size_t n = std::strlen(suffix);
    return text.size() >= n && text.compare(text.size() - n, n, suffix) == 0;
}

// SOAP 1.1 dotted codes ("Client.NotFound", "Server.Busy") say what was refused.
ErrorCode faultCode(const std::string& code, Operation operation) {
    if (endsWith(code, ".NotFound")) return ErrorCode::not_found;
    if (endsWith(code, ".Unauthorized")) return ErrorCode::unauthorized;
    if (endsWith(code, ".Busy")) return ErrorCode::busy;
    return traitsOf(operation).lookup ? ErrorCode::not_found : ErrorCode::refused;
}

// The service's wait, given as the detail "<retryAfter>N</retryAfter>" of a busy fault.
std::chrono::seconds retryAfterOf(const std::string& detail) {
    static const char open[] = "<retryAfter>";
    const auto at = detail.find(open);
    if (at == std::string::npos) return std::chrono::seconds(0);
    const char* digits = detail.c_str() + at + sizeof open - 1;
    char* end = nullptr;
    const long seconds = std::strtol(digits, &end, 10);
    if (end == digits || *end != '<' || seconds < 0) return std::chrono::seconds(0);
    return std::chrono::seconds(std::min(seconds, 3600L));
}

// A plain HTTP request to a TLS port is hung up on without a byte of reply; asked for a handshake,
// the port then answers as TLS.
bool reachedTlsPort(const Connection& connection, int status, const CallContext& context) {
    const ConnectionSettings& settings = connection.settings();
    // The context's status is the reply's HTTP status once its header has been read.
    const int http = connection.soap()->status;
    if (!settings.probeTls || status != SOAP_EOF || !context.fresh || connection.soap()->buflen != 0 ||
        (http >= 100 && http < 600))
        return false;
    const EndpointParts endpoint = endpointParts(settings.endpoint);
    if (endpoint.https || endpoint.host.empty()) return false;
    const auto limit = std::min<std::chrono::milliseconds>(settings.ioTimeout, std::chrono::seconds(1));
    return answersTls(endpoint.host, endpoint.port, limit);
}

bool isServiceFault(int status) {
    return status == SOAP_CLI_FAULT || status == SOAP_SVR_FAULT || status == SOAP_FAULT;
}

ErrorCode localFailure(int status, bool timedOut, std::string& text) {
    switch (status) {
    case SOAP_EOF:
    case SOAP_TCP_ERROR:
    case SOAP_UDP_ERROR:
    case SOAP_SSL_ERROR:
        return timedOut ? ErrorCode::timeout : ErrorCode::transport;
    case SOAP_HTTP_ERROR:
        return ErrorCode::transport;
    default:
        break;
    }
    // HTTP status codes come back as the status itself; a success status means that the body was
    // no SOAP message at all.
    if (status >= 200 && status < 300) {
        text = "the reply is not a SOAP message";
        return ErrorCode::protocol;
    }
    if (status >= 100 && status < 600) {
        text = "HTTP status " + std::to_string(status);
        return ErrorCode::transport;
    }
    // Everything else is a reply that does not read as one: malformed, over-long, of another kind.
    return timedOut ? ErrorCode::timeout : ErrorCode::protocol;
}

}  // namespace

CallFailure describeFailure(const Connection& connection, Operation operation, int status, const CallContext& context) {
    struct soap* soap = connection.soap();
    CallFailure failure{operation, connection.settings().endpoint, status, soap, ErrorCode::refused,
                        isServiceFault(status), textOf(soap_faultstring(soap))};
    if (failure.serviceFault) {
        failure.code = faultCode(textOf(soap_faultcode(soap)), operation);
        if (failure.code == ErrorCode::busy) failure.retryAfter = retryAfterOf(textOf(soap_faultdetail(soap)));
        return failure;
    }
    // A handshake that failed on the peer's certificate or name, rather than on the connection.
    if (status == SOAP_SSL_ERROR && !context.refusal.empty()) {
        failure.code = ErrorCode::certificate;
        failure.text = context.refusal;
        return failure;
    }
    if (reachedTlsPort(connection, status, context)) {
        failure.code = ErrorCode::transport;
        failure.tlsService = true;
        failure.text = "the port speaks TLS: the endpoint must start with https://";
        return failure;
    }
    const std::string more = textOf(soap_faultdetail(soap));
    if (!more.empty()) failure.text += (failure.text.empty() ? "" : ": ") + more;
    if (failure.text.empty() && status == SOAP_EOF) failure.text = "the connection closed before the whole reply came";
    if (failure.text.empty()) failure.text = "error " + std::to_string(status);
    const auto& settings = connection.settings();
    const auto quickest = std::min(settings.ioTimeout, settings.requestTimeout);
    const bool timedOut = context.elapsed >= quickest - std::chrono::milliseconds(200);
    failure.code = localFailure(status, timedOut, failure.text);
    return failure;
}

}  // namespace anadata::detail
