// What operators watch while the service runs: counters and a latency histogram, in the Prometheus text format.
#ifndef ANADATA_SERVER_METRICS_H
#define ANADATA_SERVER_METRICS_H

#include <array>
#include <atomic>
#include <cstdint>
#include <string>

// How a request ended, as the fault it got tells (or "ok").
enum class Outcome { ok, clientError, notFound, unauthorized, busy, serverError };

// Gauges read from their owners when the metrics are rendered.
struct MetricsGauges {
    std::size_t waitingConnections = 0;  // held by the event loop until their request head is complete
    std::size_t servedConnections = 0;   // with a thread, or queued for one
    std::size_t uploadSessions = 0;
    std::int64_t stagingAnnounced = 0;
    std::int64_t stagedBytes = 0;
};

// Every member may be called from any thread; counters are updated without locks.
class Metrics {
public:
    static constexpr int kOperations = 17;  // the sixteen operations and "none" (no operation reached)
    static constexpr int kNone = kOperations - 1;
    static constexpr int kOutcomes = 6;
    static constexpr int kBuckets = 13;  // finite upper bounds of the duration histogram

    // The index of an operation name such as "getData"; kNone for any other name.
    static int operationIndex(const char* name);

    // One request answered after the given time (seconds from its complete head to its answer).
    void request(int operation, Outcome outcome, double seconds);
    void received(std::uint64_t bytes) { bytesIn_.fetch_add(bytes, std::memory_order_relaxed); }
    void sent(std::uint64_t bytes) { bytesOut_.fetch_add(bytes, std::memory_order_relaxed); }
    void loginFailed(bool locked);
    // A connection closed at once: its address held too many waiting ones, or the service too many in all.
    void refusedConnection(bool perAddress);

    // The text a scrape of GET /metrics gets.
    std::string render(const MetricsGauges& gauges) const;

private:
    using Counter = std::atomic<std::uint64_t>;
    struct Histogram {
        std::array<Counter, kBuckets + 1> buckets{};  // the last one: above every bound
        Counter microseconds{0};
    };
    std::array<std::array<Counter, kOutcomes>, kOperations> requests_{};
    std::array<Histogram, kOperations> durations_{};
    Counter bytesIn_{0}, bytesOut_{0};
    Counter loginFailures_{0}, loginLocks_{0};
    Counter refusedPerAddress_{0}, refusedCapacity_{0};
};

#endif
