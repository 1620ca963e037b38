// The TLS probe: one handshake attempt on a fresh socket, bounded in time.
#include "TlsProbe.h"

#include <memory>

#include <netdb.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace anadata::detail {

namespace {

using Clock = std::chrono::steady_clock;

struct Socket {
    int fd = -1;
    ~Socket() {
        if (fd >= 0) close(fd);
    }
};

bool waitFor(int fd, short events, Clock::time_point deadline) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    pollfd p{fd, events, 0};
    return left > 0 && poll(&p, 1, static_cast<int>(left)) > 0;
}

bool connectBy(Socket& socket, const std::string& host, int port, Clock::time_point deadline) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV;
    addrinfo* found = nullptr;
    if (getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found) != 0) return false;
    std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> list(found, freeaddrinfo);
    socket.fd = ::socket(found->ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (socket.fd < 0) return false;
    if (connect(socket.fd, found->ai_addr, found->ai_addrlen) == 0) return true;
    if (!waitFor(socket.fd, POLLOUT, deadline)) return false;
    int error = 0;
    socklen_t size = sizeof error;
    return getsockopt(socket.fd, SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0;
}

bool handshakeAnswered(const std::string& host, int port, std::chrono::milliseconds limit) {
    const auto deadline = Clock::now() + limit;
    Socket socket;
    if (!connectBy(socket, host, port, deadline)) return false;
    std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context(SSL_CTX_new(TLS_client_method()), SSL_CTX_free);
    if (!context) return false;
    std::unique_ptr<SSL, decltype(&SSL_free)> ssl(SSL_new(context.get()), SSL_free);
    if (!ssl || SSL_set_fd(ssl.get(), socket.fd) != 1) return false;
    SSL_set_verify(ssl.get(), SSL_VERIFY_NONE, nullptr);
    for (;;) {
        const int result = SSL_connect(ssl.get());
        if (result == 1) return true;
        const int error = SSL_get_error(ssl.get(), result);
        if (error == SSL_ERROR_WANT_READ && waitFor(socket.fd, POLLIN, deadline)) continue;
        if (error == SSL_ERROR_WANT_WRITE && waitFor(socket.fd, POLLOUT, deadline)) continue;
        return false;
    }
}

}  // namespace

bool answersTls(const std::string& host, int port, std::chrono::milliseconds limit) {
    const bool answered = handshakeAnswered(host, port, limit);
    ERR_clear_error();  // nothing of the probe may show in the thread's next TLS report
    return answered;
}

}  // namespace anadata::detail
