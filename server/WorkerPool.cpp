// The threads that serve connections whose request head has arrived, and the short queue in front of them.
#include "WorkerPool.h"

#include <openssl/ssl.h>
#include <unistd.h>

WorkerPool::WorkerPool(Service& service, const ConnectionLimits& limits, int threads, const Cutoff* cutoff)
    : queueLimit_(static_cast<std::size_t>(threads)) {
    for (int i = 0; i < threads; ++i) servers_.push_back(std::make_unique<ConnectionServer>(service, limits, cutoff));
    for (auto& s : servers_) threads_.emplace_back([this, server = s.get()] { work(*server); });
}

WorkerPool::~WorkerPool() {
    finish();
    for (ReceivedHead& h : queue_) {  // left only when a thread could not be started
        SSL_free(h.ssl);
        close(h.sock);
    }
}

bool WorkerPool::hasRoom() {
    std::lock_guard<std::mutex> lock(mutex_);
    return !finishing_ && serving_ + queue_.size() < threads_.size() + queueLimit_;
}

bool WorkerPool::offer(ReceivedHead& head) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (finishing_ || serving_ + queue_.size() >= threads_.size() + queueLimit_) return false;
        queue_.push_back(std::move(head));
    }
    ready_.notify_one();
    return true;
}

std::size_t WorkerPool::inHand() {
    std::lock_guard<std::mutex> lock(mutex_);
    return serving_ + queue_.size();
}

void WorkerPool::finish() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        finishing_ = true;
    }
    ready_.notify_all();
    for (auto& t : threads_)
        if (t.joinable()) t.join();
}

void WorkerPool::work(ConnectionServer& server) {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        ready_.wait(lock, [&] { return !queue_.empty() || finishing_; });
        if (queue_.empty()) return;
        ReceivedHead head = std::move(queue_.front());
        queue_.pop_front();
        ++serving_;
        lock.unlock();
        server.serve(std::move(head));
        lock.lock();
        --serving_;
    }
}
