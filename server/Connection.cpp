// One connection of the server at a time: the TLS handshake, the request within its deadlines, the answer.
//
// The socket is non-blocking and every read and write waits here, against the deadline of the phase
// it belongs to. The runtime's own loops restart their wait each time a byte arrives, so a client
// sending one byte a second would never be cut off by them; for the same reason the handshake and
// the TLS records are driven here rather than by the runtime.
#include "Connection.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <new>
#include <string>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "MessageLimits.h"
#include "soapH.h"

using Clock = std::chrono::steady_clock;
using State = ConnectionServer::State;

namespace {

State& stateOf(struct soap* s) { return *static_cast<State*>(s->user); }

// Waits until the socket is ready for events, at most until deadline and at most the idle limit;
// a stop gives up the wait unless the answer has begun.
bool waitFor(const State& c, short events, Clock::time_point deadline) {
    auto until = std::min(deadline, Clock::now() + std::chrono::seconds(c.limits.ioSeconds));
    for (;;) {
        if (c.stopping && *c.stopping && !c.answered) return false;
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(until - Clock::now()).count();
        if (left <= 0) return false;
        pollfd p{c.sock, events, 0};
        int r = poll(&p, 1, static_cast<int>(std::min<long long>(left, 200)));  // 200 ms: to notice a stop
        if (r > 0) return true;  // also on an error or hang-up, which the next read or write reports
        if (r < 0 && errno != EINTR) return false;
    }
}

// The runtime's receive hook: up to n bytes, 0 at the end of input, on an error or past the deadline.
size_t receive(struct soap* s, char* buf, size_t n) {
    State& c = stateOf(s);
    auto deadline = c.headDone ? c.requestDeadline : c.headDeadline;
    for (;;) {
        short want = POLLIN;
        if (c.ssl) {
            ERR_clear_error();
            int r = SSL_read(c.ssl, buf, static_cast<int>(std::min<size_t>(n, INT_MAX)));
            if (r > 0) return static_cast<size_t>(r);
            int err = SSL_get_error(c.ssl, r);
            if (err == SSL_ERROR_WANT_WRITE) want = POLLOUT;
            else if (err != SSL_ERROR_WANT_READ) return 0;
        } else {
            ssize_t r = recv(c.sock, buf, n, 0);
            if (r >= 0) return static_cast<size_t>(r);
            if (errno == EINTR) continue;
            if (errno != EAGAIN && errno != EWOULDBLOCK) return 0;
        }
        if (!waitFor(c, want, deadline)) return 0;
    }
}

bool sendAll(const State& c, const char* data, size_t n) {
    while (n > 0) {
        short want = POLLOUT;
        if (c.ssl) {
            ERR_clear_error();
            int r = SSL_write(c.ssl, data, static_cast<int>(std::min<size_t>(n, 1 << 30)));
            if (r > 0) {
                data += r;
                n -= static_cast<size_t>(r);
                continue;
            }
            int err = SSL_get_error(c.ssl, r);
            if (err == SSL_ERROR_WANT_READ) want = POLLIN;
            else if (err != SSL_ERROR_WANT_WRITE) return false;
        } else {
            ssize_t r = send(c.sock, data, n, MSG_NOSIGNAL);
            if (r > 0) {
                data += r;
                n -= static_cast<size_t>(r);
                continue;
            }
            if (r < 0 && errno == EINTR) continue;
            if (r < 0 && errno != EAGAIN && errno != EWOULDBLOCK) return false;
        }
        if (!waitFor(c, want, c.answerDeadline)) return false;
    }
    return true;
}

void startAnswer(State& c) {
    if (c.answered) return;
    c.answered = true;
    c.answerDeadline = Clock::now() + std::chrono::seconds(c.limits.requestSeconds);
}

// The runtime's send hook; the answer has its own deadline, counted from its first byte.
int transmit(struct soap* s, const char* data, size_t n) {
    State& c = stateOf(s);
    startAnswer(c);
    return sendAll(c, data, n) ? SOAP_OK : SOAP_EOF;
}

// The runtime's HTTP head parser, after which reads count against the whole request's deadline.
int parseHead(struct soap* s) {
    State& c = stateOf(s);
    int rc = c.parseHead(s);
    c.headDone = true;
    // The runtime takes any head whose first line has a number for its second word as a reply: it
    // would read that reply's body into memory and answer with it. No request starts that way.
    if (s->status > 0 && s->status < SOAP_POST) {
        s->status = 0;
        return soap_sender_fault(s, "request head is the status line of a reply", nullptr);
    }
    return rc;
}

// The worker, not the runtime, closes each connection, so that a request the runtime gives up on
// without an answer (a body that is not XML or is cut short) can still be answered with a fault.
int keepOpen(struct soap*, SOAP_SOCKET) { return SOAP_OK; }
int noShutdown(struct soap*, SOAP_SOCKET, int) { return SOAP_OK; }

// Written directly, since the runtime's fault state is not usable after such a failure.
void sendRawFault(State& c) {
    static const std::string body =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<SOAP-ENV:Envelope xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\"><SOAP-ENV:Body>"
        "<SOAP-ENV:Fault><faultcode>SOAP-ENV:Client</faultcode>"
        "<faultstring>request is not a complete SOAP message</faultstring></SOAP-ENV:Fault>"
        "</SOAP-ENV:Body></SOAP-ENV:Envelope>\n";
    static const std::string reply = "HTTP/1.1 500 Internal Server Error\r\nContent-Type: text/xml; charset=utf-8\r\n"
                                     "Content-Length: " + std::to_string(body.size()) +
                                     "\r\nConnection: close\r\n\r\n" + body;
    startAnswer(c);
    sendAll(c, reply.data(), reply.size());
}

// After a refused request part of it may still be unread; closing then would reset the connection
// and could destroy the fault on its way. Reads what follows, for a bounded time and amount.
void drain(int sock) {
    shutdown(sock, SHUT_WR);
    char buf[16384];
    size_t total = 0;
    for (int rounds = 0; rounds < 10 && total < (8u << 20); ++rounds) {
        pollfd p{sock, POLLIN, 0};
        if (poll(&p, 1, 100) <= 0) break;
        ssize_t n = recv(sock, buf, sizeof buf, 0);
        if (n <= 0) break;
        total += static_cast<size_t>(n);
    }
}

bool handshake(State& c, SSL_CTX* tls) {
    c.ssl = SSL_new(tls);
    if (!c.ssl || SSL_set_fd(c.ssl, c.sock) != 1) return false;
    for (;;) {
        ERR_clear_error();
        int r = SSL_accept(c.ssl);
        if (r == 1) return true;
        int err = SSL_get_error(c.ssl, r);
        short want = err == SSL_ERROR_WANT_READ ? POLLIN : err == SSL_ERROR_WANT_WRITE ? POLLOUT : 0;
        if (!want || !waitFor(c, want, c.headDeadline)) return false;
    }
}

std::string peerAddress(int sock) {
    sockaddr_storage a{};
    socklen_t len = sizeof a;
    char text[INET6_ADDRSTRLEN] = "";
    if (getpeername(sock, reinterpret_cast<sockaddr*>(&a), &len) != 0) return "unknown";
    if (a.ss_family == AF_INET) {
        inet_ntop(AF_INET, &reinterpret_cast<sockaddr_in*>(&a)->sin_addr, text, sizeof text);
    } else if (a.ss_family == AF_INET6) {
        const in6_addr& in6 = reinterpret_cast<sockaddr_in6*>(&a)->sin6_addr;
        if (IN6_IS_ADDR_V4MAPPED(&in6)) inet_ntop(AF_INET, in6.s6_addr + 12, text, sizeof text);
        else inet_ntop(AF_INET6, &in6, text, sizeof text);
    } else {
        return "local";
    }
    return text;
}

}  // namespace

ConnectionServer::ConnectionServer(Service& service, const ConnectionLimits& limits, SSL_CTX* tls,
                                   const std::atomic<bool>* stopping)
    : context_{&service, std::string()}, tls_(tls), soap_(soap_new()) {
    if (!soap_) throw std::bad_alloc();
    state_.context = &context_;
    state_.limits = limits;
    state_.stopping = stopping;
    struct soap* s = soap_;
    // The hooks do the waiting; the runtime reads these only to decide, e.g., that a request which
    // ended early gets no fault from it (sendRawFault answers those).
    s->send_timeout = s->recv_timeout = limits.ioSeconds;
    limitIncomingMessages(s, limits.maxMessage);
    s->maxlevel = 32;
    s->maxoccurs = 100000;
    s->user = &state_;
    state_.parseHead = s->fparse;
    s->fparse = parseHead;
    s->frecv = receive;
    s->fsend = transmit;
    s->fclosesocket = keepOpen;
    s->fshutdownsocket = noShutdown;
}

ConnectionServer::~ConnectionServer() {
    soap_destroy(soap_);
    soap_end(soap_);
    soap_free(soap_);
}

void ConnectionServer::serve(int sock) {
    State& c = state_;
    auto start = Clock::now();
    c.sock = sock;
    c.headDone = false;
    c.answered = false;
    c.headDeadline = start + std::chrono::seconds(c.limits.headSeconds);
    c.requestDeadline = start + std::chrono::seconds(c.limits.requestSeconds);
    context_.client = peerAddress(sock);
    fcntl(sock, F_SETFL, fcntl(sock, F_GETFL) | O_NONBLOCK);

    struct soap* s = soap_;
    s->socket = sock;
    s->keep_alive = 0;
    bool failed = true;
    if (tls_ && !handshake(c, tls_)) {
        failed = false;  // nothing to say to a peer that does not speak TLS, and nothing to drain
    } else if (soap_begin_serve(s)) {
        if (!c.answered) sendRawFault(c);
    } else if (soap_serve_request(s) && s->error && s->error < SOAP_STOP) {
        soap_send_fault(s);
    } else {
        failed = s->error != SOAP_OK;
    }
    s->socket = SOAP_INVALID_SOCKET;
    if (c.ssl) {
        ERR_clear_error();
        SSL_shutdown(c.ssl);  // sends our close_notify; the peer's is not waited for
        SSL_free(c.ssl);
        c.ssl = nullptr;
    }
    if (failed) drain(sock);
    else shutdown(sock, SHUT_RDWR);
    close(sock);
    soap_destroy(s);
    soap_end(s);
}
