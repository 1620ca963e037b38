// How a failed call of the service becomes an Error: faults by their code, local failures by kind.
#include "service_call.h"

#include <cstring>

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

// A fault the service sent: "Client.NotFound", "Client.Unauthorized" and "Server.Busy" (SOAP 1.1
// dotted codes) say what was refused; any other code is a plain refusal.
ErrorCode faultCode(const std::string& code, ErrorCode plainFault) {
    if (endsWith(code, ".NotFound")) return ErrorCode::not_found;
    if (endsWith(code, ".Unauthorized")) return ErrorCode::unauthorized;
    if (endsWith(code, ".Busy")) return ErrorCode::busy;
    return plainFault;
}

bool isServiceFault(int status) {
    return status == SOAP_CLI_FAULT || status == SOAP_SVR_FAULT || status == SOAP_FAULT;
}

}  // namespace

void throwCallFailure(struct soap* soap, int status, const std::string& what, ErrorCode plainFault,
                      std::chrono::steady_clock::time_point started, const ConnectionSettings& settings) {
    const std::string faultString = textOf(soap_faultstring(soap));
    if (isServiceFault(status)) {
        // The service's own words are the message.
        throw Error(faultCode(textOf(soap_faultcode(soap)), plainFault),
                    faultString.empty() ? what + ": refused by the service" : faultString);
    }

    std::string detail = faultString;
    const std::string more = textOf(soap_faultdetail(soap));
    if (!more.empty()) detail += (detail.empty() ? "" : ": ") + more;
    const std::string message = what + ": " + (detail.empty() ? "error " + std::to_string(status) : detail);

    const auto elapsed = std::chrono::steady_clock::now() - started;
    const auto quickest = std::min(settings.ioTimeout, settings.requestTimeout);
    const bool timedOut = elapsed >= quickest - std::chrono::milliseconds(200);

    switch (status) {
    case SOAP_EOF:
    case SOAP_TCP_ERROR:
    case SOAP_UDP_ERROR:
        throw Error(timedOut ? ErrorCode::timeout : ErrorCode::transport, message);
    case SOAP_SSL_ERROR: {
        // A handshake that fails on the peer's certificate or name, rather than on the connection.
        const std::string refusal = takeCertificateRefusal();
        if (!refusal.empty()) throw Error(ErrorCode::certificate, what + ": " + refusal);
        throw Error(timedOut ? ErrorCode::timeout : ErrorCode::transport, message);
    }
    case SOAP_HTTP_ERROR:
        throw Error(ErrorCode::transport, message);
    default:
        break;
    }
    // HTTP status codes come back as the status itself; a success status means that the body
    // was no SOAP message at all.
    if (status >= 200 && status < 300) throw Error(ErrorCode::protocol, what + ": the reply is not a SOAP message");
    if (status >= 100 && status < 600) throw Error(ErrorCode::transport, what + ": HTTP status " + std::to_string(status));
    // Everything else is a reply that does not read as one: malformed, over-long, of another kind.
    throw Error(timedOut ? ErrorCode::timeout : ErrorCode::protocol, message);
}

}  // namespace anadata::detail
