// The threads that serve connections whose request head has arrived, and the short queue in front of them.
#ifndef ANADATA_SERVER_WORKERPOOL_H
#define ANADATA_SERVER_WORKERPOOL_H

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "Connection.h"

class WorkerPool {
public:
    // Starts threads threads, each with a SOAP context of its own; the queue holds as many
    // connections again. Throws what making a context throws.
    WorkerPool(Service& service, const ConnectionLimits& limits, int threads, const Cutoff* cutoff);
    ~WorkerPool();  // finish()
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    // Whether offer would take a connection now.
    bool hasRoom();
    // Queues the connection for the next free thread; false (the connection still the caller's)
    // when every thread is busy and the queue is full, or the pool is finishing.
    bool offer(ReceivedHead& head);
    // Connections being served or queued.
    std::size_t inHand();
    // Serves what is queued, then ends the threads.
    void finish();

private:
    void work(ConnectionServer& server);

    std::vector<std::unique_ptr<ConnectionServer>> servers_;
    std::vector<std::thread> threads_;
    std::mutex mutex_;
    std::condition_variable ready_;
    std::deque<ReceivedHead> queue_;
    std::size_t queueLimit_;
    std::size_t serving_ = 0;
    bool finishing_ = false;
};

#endif
