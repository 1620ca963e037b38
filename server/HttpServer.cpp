// The listening socket and the bounded pool of worker threads that serve one request per connection.
#include "HttpServer.h"

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "Catalogue.h"
#include "MessageLimits.h"
#include "Service.h"
#include "soapH.h"

HttpServer::HttpServer(Service& service, const std::string& address, int port, HttpLimits limits)
    : service_(service), address_(address), limits_(limits) {
    master_ = soap_new();
    if (!master_) throw std::runtime_error("out of memory");
    master_->bind_flags = SO_REUSEADDR;
    master_->accept_timeout = -200000;  // wake up every 200 ms to notice a stop request
    if (!soap_valid_socket(soap_bind(master_, address.c_str(), port, 128))) {
        std::string msg = "cannot listen on " + address + ":" + std::to_string(port);
        if (const char* s = *soap_faultstring(master_)) msg += std::string(": ") + s;
        soap_free(master_);
        throw std::runtime_error(msg);
    }
    sockaddr_storage local{};
    socklen_t len = sizeof local;
    getsockname(master_->master, reinterpret_cast<sockaddr*>(&local), &len);
    port_ = local.ss_family == AF_INET6 ? ntohs(reinterpret_cast<sockaddr_in6*>(&local)->sin6_port)
                                        : ntohs(reinterpret_cast<sockaddr_in*>(&local)->sin_port);
}

HttpServer::~HttpServer() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    ready_.notify_all();
    space_.notify_all();
    for (auto& t : workers_)
        if (t.joinable()) t.join();
    for (int fd : pending_) close(fd);
    soap_destroy(master_);
    soap_end(master_);
    soap_free(master_);
}

std::string HttpServer::url() const {
    std::string host = address_.find(':') != std::string::npos ? "[" + address_ + "]" : address_;
    return "http://" + host + ":" + std::to_string(port_) + "/";
}

void HttpServer::configure(struct soap* s) const {
    s->send_timeout = limits_.timeoutSeconds;
    s->recv_timeout = limits_.timeoutSeconds;
    s->transfer_timeout = limits_.timeoutSeconds * 10;
    limitIncomingMessages(s, limits_.maxMessage);
    s->maxlevel = 32;
    s->maxoccurs = 100000;
}

void HttpServer::run(const volatile std::sig_atomic_t& stop) {
    // Every worker has its own catalogue connection, opened here so that a failure ends the server.
    std::vector<std::unique_ptr<Catalogue>> catalogues;
    for (int i = 0; i < limits_.threads; ++i)
        catalogues.push_back(std::make_unique<Catalogue>(service_.store.cataloguePath()));
    for (auto& c : catalogues) workers_.emplace_back([this, cat = c.get()] { work(*cat); });
    const size_t queueLimit = static_cast<size_t>(limits_.threads) * 4;
    while (!stop) {
        SOAP_SOCKET sock = soap_accept(master_);
        if (!soap_valid_socket(sock)) {  // time-out, signal or a failed accept (e.g. out of descriptors)
            if (master_->errnum) std::this_thread::sleep_for(std::chrono::milliseconds(20));
            continue;
        }
        std::unique_lock<std::mutex> lock(mutex_);
        space_.wait(lock, [&] { return pending_.size() < queueLimit || stopping_; });
        pending_.push_back(sock);
        master_->socket = SOAP_INVALID_SOCKET;  // the worker owns it now
        lock.unlock();
        ready_.notify_one();
    }
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    ready_.notify_all();
    for (auto& t : workers_) t.join();
    workers_.clear();
}

namespace {

// The worker, not the runtime, closes each connection, so that a request the runtime gives up on
// without an answer (a body that is not XML or is cut short) can still be answered with a fault.
struct Connection {
    RequestContext* context;
    int (*send)(struct soap*, const char*, size_t);
    bool answered = false;
};

int keepOpen(struct soap*, SOAP_SOCKET) { return SOAP_OK; }
int noShutdown(struct soap*, SOAP_SOCKET, int) { return SOAP_OK; }
int noteSend(struct soap* s, const char* data, size_t n) {
    auto* c = static_cast<Connection*>(s->user);
    c->answered = true;
    return c->send(s, data, n);
}

// Written directly, since the runtime's fault state is not usable after such a failure.
void sendRawFault(int sock) {
    static const std::string body =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<SOAP-ENV:Envelope xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\"><SOAP-ENV:Body>"
        "<SOAP-ENV:Fault><faultcode>SOAP-ENV:Client</faultcode>"
        "<faultstring>request is not a complete SOAP message</faultstring></SOAP-ENV:Fault>"
        "</SOAP-ENV:Body></SOAP-ENV:Envelope>\n";
    static const std::string reply = "HTTP/1.1 500 Internal Server Error\r\nContent-Type: text/xml; charset=utf-8\r\n"
                                     "Content-Length: " + std::to_string(body.size()) +
                                     "\r\nConnection: close\r\n\r\n" + body;
    size_t done = 0;
    while (done < reply.size()) {
        ssize_t n = send(sock, reply.data() + done, reply.size() - done, MSG_NOSIGNAL);
        if (n <= 0) return;
        done += static_cast<size_t>(n);
    }
}

// After a refused request part of it may still be unread; closing then would reset the connection
// and could destroy the fault on its way. Reads what follows, for a bounded time and amount.
void drainAndClose(int sock) {
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
    close(sock);
}

void serveOne(struct soap* s, SOAP_SOCKET sock) {
    auto* c = static_cast<Connection*>(s->user);
    c->answered = false;
    s->socket = sock;
    s->keep_alive = 0;
    bool failed = true;
    if (soap_begin_serve(s)) {
        if (!c->answered) sendRawFault(sock);
    } else if (soap_serve_request(s) && s->error && s->error < SOAP_STOP) {
        soap_send_fault(s);
    } else {
        failed = s->error != SOAP_OK;
    }
    s->socket = SOAP_INVALID_SOCKET;
    if (failed) {
        drainAndClose(sock);
    } else {
        shutdown(sock, SHUT_RDWR);
        close(sock);
    }
}

}  // namespace

void HttpServer::work(Catalogue& catalogue) {
    RequestContext context{&service_, &catalogue};
    struct soap* s = soap_new();
    if (!s) return;
    configure(s);
    Connection connection{&context, s->fsend};
    s->user = &connection;
    s->fsend = noteSend;
    s->fclosesocket = keepOpen;
    s->fshutdownsocket = noShutdown;
    for (;;) {
        int sock;
        {
            std::unique_lock<std::mutex> lock(mutex_);
            ready_.wait(lock, [&] { return !pending_.empty() || stopping_; });
            if (pending_.empty()) break;
            sock = pending_.front();
            pending_.pop_front();
        }
        space_.notify_one();
        serveOne(s, sock);
        soap_destroy(s);
        soap_end(s);
    }
    soap_free(s);
}
