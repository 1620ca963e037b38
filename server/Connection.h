// One connection of the server at a time, once its request head has arrived: the request within its deadlines, the answer.
#ifndef ANADATA_SERVER_CONNECTION_H
#define ANADATA_SERVER_CONNECTION_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <limits>
#include <string>

#include "Service.h"

struct soap;
struct ssl_st;

struct ConnectionLimits {
    int ioSeconds = 30;        // any one wait for the peer
    int headSeconds = 10;      // from accept to the end of the request head, TLS handshake included
    int requestSeconds = 120;  // from accept to the end of the request; the answer has as long again
    unsigned long long maxMessage = 0;  // bytes of one request
};

// A connection whose request head is complete, as the event loop hands it to a thread.
struct ReceivedHead {
    int sock = -1;
    ssl_st* ssl = nullptr;  // after the handshake, for https
    std::string bytes;      // what the loop read: the head, perhaps with the start of the body
    std::string client;     // the peer's address
    std::chrono::steady_clock::time_point accepted, complete;
};

// When the server stops: the steady clock's time (in its ticks) after which every wait of a
// connection gives up; kNoCutoff until then.
using Cutoff = std::atomic<std::chrono::steady_clock::rep>;
constexpr std::chrono::steady_clock::rep kNoCutoff = std::numeric_limits<std::chrono::steady_clock::rep>::max();

// Serves connections one after another with a SOAP context of its own; one per thread.
class ConnectionServer {
public:
    // cutoff (if given) ends every wait for the peer once the stop's grace period is over.
    ConnectionServer(Service& service, const ConnectionLimits& limits, const Cutoff* cutoff = nullptr);
    ~ConnectionServer();
    ConnectionServer(const ConnectionServer&) = delete;
    ConnectionServer& operator=(const ConnectionServer&) = delete;

    // Reads the rest of the request, answers it, closes the connection and counts it in the metrics.
    void serve(ReceivedHead&& head);

    // What the runtime's hooks see of the connection in hand.
    struct State {
        RequestContext* context;  // first: the operations find it through the user pointer
        ConnectionLimits limits;
        const Cutoff* cutoff;
        int sock = -1;
        ssl_st* ssl = nullptr;
        std::string prefix;  // the bytes the loop read, given to the runtime before the socket's
        std::size_t prefixUsed = 0;
        std::uint64_t bytesIn = 0, bytesOut = 0;
        std::chrono::steady_clock::time_point headDeadline, requestDeadline, answerDeadline;
        bool headDone = false;
        bool answered = false;
        int (*parseHead)(struct soap*) = nullptr;  // the runtime's HTTP head parser
    };

private:
    RequestContext context_;
    State state_;
    struct soap* soap_;
};

#endif
