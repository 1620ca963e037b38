// A connection the event loop holds without a thread: until its request head is complete (after the
// TLS handshake, for https), or while it takes a short answer the loop writes itself.
#ifndef ANADATA_SERVER_PENDINGCONNECTION_H
#define ANADATA_SERVER_PENDINGCONNECTION_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

#include "Connection.h"

struct ssl_ctx_st;

class PendingConnection {
public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::size_t kMaxHead = 65536;  // a head that has not ended by then is refused

    enum class Progress { wantRead, wantWrite, done, failed };

    // Takes sock (connected, non-blocking) once constructed. Throws std::bad_alloc.
    PendingConnection(int sock, Clock::time_point now);
    ~PendingConnection();  // closes whatever it still holds
    PendingConnection(const PendingConnection&) = delete;
    PendingConnection& operator=(const PendingConnection&) = delete;

    // Speaks TLS with the server's context from here on; false when that cannot be set up.
    bool startTls(ssl_ctx_st* tls);

    int fd() const { return sock_; }
    const std::string& client() const { return client_; }
    // What connections are counted under per client: the address, IPv6 addresses by their /64.
    const std::string& addressKey() const { return key_; }
    Clock::time_point deadline;

    // Handshakes and reads as far as possible without blocking: done when the head has ended or
    // kMaxHead bytes came without its end (headTooLong), failed when the peer closed, failed the
    // handshake or broke the connection. bytes counts what was read from the peer.
    Progress readHead(std::uint64_t& bytes);
    bool headTooLong() const { return headTooLong_; }
    const std::string& head() const { return buffer_; }
    bool headStartsWith(const char* text) const;

    // Writes answer (a whole HTTP message) without blocking, then waits for the peer to close so that
    // the answer is not lost to a reset: done once it has, failed on an error. Call again on readiness.
    Progress answer(std::string answer, std::uint64_t& bytes);
    Progress answer(std::uint64_t& bytes);
    bool answering() const { return answering_; }

    // Hands the socket, the TLS state and what was read to a thread.
    ReceivedHead release(Clock::time_point now);

private:
    Progress transfer(bool writing, char* data, std::size_t size, std::size_t& done);

    int sock_;
    struct ssl_st* ssl_ = nullptr;
    bool handshaken_ = false;
    bool headTooLong_ = false;
    bool answering_ = false;
    bool halfClosed_ = false;
    std::string buffer_;    // the head read so far, or the answer being written
    std::size_t sent_ = 0;  // of the answer
    std::size_t drained_ = 0;
    std::string client_, key_;
    Clock::time_point accepted_;
};

#endif
