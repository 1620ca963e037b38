// Idle connections to one endpoint, handed out one per operation and taken back after it.
#ifndef ANADATA_CONNECTIONPOOL_H
#define ANADATA_CONNECTIONPOOL_H

#include <memory>
#include <mutex>
#include <vector>

#include "Connection.h"

namespace anadata::detail {

// Keeps up to `maxIdle` connections open between operations (0: none; each operation then opens
// its own and closes it at the end). Safe to use from many threads; a leased connection belongs
// to one thread until the lease ends.
class ConnectionPool {
public:
    ConnectionPool(ConnectionSettings settings, int maxIdle);
    ConnectionPool(const ConnectionPool&) = delete;
    ConnectionPool& operator=(const ConnectionPool&) = delete;

    // One connection for one operation. When the lease ends the connection is reset (the memory of
    // its results freed, its socket closed after a failed call) and kept or closed.
    class Lease {
    public:
        Lease(ConnectionPool& pool, std::unique_ptr<Connection> connection)
            : pool_(&pool), connection_(std::move(connection)) {}
        ~Lease();
        Lease(Lease&&) noexcept = default;
        Lease(const Lease&) = delete;
        Lease& operator=(const Lease&) = delete;
        Lease& operator=(Lease&&) = delete;

        Connection& connection() const { return *connection_; }

    private:
        ConnectionPool* pool_;
        std::unique_ptr<Connection> connection_;
    };

    // An idle connection, else a new one (see Connection for a failed https set-up). Throws
    // std::bad_alloc.
    Lease acquire();
    const ConnectionSettings& settings() const { return settings_; }

private:
    void giveBack(std::unique_ptr<Connection> connection);

    const ConnectionSettings settings_;
    const std::size_t maxIdle_;
    std::mutex mutex_;
    std::vector<std::unique_ptr<Connection>> idle_;
};

}  // namespace anadata::detail

#endif
