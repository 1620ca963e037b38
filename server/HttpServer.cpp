// The listening socket and the bounded pool of worker threads that serve one request per connection.
#include "HttpServer.h"

#include <stdexcept>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "Catalogue.h"
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
    s->recv_maxlength = limits_.maxMessage;
    s->maxlevel = 32;
    s->maxoccurs = 100000;
}

void HttpServer::run(const volatile std::sig_atomic_t& stop) {
    for (int i = 0; i < limits_.threads; ++i) workers_.emplace_back([this] { work(); });
    const size_t queueLimit = static_cast<size_t>(limits_.threads) * 4;
    while (!stop) {
        SOAP_SOCKET sock = soap_accept(master_);
        if (!soap_valid_socket(sock)) continue;  // time-out, signal or a failed accept
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

void HttpServer::work() {
    Catalogue catalogue(service_.store.cataloguePath());
    RequestContext context{&service_, &catalogue};
    struct soap* s = soap_new();
    if (!s) return;
    configure(s);
    s->user = &context;
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
        s->socket = sock;
        soap_serve(s);
        soap_destroy(s);
        soap_end(s);
        soap_force_closesock(s);
    }
    soap_free(s);
}
