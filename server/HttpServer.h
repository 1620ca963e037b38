// The listening sockets and the event loop over accepted connections: idle ones cost a descriptor,
// a thread serves each request once its head has arrived.
#ifndef ANADATA_SERVER_HTTPSERVER_H
#define ANADATA_SERVER_HTTPSERVER_H

#include <chrono>
#include <csignal>
#include <memory>
#include <string>
#include <unordered_map>

#include "Connection.h"

class PendingConnection;
class WorkerPool;
struct Service;
struct soap;

struct HttpLimits {
    // Threads that serve requests whose head has arrived, each reading the rest of the request and
    // writing the answer; the operation in between waits for one of the service's catalogue
    // connections. As many requests again wait in a queue; beyond that a request is answered busy.
    int connections = 64;
    // Connections of one client address (IPv6: /64 network) waiting for their request head; one more
    // is closed at once.
    int perAddress = 32;
    // Connections the event loop holds at once, waiting for their head or taking a short answer.
    int held = 4096;
    // After a stop: how long requests in hand may take to finish.
    int graceSeconds = 20;
    ConnectionLimits connection;
};

// A certificate chain and its private key, both PEM files; empty for plain HTTP.
struct TlsFiles {
    std::string certificate, key;
};

class HttpServer {
public:
    // Binds address:port (port 0 picks a free one), and address:metricsPort for the metrics alone
    // when metricsPort >= 0; loads the TLS files if given. Throws std::runtime_error.
    HttpServer(Service& service, const std::string& address, int port, HttpLimits limits, const TlsFiles& tls = {},
               int metricsPort = -1);
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    int port() const { return port_; }
    int metricsPort() const { return metricsPort_; }
    std::string url() const;  // http://ADDR:PORT/ or https://ADDR:PORT/

    // Serves until stop becomes true; then closes the connections still waiting for their head,
    // gives the requests in hand the grace period and returns.
    void run(const volatile std::sig_atomic_t& stop);

private:
    struct Held;
    using Clock = std::chrono::steady_clock;

    void loadTls(const TlsFiles& tls);
    void release();
    void acceptFrom(int listener, Clock::time_point now);
    void step(int fd, Clock::time_point now);
    void headComplete(Held& held, Clock::time_point now);
    void answer(Held& held, std::string text, Clock::time_point now);
    void watch(Held& held, bool writing);
    void drop(int fd);
    void setWaiting(Held& held, bool waiting);
    void sweep(Clock::time_point now);
    std::string metricsText();

    Service& service_;
    std::string address_;
    int port_ = 0, metricsPort_ = -1;
    HttpLimits limits_;
    struct soap* master_ = nullptr;
    struct soap* metricsMaster_ = nullptr;
    bool tls_ = false;

    int epoll_ = -1;
    std::unordered_map<int, std::unique_ptr<Held>> held_;
    std::unordered_map<std::string, int> waitingPerAddress_;
    std::size_t waiting_ = 0;
    Clock::time_point acceptPausedUntil_{};
    WorkerPool* workers_ = nullptr;
    Cutoff cutoff_{kNoCutoff};
};

#endif
