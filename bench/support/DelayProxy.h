// A loopback TCP proxy that delays every byte by a fixed time each way, to time shot loops as on a network, and
// counts the bytes it moves; it can cut a connection once, as a link that drops does.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace bench {

// Listens on 127.0.0.1 (a free port) and forwards each connection to the upstream port; what one
// side sends reaches the other `delay` later, so a request and its reply cost twice the delay.
class DelayProxy {
public:
    // The bytes moved one way over every connection so far, and a one-time cut: the connection
    // that carries byte number `cutAt` this way (counted from the start) forwards up to it and is
    // then closed both ways.
    struct Direction {
        std::atomic<std::uint64_t> moved{0};
        std::atomic<std::uint64_t> cutAt{0};  // 0: none
    };

    DelayProxy(int upstreamPort, std::chrono::milliseconds delay) : upstream_(upstreamPort), delay_(delay) {
        listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in addr = loopback(0);
        socklen_t len = sizeof addr;
        if (bind(listener_, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 || listen(listener_, 64) != 0 ||
            getsockname(listener_, reinterpret_cast<sockaddr*>(&addr), &len) != 0) {
            std::perror("proxy listen");
            std::exit(1);
        }
        url_ = "http://127.0.0.1:" + std::to_string(ntohs(addr.sin_port)) + "/";
        acceptor_ = std::thread([this] { acceptLoop(); });
    }
    ~DelayProxy() {
        stop_ = true;
        acceptor_.join();
        std::lock_guard<std::mutex> lock(mutex_);
        for (auto& link : links_) link->stop();
    }
    const std::string& url() const { return url_; }
    Direction& toService() { return up_; }
    Direction& toClient() { return down_; }

private:
    static sockaddr_in loopback(int port) {
        sockaddr_in addr{};
        addr.sin_family = AF_INET;
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        addr.sin_port = htons(static_cast<uint16_t>(port));
        return addr;
    }

    // One direction of one connection: a reader stamps what arrives, a writer sends it when due.
    class Pipe {
    public:
        Pipe(int from, int to, std::chrono::milliseconds delay, Direction& count)
            : from_(from), to_(to), delay_(delay), count_(count) {
            reader_ = std::thread([this] { read(); });
            writer_ = std::thread([this] { write(); });
        }
        void join() {
            reader_.join();
            writer_.join();
        }
        bool finished() const { return threadsDone_ == 2; }

    private:
        using Clock = std::chrono::steady_clock;
        void read() {
            char buf[65536];
            for (;;) {
                const ssize_t n = recv(from_, buf, sizeof buf, 0);
                std::lock_guard<std::mutex> lock(mutex_);
                if (n <= 0) {
                    ended_ = true;
                    ready_.notify_all();
                    ++threadsDone_;
                    return;
                }
                queue_.push_back({Clock::now() + delay_, std::string(buf, static_cast<std::size_t>(n))});
                ready_.notify_all();
            }
        }
        void write() {
            for (;;) {
                std::unique_lock<std::mutex> lock(mutex_);
                ready_.wait(lock, [this] { return ended_ || !queue_.empty(); });
                if (queue_.empty()) {
                    shutdown(to_, SHUT_WR);
                    ++threadsDone_;
                    return;
                }
                auto [due, bytes] = std::move(queue_.front());
                queue_.pop_front();
                lock.unlock();
                std::this_thread::sleep_until(due);
                const std::uint64_t before = count_.moved.fetch_add(bytes.size());
                std::uint64_t cut = count_.cutAt.load();
                const bool cutHere = cut > before && cut <= before + bytes.size() &&
                                     count_.cutAt.compare_exchange_strong(cut, 0);
                if (cutHere) bytes.resize(cut - before);
                if (send(to_, bytes.data(), bytes.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(bytes.size()) ||
                    cutHere) {
                    if (cutHere) shutdown(to_, SHUT_RDWR);
                    shutdown(from_, SHUT_RD);
                    ++threadsDone_;
                    return;
                }
            }
        }

        int from_, to_;
        std::chrono::milliseconds delay_;
        Direction& count_;
        std::mutex mutex_;
        std::condition_variable ready_;
        std::deque<std::pair<Clock::time_point, std::string>> queue_;
        bool ended_ = false;
        std::atomic<int> threadsDone_{0};
        std::thread reader_, writer_;
    };

    struct Link {
        Link(int client, int server, std::chrono::milliseconds delay, Direction& upCount, Direction& downCount)
            : client(client), server(server), up(client, server, delay, upCount),
              down(server, client, delay, downCount) {}
        void stop() {
            shutdown(client, SHUT_RDWR);
            shutdown(server, SHUT_RDWR);
            up.join();
            down.join();
            close(client);
            close(server);
        }
        int client, server;
        Pipe up, down;
    };

    // Connections whose both directions have ended are closed as the loop goes, so that a loop of
    // short connections does not pile up threads.
    void reap() {
        std::lock_guard<std::mutex> lock(mutex_);
        for (auto it = links_.begin(); it != links_.end();) {
            if ((*it)->up.finished() && (*it)->down.finished()) {
                (*it)->stop();
                it = links_.erase(it);
            } else {
                ++it;
            }
        }
    }

    void acceptLoop() {
        while (!stop_) {
            reap();
            pollfd p{listener_, POLLIN, 0};
            if (poll(&p, 1, 50) <= 0) continue;
            const int client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
            if (client < 0) continue;
            const int server = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
            sockaddr_in addr = loopback(upstream_);
            if (connect(server, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
                close(client);
                close(server);
                continue;
            }
            const int one = 1;
            setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
            setsockopt(server, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
            std::lock_guard<std::mutex> lock(mutex_);
            links_.push_back(std::make_unique<Link>(client, server, delay_, up_, down_));
        }
        close(listener_);
    }

    int upstream_;
    std::chrono::milliseconds delay_;
    int listener_ = -1;
    std::string url_;
    Direction up_, down_;
    std::atomic<bool> stop_{false};
    std::thread acceptor_;
    std::mutex mutex_;
    std::vector<std::unique_ptr<Link>> links_;
};

}  // namespace bench
