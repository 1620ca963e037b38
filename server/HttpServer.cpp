// The listening sockets and the event loop over accepted connections: idle ones cost a descriptor,
// a thread serves each request once its head has arrived.
#include "HttpServer.h"

#include <cerrno>
#include <stdexcept>
#include <vector>

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "HttpAnswers.h"
#include "PendingConnection.h"
#include "Service.h"
#include "WorkerPool.h"
#include "soapH.h"

struct HttpServer::Held {
    std::unique_ptr<PendingConnection> connection;
    bool metricsPort = false;
    bool watched = false;  // registered with the loop's epoll
    bool waiting = false;  // counted against its address
};

namespace {

constexpr auto kTick = std::chrono::milliseconds(100);   // deadlines are checked this often
constexpr auto kAnswerTime = std::chrono::seconds(5);    // for the peer to take a short answer

std::string sslError(const std::string& what) {
    char text[256] = "";
    ERR_error_string_n(ERR_get_error(), text, sizeof text);
    return what + ": " + text;
}

int boundPort(int fd) {
    sockaddr_storage local{};
    socklen_t len = sizeof local;
    getsockname(fd, reinterpret_cast<sockaddr*>(&local), &len);
    return local.ss_family == AF_INET6 ? ntohs(reinterpret_cast<sockaddr_in6*>(&local)->sin6_port)
                                       : ntohs(reinterpret_cast<sockaddr_in*>(&local)->sin_port);
}

// A context listening on address:port, non-blocking; throws std::runtime_error.
struct soap* listenOn(struct soap* s, const std::string& address, int port) {
    s->bind_flags = SO_REUSEADDR;
    if (!soap_valid_socket(soap_bind(s, address.c_str(), port, SOMAXCONN))) {
        std::string msg = "cannot listen on " + address + ":" + std::to_string(port);
        if (const char* text = *soap_faultstring(s)) msg += std::string(": ") + text;
        throw std::runtime_error(msg);
    }
    fcntl(s->master, F_SETFL, fcntl(s->master, F_GETFL) | O_NONBLOCK);
    return s;
}

bool isMetricsRequest(const std::string& head) {
    static const std::string request = "GET /metrics";
    return head.compare(0, request.size(), request) == 0 && head.size() > request.size() &&
           (head[request.size()] == ' ' || head[request.size()] == '?');
}

}  // namespace

HttpServer::HttpServer(Service& service, const std::string& address, int port, HttpLimits limits,
                       const TlsFiles& tls, int metricsPort)
    : service_(service), address_(address), limits_(limits) {
    master_ = soap_new();
    if (metricsPort >= 0) metricsMaster_ = soap_new();
    epoll_ = epoll_create1(EPOLL_CLOEXEC);
    try {
        if (!master_ || (metricsPort >= 0 && !metricsMaster_)) throw std::runtime_error("out of memory");
        if (epoll_ < 0) throw std::runtime_error("cannot create the event loop");
        if (!tls.certificate.empty()) loadTls(tls);
        port_ = boundPort(listenOn(master_, address, port)->master);
        if (metricsMaster_) metricsPort_ = boundPort(listenOn(metricsMaster_, address, metricsPort)->master);
    } catch (...) {
        release();
        throw;
    }
}

// The runtime makes the context (TLS 1.2 and 1.3 only, no client certificates); the certificate and
// key come as separate files, which its own loader does not take.
void HttpServer::loadTls(const TlsFiles& tls) {
    if (tls.key.empty()) throw std::runtime_error("--tls-cert needs --tls-key");
    soap_ssl_init();
    if (soap_ssl_server_context(master_, SOAP_SSL_NO_AUTHENTICATION | SOAP_TLSv1_2 | SOAP_TLSv1_3, nullptr, nullptr,
                                nullptr, nullptr, nullptr, nullptr, "anadata-server"))
        throw std::runtime_error("cannot set up TLS: " + std::string(*soap_faultstring(master_)));
    SSL_CTX* ctx = master_->ctx;
    if (SSL_CTX_use_certificate_chain_file(ctx, tls.certificate.c_str()) != 1)
        throw std::runtime_error(sslError("cannot load certificate " + tls.certificate));
    if (SSL_CTX_use_PrivateKey_file(ctx, tls.key.c_str(), SSL_FILETYPE_PEM) != 1)
        throw std::runtime_error(sslError("cannot load private key " + tls.key));
    if (SSL_CTX_check_private_key(ctx) != 1)
        throw std::runtime_error(sslError("private key " + tls.key + " does not match " + tls.certificate));
    tls_ = true;
}

HttpServer::~HttpServer() { release(); }

void HttpServer::release() {
    held_.clear();
    if (epoll_ >= 0) close(epoll_);
    epoll_ = -1;
    for (struct soap** s : {&master_, &metricsMaster_}) {
        if (!*s) continue;
        soap_destroy(*s);
        soap_end(*s);
        soap_free(*s);
        *s = nullptr;
    }
}

std::string HttpServer::url() const {
    std::string host = address_.find(':') != std::string::npos ? "[" + address_ + "]" : address_;
    return (tls_ ? "https://" : "http://") + host + ":" + std::to_string(port_) + "/";
}

void HttpServer::run(const volatile std::sig_atomic_t& stop) {
    WorkerPool workers(service_, limits_.connection, limits_.connections, &cutoff_);
    workers_ = &workers;
    std::vector<int> listeners{master_->master};
    if (metricsMaster_) listeners.push_back(metricsMaster_->master);
    for (int fd : listeners) {
        epoll_event ev{};
        ev.events = EPOLLIN;
        ev.data.fd = fd;
        epoll_ctl(epoll_, EPOLL_CTL_ADD, fd, &ev);
    }
    std::vector<epoll_event> events(256);
    auto nextSweep = Clock::now() + kTick;
    bool acceptPaused = false;
    while (!stop) {
        int n = epoll_wait(epoll_, events.data(), static_cast<int>(events.size()),
                           static_cast<int>(std::chrono::milliseconds(kTick).count()));
        auto now = Clock::now();
        for (int i = 0; i < n; ++i) {
            int fd = events[static_cast<size_t>(i)].data.fd;
            if (fd == listeners[0] || (listeners.size() > 1 && fd == listeners[1])) acceptFrom(fd, now);
            else step(fd, now);
        }
        if (now >= nextSweep) {
            sweep(now);
            nextSweep = now + kTick;
        }
        // Out of descriptors: the listeners rest for a moment rather than wake the loop for nothing.
        bool pause = now < acceptPausedUntil_;
        if (pause != acceptPaused) {
            acceptPaused = pause;
            for (int fd : listeners) {
                epoll_event ev{};
                ev.events = pause ? 0u : static_cast<uint32_t>(EPOLLIN);
                ev.data.fd = fd;
                epoll_ctl(epoll_, EPOLL_CTL_MOD, fd, &ev);
            }
        }
    }
    // New connections are refused from here on; those without a complete head have sent no request
    // yet, and those in hand get the grace period.
    for (struct soap* s : {master_, metricsMaster_})
        if (s && soap_valid_socket(s->master)) {
            close(s->master);
            s->master = SOAP_INVALID_SOCKET;
        }
    held_.clear();
    waitingPerAddress_.clear();
    waiting_ = 0;
    cutoff_ = (Clock::now() + std::chrono::seconds(limits_.graceSeconds)).time_since_epoch().count();
    workers.finish();
    workers_ = nullptr;
}

void HttpServer::acceptFrom(int listener, Clock::time_point now) {
    const bool metricsPort = metricsMaster_ && listener == metricsMaster_->master;
    for (int round = 0; round < 256; ++round) {
        int fd = accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (fd < 0) {
            if (errno == EINTR || errno == ECONNABORTED) continue;
            if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM)
                acceptPausedUntil_ = now + kTick;
            return;
        }
        // An answer leaves in several writes (TLS records, session tickets after the handshake):
        // held back for the client's delayed acknowledgement, each would wait up to 40 ms.
        const int one = 1;
        setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
        if (held_.size() >= static_cast<size_t>(limits_.held)) {
            service_.metrics.refusedConnection(false);
            close(fd);
            continue;
        }
        auto held = std::make_unique<Held>();
        try {
            held->connection = std::make_unique<PendingConnection>(fd, now);
        } catch (const std::bad_alloc&) {
            close(fd);
            continue;
        }
        held->metricsPort = metricsPort;
        held->connection->deadline = now + std::chrono::seconds(limits_.connection.headSeconds);
        if (tls_ && !metricsPort && !held->connection->startTls(master_->ctx)) continue;
        held_[fd] = std::move(held);
        step(fd, now);  // the head may have come with the connection
    }
}

// Moves a held connection on after its socket became ready (or right after accept).
void HttpServer::step(int fd, Clock::time_point now) {
    auto it = held_.find(fd);
    if (it == held_.end()) return;
    Held& held = *it->second;
    PendingConnection& c = *held.connection;
    std::uint64_t bytes = 0;
    PendingConnection::Progress p;
    if (c.answering()) {
        p = c.answer(bytes);
        service_.metrics.sent(bytes);
    } else {
        p = c.readHead(bytes);
        service_.metrics.received(bytes);
    }
    using P = PendingConnection::Progress;
    if (p == P::failed || (p == P::done && c.answering())) return drop(fd);
    if (p == P::done) return headComplete(held, now);
    if (!c.answering() && !held.waiting) {
        auto count = waitingPerAddress_.find(c.addressKey());
        if (count != waitingPerAddress_.end() && count->second >= limits_.perAddress) {
            service_.metrics.refusedConnection(true);
            return drop(fd);
        }
        setWaiting(held, true);
    }
    watch(held, p == P::wantWrite);
}

void HttpServer::headComplete(Held& held, Clock::time_point now) {
    setWaiting(held, false);
    PendingConnection& c = *held.connection;
    if (c.headTooLong())
        return answer(held, faultAnswer("SOAP-ENV:Client", "request head longer than " +
                                                               std::to_string(PendingConnection::kMaxHead) + " bytes"),
                      now);
    if (held.metricsPort || (!metricsMaster_ && isMetricsRequest(c.head()))) {
        if (!isMetricsRequest(c.head())) return answer(held, statusAnswer("404 Not Found"), now);
        return answer(held, plainAnswer("text/plain; version=0.0.4; charset=utf-8", metricsText()), now);
    }
    if (!workers_->hasRoom()) {
        service_.metrics.request(Metrics::kNone, Outcome::busy, 0);
        return answer(held, busyAnswer(ServiceError::busy("all " + std::to_string(limits_.connections) +
                                                          " request threads of the service are busy")),
                      now);
    }
    const int fd = c.fd();
    if (held.watched) epoll_ctl(epoll_, EPOLL_CTL_DEL, fd, nullptr);
    ReceivedHead head = c.release(now);
    if (!workers_->offer(head)) {
        SSL_free(head.ssl);
        close(head.sock);
    }
    held_.erase(fd);
}

void HttpServer::answer(Held& held, std::string text, Clock::time_point now) {
    PendingConnection& c = *held.connection;
    c.deadline = now + kAnswerTime;
    std::uint64_t bytes = 0;
    auto p = c.answer(std::move(text), bytes);
    service_.metrics.sent(bytes);
    if (p == PendingConnection::Progress::done || p == PendingConnection::Progress::failed) return drop(c.fd());
    watch(held, p == PendingConnection::Progress::wantWrite);
}

void HttpServer::watch(Held& held, bool writing) {
    epoll_event ev{};
    ev.events = writing ? EPOLLOUT : EPOLLIN;
    ev.data.fd = held.connection->fd();
    epoll_ctl(epoll_, held.watched ? EPOLL_CTL_MOD : EPOLL_CTL_ADD, ev.data.fd, &ev);
    held.watched = true;
}

void HttpServer::setWaiting(Held& held, bool waiting) {
    if (held.waiting == waiting) return;
    held.waiting = waiting;
    const std::string& key = held.connection->addressKey();
    if (waiting) {
        ++waitingPerAddress_[key];
        ++waiting_;
        return;
    }
    --waiting_;
    auto it = waitingPerAddress_.find(key);
    if (it != waitingPerAddress_.end() && --it->second <= 0) waitingPerAddress_.erase(it);
}

// Closing the descriptor also takes it out of the epoll set.
void HttpServer::drop(int fd) {
    auto it = held_.find(fd);
    if (it == held_.end()) return;
    setWaiting(*it->second, false);
    held_.erase(it);
}

void HttpServer::sweep(Clock::time_point now) {
    std::vector<int> late;
    for (auto& [fd, held] : held_)
        if (held->connection->deadline <= now) late.push_back(fd);
    for (int fd : late) drop(fd);
}

std::string HttpServer::metricsText() {
    MetricsGauges g;
    g.waitingConnections = waiting_;
    g.servedConnections = workers_ ? workers_->inHand() : 0;
    UploadUsage uploads = service_.sessions.usage();
    g.uploadSessions = uploads.sessions;
    g.stagingAnnounced = uploads.announced;
    g.stagedBytes = uploads.received;
    return service_.metrics.render(g);
}
