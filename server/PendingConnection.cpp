// A connection the event loop holds without a thread: until its request head is complete (after the
// TLS handshake, for https), or while it takes a short answer the loop writes itself.
#include "PendingConnection.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "LoginThrottle.h"

namespace {

std::string peerAddress(int sock) {
    sockaddr_storage a{};
    socklen_t len = sizeof a;
    char text[INET6_ADDRSTRLEN] = "";
    if (getpeername(sock, reinterpret_cast<sockaddr*>(&a), &len) != 0) return "unknown";
    if (a.ss_family == AF_INET) {
        inet_ntop(AF_INET, &reinterpret_cast<sockaddr_in*>(&a)->sin_addr, text, sizeof text);
    } else if (a.ss_family == AF_INET6) {
        const in6_addr& in6 = reinterpret_cast<sockaddr_in6*>(&a)->sin6_addr;
        if (IN6_IS_ADDR_V4MAPPED(&in6)) inet_ntop(AF_INET, in6.s6_addr + 12, text, sizeof text);
        else inet_ntop(AF_INET6, &in6, text, sizeof text);
    } else {
        return "local";
    }
    return text;
}

// Where the head ends: after an empty line, its lines ending in LF or CRLF as the runtime reads them.
bool headEnded(const std::string& buffer, std::size_t from) {
    from = from > 3 ? from - 3 : 0;
    for (std::size_t i = buffer.find('\n', from); i != std::string::npos; i = buffer.find('\n', i + 1)) {
        if (i + 1 < buffer.size() && buffer[i + 1] == '\n') return true;
        if (i + 2 < buffer.size() && buffer[i + 1] == '\r' && buffer[i + 2] == '\n') return true;
    }
    return false;
}

constexpr std::size_t kMaxDrained = 1 << 20;  // read and dropped after an answer, at most

}  // namespace

PendingConnection::PendingConnection(int sock, Clock::time_point now)
    : sock_(sock), client_(peerAddress(sock)), key_(LoginThrottle::addressKey(client_)), accepted_(now) {}

bool PendingConnection::startTls(ssl_ctx_st* tls) {
    ssl_ = SSL_new(tls);
    if (!ssl_ || SSL_set_fd(ssl_, sock_) != 1) return false;
    SSL_set_accept_state(ssl_);
    return true;
}

PendingConnection::~PendingConnection() {
    if (ssl_) SSL_free(ssl_);
    if (sock_ >= 0) close(sock_);
}

bool PendingConnection::headStartsWith(const char* text) const {
    return buffer_.compare(0, std::strlen(text), text) == 0;
}

// One read or write of the peer, through TLS when there is one; done after some bytes moved,
// wantRead/wantWrite when it would block, failed at the end of input or on an error.
PendingConnection::Progress PendingConnection::transfer(bool writing, char* data, std::size_t size,
                                                        std::size_t& done) {
    done = 0;
    if (ssl_) {
        ERR_clear_error();
        int n = writing ? SSL_write(ssl_, data, static_cast<int>(size)) : SSL_read(ssl_, data, static_cast<int>(size));
        if (n > 0) {
            done = static_cast<std::size_t>(n);
            return Progress::done;
        }
        int err = SSL_get_error(ssl_, n);
        if (err == SSL_ERROR_WANT_READ) return Progress::wantRead;
        if (err == SSL_ERROR_WANT_WRITE) return Progress::wantWrite;
        return Progress::failed;
    }
    for (;;) {
        ssize_t n = writing ? send(sock_, data, size, MSG_NOSIGNAL) : recv(sock_, data, size, 0);
        if (n > 0) {
            done = static_cast<std::size_t>(n);
            return Progress::done;
        }
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return writing ? Progress::wantWrite : Progress::wantRead;
        return Progress::failed;
    }
}

PendingConnection::Progress PendingConnection::readHead(std::uint64_t& bytes) {
    if (ssl_ && !handshaken_) {
        ERR_clear_error();
        int r = SSL_do_handshake(ssl_);
        if (r != 1) {
            int err = SSL_get_error(ssl_, r);
            if (err == SSL_ERROR_WANT_READ) return Progress::wantRead;
            if (err == SSL_ERROR_WANT_WRITE) return Progress::wantWrite;
            return Progress::failed;
        }
        handshaken_ = true;
    }
    for (;;) {
        std::size_t had = buffer_.size();
        buffer_.resize(std::min(kMaxHead, had + 16384));
        std::size_t got = 0;
        Progress p = transfer(false, &buffer_[had], buffer_.size() - had, got);
        buffer_.resize(had + got);
        bytes += got;
        if (p != Progress::done) return p;
        if (headEnded(buffer_, had)) return Progress::done;
        if (buffer_.size() >= kMaxHead) {
            headTooLong_ = true;
            return Progress::done;
        }
    }
}

PendingConnection::Progress PendingConnection::answer(std::string text, std::uint64_t& bytes) {
    answering_ = true;
    buffer_ = std::move(text);
    sent_ = 0;
    return answer(bytes);
}

PendingConnection::Progress PendingConnection::answer(std::uint64_t& bytes) {
    while (sent_ < buffer_.size()) {
        std::size_t n = 0;
        Progress p = transfer(true, &buffer_[sent_], buffer_.size() - sent_, n);
        sent_ += n;
        bytes += n;
        if (p != Progress::done) return p;
    }
    if (!halfClosed_) {
        halfClosed_ = true;
        if (ssl_) {
            ERR_clear_error();
            SSL_shutdown(ssl_);
        }
        shutdown(sock_, SHUT_WR);
    }
    // What the peer still sends (the rest of a refused request) is read and dropped until it closes.
    char sink[16384];
    for (;;) {
        ssize_t n = recv(sock_, sink, sizeof sink, 0);
        if (n == 0) return Progress::done;
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return errno == EAGAIN || errno == EWOULDBLOCK ? Progress::wantRead : Progress::done;
        drained_ += static_cast<std::size_t>(n);
        if (drained_ > kMaxDrained) return Progress::done;
    }
}

ReceivedHead PendingConnection::release(Clock::time_point now) {
    ReceivedHead head;
    head.sock = sock_;
    head.ssl = ssl_;
    head.bytes = std::move(buffer_);
    head.client = client_;
    head.accepted = accepted_;
    head.complete = now;
    sock_ = -1;
    ssl_ = nullptr;
    return head;
}
