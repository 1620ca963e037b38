// The session's idle connections to its endpoint, handed out one per operation and taken back after.
#ifndef ANADATA_SESSION_CONNECTION_POOL_H
#define ANADATA_SESSION_CONNECTION_POOL_H

#include <chrono>
#include <mutex>
#include <string>
#include <vector>

struct soap;

namespace anadata {

struct SessionOptions;

namespace detail {

// What every connection of a session is set up with.
struct ConnectionSettings {
    std::string endpoint;
    std::chrono::seconds ioTimeout{30};
    std::chrono::seconds requestTimeout{120};
    std::string caFile;  // https only; empty: the system's store
};

// Keeps up to `maxIdle` SOAP contexts, each with its open connection, between operations. Safe to
// use from many threads; each leased context belongs to one thread until it is given back.
class ConnectionPool {
public:
    ConnectionPool(ConnectionSettings settings, int maxIdle);
    ~ConnectionPool();
    ConnectionPool(const ConnectionPool&) = delete;
    ConnectionPool& operator=(const ConnectionPool&) = delete;

    // One context for one operation. Giving it back frees the memory of its results (copy them out
    // first); a context whose last call failed gives up its connection, so the next operation that
    // takes it starts on a fresh one.
    class Lease {
    public:
        Lease(ConnectionPool& pool, struct soap* soap) : pool_(&pool), soap_(soap) {}
        ~Lease();
        Lease(Lease&& other) noexcept : pool_(other.pool_), soap_(other.soap_) { other.soap_ = nullptr; }
        Lease(const Lease&) = delete;
        Lease& operator=(const Lease&) = delete;
        Lease& operator=(Lease&&) = delete;

        struct soap* soap() const { return soap_; }

    private:
        ConnectionPool* pool_;
        struct soap* soap_;
    };

    // Throws Error(transport) when no context can be made (out of memory, https set-up failed).
    Lease acquire();
    const ConnectionSettings& settings() const { return settings_; }

private:
    struct soap* create() const;
    void giveBack(struct soap* soap);

    const ConnectionSettings settings_;
    const std::size_t maxIdle_;
    std::mutex mutex_;
    std::vector<struct soap*> idle_;
};

}  // namespace detail
}  // namespace anadata

#endif
