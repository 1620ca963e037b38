// The listening socket and the threads that each serve one connection at a time, over HTTP or HTTPS.
#ifndef ANADATA_SERVER_HTTPSERVER_H
#define ANADATA_SERVER_HTTPSERVER_H

#include <atomic>
#include <csignal>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Connection.h"

struct Service;
struct soap;

struct HttpLimits {
    // Connections served at once. A connection's thread reads the request and writes the answer; the
    // operation in between waits for one of the service's catalogue connections, so that clients
    // slow to send or to take an answer hold a thread of these, not an operation.
    int connections = 64;
    ConnectionLimits connection;
};

// A certificate chain and its private key, both PEM files; empty for plain HTTP.
struct TlsFiles {
    std::string certificate, key;
};

class HttpServer {
public:
    // Binds address:port (port 0 picks a free one) and loads the TLS files if given. Throws std::runtime_error.
    HttpServer(Service& service, const std::string& address, int port, HttpLimits limits, const TlsFiles& tls = {});
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    int port() const { return port_; }
    std::string url() const;  // http://ADDR:PORT/ or https://ADDR:PORT/

    // Serves until stop becomes true, then finishes the requests in hand and returns.
    void run(const volatile std::sig_atomic_t& stop);

private:
    void work(ConnectionServer& server);
    void loadTls(const TlsFiles& tls);

    Service& service_;
    std::string address_;
    int port_ = 0;
    HttpLimits limits_;
    struct soap* master_ = nullptr;
    bool tls_ = false;

    std::atomic<bool> closing_{false};  // connections still receiving their request give up
    std::mutex mutex_;
    std::condition_variable ready_, space_;
    std::deque<int> pending_;
    bool stopping_ = false;
    std::vector<std::thread> workers_;
};

#endif
