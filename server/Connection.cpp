// One connection of the server at a time, once its request head has arrived: the request within its deadlines, the answer.
//
// The socket is non-blocking and every read and write waits here, against the deadline of the phase
// it belongs to. The runtime's own loops restart their wait each time a byte arrives, so a client
// sending one byte a second would never be cut off by them; for the same reason the TLS records are
// driven here rather than by the runtime.
#include "Connection.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <new>
#include <string>

#include <fcntl.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "HttpAnswers.h"
#include "MessageLimits.h"
#include "soapH.h"

using Clock = std::chrono::steady_clock;
using State = ConnectionServer::State;

namespace {

State& stateOf(struct soap* s) { return *static_cast<State*>(s->user); }

// Waits until the socket is ready for events, at most until deadline, the idle limit and the cutoff
// of a stop.
bool waitFor(const State& c, short events, Clock::time_point deadline) {
    auto until = std::min(deadline, Clock::now() + std::chrono::seconds(c.limits.ioSeconds));
    for (;;) {
        auto limit = until;
        if (c.cutoff) limit = std::min(limit, Clock::time_point(Clock::duration(c.cutoff->load())));
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(limit - Clock::now()).count();
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
    if (c.prefixUsed < c.prefix.size()) {
        n = std::min(n, c.prefix.size() - c.prefixUsed);
        std::memcpy(buf, c.prefix.data() + c.prefixUsed, n);
        c.prefixUsed += n;
        return n;
    }
    auto deadline = c.headDone ? c.requestDeadline : c.headDeadline;
    for (;;) {
        short want = POLLIN;
        if (c.ssl) {
            ERR_clear_error();
            int r = SSL_read(c.ssl, buf, static_cast<int>(std::min<size_t>(n, INT_MAX)));
            if (r > 0) {
                c.bytesIn += static_cast<std::uint64_t>(r);
                return static_cast<size_t>(r);
            }
            int err = SSL_get_error(c.ssl, r);
            if (err == SSL_ERROR_WANT_WRITE) want = POLLOUT;
            else if (err != SSL_ERROR_WANT_READ) return 0;
        } else {
            ssize_t r = recv(c.sock, buf, n, 0);
            c.bytesIn += r > 0 ? static_cast<std::uint64_t>(r) : 0;
            if (r >= 0) return static_cast<size_t>(r);
            if (errno == EINTR) continue;
            if (errno != EAGAIN && errno != EWOULDBLOCK) return 0;
        }
        if (!waitFor(c, want, deadline)) return 0;
    }
}

bool sendAll(State& c, const char* data, size_t n) {
    c.bytesOut += n;
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
    static const std::string reply = faultAnswer("SOAP-ENV:Client", "request is not a complete SOAP message");
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

}  // namespace

ConnectionServer::ConnectionServer(Service& service, const ConnectionLimits& limits, const Cutoff* cutoff)
    : context_{&service, std::string()}, soap_(soap_new()) {
    if (!soap_) throw std::bad_alloc();
    state_.context = &context_;
    state_.limits = limits;
    state_.cutoff = cutoff;
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

void ConnectionServer::serve(ReceivedHead&& head) {
    State& c = state_;
    c.sock = head.sock;
    c.ssl = head.ssl;
    c.prefix = std::move(head.bytes);
    c.prefixUsed = 0;
    c.bytesIn = c.bytesOut = 0;
    c.headDone = false;
    c.answered = false;
    c.headDeadline = head.accepted + std::chrono::seconds(c.limits.headSeconds);
    c.requestDeadline = head.accepted + std::chrono::seconds(c.limits.requestSeconds);
    context_.client = std::move(head.client);
    context_.operation = Metrics::kNone;
    context_.outcome = Outcome::clientError;
    fcntl(c.sock, F_SETFL, fcntl(c.sock, F_GETFL) | O_NONBLOCK);

    struct soap* s = soap_;
    s->socket = c.sock;
    s->keep_alive = 0;
    bool failed = true;
    if (soap_begin_serve(s)) {
        if (!c.answered) sendRawFault(c);
    } else if (soap_serve_request(s) && s->error && s->error < SOAP_STOP) {
        soap_send_fault(s);
    } else {
        failed = s->error != SOAP_OK;
    }
    s->socket = SOAP_INVALID_SOCKET;
    // Counted before the connection closes, so that a client's next scrape sees this request.
    Metrics& metrics = context_.service->metrics;
    metrics.request(context_.operation, context_.outcome,
                    std::chrono::duration<double>(Clock::now() - head.complete).count());
    metrics.received(c.bytesIn);
    metrics.sent(c.bytesOut);
    if (c.ssl) {
        ERR_clear_error();
        SSL_shutdown(c.ssl);  // sends our close_notify; the peer's is not waited for
        SSL_free(c.ssl);
        c.ssl = nullptr;
    }
    if (failed) drain(c.sock);
    else shutdown(c.sock, SHUT_RDWR);
    close(c.sock);
    soap_destroy(s);
    soap_end(s);
}
