// Complete HTTP answers written without the SOAP runtime: faults, the metrics page, a plain status.
#include "HttpAnswers.h"

namespace {

std::string escapeXml(const std::string& text) {
    std::string out;
    for (char c : text) {
        switch (c) {
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '&': out += "&amp;"; break;
        default: out += c;
        }
    }
    return out;
}

std::string message(const char* status, const char* contentType, const std::string& body) {
    return std::string("HTTP/1.1 ") + status + "\r\nContent-Type: " + contentType +
           "\r\nContent-Length: " + std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body;
}

}  // namespace

std::string retryAfterDetail(int seconds) { return "<retryAfter>" + std::to_string(seconds) + "</retryAfter>"; }

std::string faultAnswer(const char* code, const std::string& text, const std::string& detailXml) {
    std::string body =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<SOAP-ENV:Envelope xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\"><SOAP-ENV:Body>"
        "<SOAP-ENV:Fault><faultcode>" + std::string(code) + "</faultcode><faultstring>" + escapeXml(text) +
        "</faultstring>" + (detailXml.empty() ? "" : "<detail>" + detailXml + "</detail>") +
        "</SOAP-ENV:Fault></SOAP-ENV:Body></SOAP-ENV:Envelope>\n";
    return message("500 Internal Server Error", "text/xml; charset=utf-8", body);
}

std::string busyAnswer(const ServiceError& refusal) {
    return faultAnswer("SOAP-ENV:Server.Busy", refusal.what(), retryAfterDetail(refusal.retryAfter()));
}

std::string plainAnswer(const char* contentType, const std::string& body) {
    return message("200 OK", contentType, body);
}

std::string statusAnswer(const char* status) { return message(status, "text/plain; charset=utf-8", std::string(status) + "\n"); }
