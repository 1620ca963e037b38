// One connection of the server at a time: the TLS handshake, the request within its deadlines, the answer.
#ifndef ANADATA_SERVER_CONNECTION_H
#define ANADATA_SERVER_CONNECTION_H

#include <atomic>
#include <chrono>

#include "Service.h"

struct soap;
struct ssl_st;
struct ssl_ctx_st;

struct ConnectionLimits {
    int ioSeconds = 30;        // any one wait for the peer
    int headSeconds = 10;      // from accept to the end of the request head, TLS handshake included
    int requestSeconds = 120;  // from accept to the end of the request; the answer has as long again
    unsigned long long maxMessage = 0;  // bytes of one request
};

// Serves connections one after another with a SOAP context of its own; one per thread.
class ConnectionServer {
public:
    // tls: the server's TLS context (owned by the caller), or null for plain HTTP. Once stopping (if
    // given) is true, a request still on its way is given up; one that has arrived is answered.
    ConnectionServer(Service& service, const ConnectionLimits& limits, ssl_ctx_st* tls,
                     const std::atomic<bool>* stopping = nullptr);
    ~ConnectionServer();
    ConnectionServer(const ConnectionServer&) = delete;
    ConnectionServer& operator=(const ConnectionServer&) = delete;

    // Reads one request from sock (a connected stream socket), answers it and closes sock.
    void serve(int sock);

    // What the runtime's hooks see of the connection in hand.
    struct State {
        RequestContext* context;  // first: the operations find it through the user pointer
        ConnectionLimits limits;
        const std::atomic<bool>* stopping;
        int sock = -1;
        ssl_st* ssl = nullptr;
        std::chrono::steady_clock::time_point headDeadline, requestDeadline, answerDeadline;
        bool headDone = false;
        bool answered = false;
        int (*parseHead)(struct soap*) = nullptr;  // the runtime's HTTP head parser
    };

private:
    RequestContext context_;
    State state_;
    ssl_ctx_st* tls_;
    struct soap* soap_;
};

#endif
