// Requests written by hand and sent over a plain loopback connection, for what the stubs cannot send.
#ifndef ANADATA_TEST_RAWEXCHANGE_H
#define ANADATA_TEST_RAWEXCHANGE_H

#include <string>

#include "SlowClients.h"

// Sends raw bytes over HTTP and returns the whole answer (the server closes after one request).
inline std::string rawExchange(int port, const std::string& request, bool hangUp = false) {
    int fd = connectLoopback(port);
    std::string answer;
    if (fd >= 0 && send(fd, request.data(), request.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(request.size()) &&
        !hangUp) {
        char buf[4096];
        ssize_t n;
        while ((n = read(fd, buf, sizeof buf)) > 0) answer.append(buf, static_cast<size_t>(n));
    }
    if (fd >= 0) close(fd);
    return answer;
}

// The opening of a SOAP envelope, without its closing ">" so that namespaces can follow.
const std::string envelope =
    "<?xml version=\"1.0\"?><SOAP-ENV:Envelope xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\"";

inline std::string post(const std::string& body) {
    return "POST / HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: text/xml\r\nContent-Length: " +
           std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body;
}

#endif
