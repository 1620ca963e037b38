// Connections that send a request head one byte every two seconds, or nothing at all, until destroyed;
// and the plain loopback connection they are made of.
#ifndef ANADATA_TEST_SLOWCLIENTS_H
#define ANADATA_TEST_SLOWCLIENTS_H

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

// A TCP connection to 127.0.0.1:port, from the loopback address source (e.g. "127.0.0.2") when
// given; -1 when it fails.
inline int connectLoopback(int port, const char* source = nullptr) {
    int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    if (source) {
        inet_pton(AF_INET, source, &a.sin_addr);
        if (bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
            close(fd);
            return -1;
        }
    }
    a.sin_port = htons(static_cast<uint16_t>(port));
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0) return fd;
    close(fd);
    return -1;
}

class SlowClients {
public:
    // count connections to 127.0.0.1:port, from source if given; silent ones only connect.
    SlowClients(int port, int count, bool silent = false, const char* source = nullptr) {
        for (int i = 0; i < count; ++i)
            if (int fd = connectLoopback(port, source); fd >= 0) fds_.push_back(fd);
        if (silent) return;
        thread_ = std::thread([this] {
            const std::string head = "POST / HTTP/1.1\r\nHost: 127.0.0.1\r\nX-Slow: ";
            for (size_t i = 0; !stop_; ++i) {
                char c = i < head.size() ? head[i] : 'a';
                for (int fd : fds_) send(fd, &c, 1, MSG_NOSIGNAL);
                for (int t = 0; t < 20 && !stop_; ++t) std::this_thread::sleep_for(std::chrono::milliseconds(100));
            }
        });
    }
    ~SlowClients() {
        stop_ = true;
        if (thread_.joinable()) thread_.join();
        for (int fd : fds_) close(fd);
    }
    SlowClients(const SlowClients&) = delete;
    SlowClients& operator=(const SlowClients&) = delete;

    size_t connected() const { return fds_.size(); }

    // How many connections the server has closed within the given time.
    size_t closedWithin(std::chrono::milliseconds time) const {
        using Clock = std::chrono::steady_clock;
        auto until = Clock::now() + time;
        size_t closed = 0;
        for (int fd : fds_) {
            for (;;) {
                auto left = std::chrono::duration_cast<std::chrono::milliseconds>(until - Clock::now()).count();
                pollfd p{fd, POLLIN, 0};
                char c;
                if (left <= 0 || poll(&p, 1, static_cast<int>(left)) <= 0) break;
                if (recv(fd, &c, 1, MSG_DONTWAIT) <= 0) {
                    ++closed;
                    break;
                }
            }
        }
        return closed;
    }

private:
    std::vector<int> fds_;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

#endif
