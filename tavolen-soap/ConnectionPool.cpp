// Leasing connections from the idle ones, and taking them back cleared.
#include "ConnectionPool.h"

namespace anadata::detail {

ConnectionPool::ConnectionPool(ConnectionSettings settings, int maxIdle)
    : settings_(std::move(settings)), maxIdle_(maxIdle > 0 ? static_cast<std::size_t>(maxIdle) : 0) {}

ConnectionPool::Lease ConnectionPool::acquire() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (!idle_.empty()) {
            std::unique_ptr<Connection> connection = std::move(idle_.back());
            idle_.pop_back();
            return Lease(*this, std::move(connection));
        }
    }
    return Lease(*this, std::make_unique<Connection>(settings_));
}

void ConnectionPool::giveBack(std::unique_ptr<Connection> connection) {
    connection->reset();
    // A connection whose https set-up failed would fail every call again.
    if (connection->setupStatus() != 0) return;
    std::lock_guard<std::mutex> lock(mutex_);
    if (idle_.size() < maxIdle_) idle_.push_back(std::move(connection));
}

ConnectionPool::Lease::~Lease() {
    if (connection_) pool_->giveBack(std::move(connection_));
}

}  // namespace anadata::detail
