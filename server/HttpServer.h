// The listening socket and the bounded pool of worker threads that serve one request per connection.
#ifndef ANADATA_SERVER_HTTPSERVER_H
#define ANADATA_SERVER_HTTPSERVER_H

#include <csignal>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class Catalogue;
struct Service;
struct soap;

struct HttpLimits {
    int threads = 8;
    int timeoutSeconds = 30;          // each send or receive
    unsigned long long maxMessage = 0;  // bytes of one request
};

class HttpServer {
public:
    // Binds address:port (port 0 picks a free one). Throws std::runtime_error.
    HttpServer(Service& service, const std::string& address, int port, HttpLimits limits);
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    int port() const { return port_; }
    std::string url() const;

    // Serves until stop becomes true, then finishes the requests in hand and returns.
    void run(const volatile std::sig_atomic_t& stop);

private:
    void work(Catalogue& catalogue);
    void configure(struct soap* s) const;

    Service& service_;
    std::string address_;
    int port_ = 0;
    HttpLimits limits_;
    struct soap* master_ = nullptr;

    std::mutex mutex_;
    std::condition_variable ready_, space_;
    std::deque<int> pending_;
    bool stopping_ = false;
    std::vector<std::thread> workers_;
};

#endif
