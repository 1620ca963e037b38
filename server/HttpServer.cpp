// The listening socket and the threads that each serve one connection at a time, over HTTP or HTTPS.
#include "HttpServer.h"

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>

#include <netinet/in.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "Service.h"
#include "soapH.h"

namespace {

std::string sslError(const std::string& what) {
    char text[256] = "";
    ERR_error_string_n(ERR_get_error(), text, sizeof text);
    return what + ": " + text;
}

}  // namespace

HttpServer::HttpServer(Service& service, const std::string& address, int port, HttpLimits limits,
                       const TlsFiles& tls)
    : service_(service), address_(address), limits_(limits) {
    master_ = soap_new();
    if (!master_) throw std::runtime_error("out of memory");
    try {
        if (!tls.certificate.empty()) loadTls(tls);
    } catch (...) {
        soap_free(master_);
        throw;
    }
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
    return (tls_ ? "https://" : "http://") + host + ":" + std::to_string(port_) + "/";
}

void HttpServer::run(const volatile std::sig_atomic_t& stop) {
    // Every thread has its own SOAP context, made here so that a failure ends the server.
    std::vector<std::unique_ptr<ConnectionServer>> servers;
    for (int i = 0; i < limits_.connections; ++i)
        servers.push_back(std::make_unique<ConnectionServer>(service_, limits_.connection,
                                                             tls_ ? master_->ctx : nullptr, &closing_));
    for (auto& s : servers) workers_.emplace_back([this, server = s.get()] { work(*server); });
    const size_t queueLimit = static_cast<size_t>(limits_.connections);
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
    closing_ = true;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    ready_.notify_all();
    for (auto& t : workers_) t.join();
    workers_.clear();
}

void HttpServer::work(ConnectionServer& server) {
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
        server.serve(sock);
    }
}
