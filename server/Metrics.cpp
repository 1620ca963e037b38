// What operators watch while the service runs: counters and a latency histogram, in the Prometheus text format.
#include "Metrics.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr const char* kOperationNames[Metrics::kOperations] = {
    "getTavolenDataPath", "getData", "getDiagnostics", "getNumEntry", "getDiagEntry", "getTavolenInfo",
    "listTavolenInfo", "beginTavolenDataRegistration", "putData", "endTavolenDataRegistration",
    "abortTavolenDataRegistration", "delTavolenData", "getExplogColumnNames", "getExplogColumnValues",
    "getExplogColumnValue", "changePassword", "none"};

constexpr const char* kOutcomeNames[Metrics::kOutcomes] = {"ok",           "client_error", "not_found",
                                                            "unauthorized", "busy",         "server_error"};

constexpr double kBounds[Metrics::kBuckets] = {0.001, 0.0025, 0.005, 0.01, 0.025, 0.05, 0.1,
                                               0.25,  0.5,    1,     2.5,  10,    60};

// Appends printf-style text; every line here is short.
template <class... Args>
void line(std::string& out, const char* format, Args... args) {
    char buf[256];
    int n = std::snprintf(buf, sizeof buf, format, args...);
    if (n > 0) out.append(buf, static_cast<std::size_t>(n) < sizeof buf ? static_cast<std::size_t>(n) : sizeof buf - 1);
}

void header(std::string& out, const char* name, const char* type, const char* help) {
    line(out, "# HELP %s %s\n# TYPE %s %s\n", name, help, name, type);
}

unsigned long long load(const std::atomic<std::uint64_t>& c) { return c.load(std::memory_order_relaxed); }

}  // namespace

int Metrics::operationIndex(const char* name) {
    for (int i = 0; i < kNone; ++i)
        if (std::strcmp(name, kOperationNames[i]) == 0) return i;
    return kNone;
}

void Metrics::request(int operation, Outcome outcome, double seconds) {
    if (operation < 0 || operation >= kOperations) operation = kNone;
    requests_[operation][static_cast<int>(outcome)].fetch_add(1, std::memory_order_relaxed);
    int bucket = 0;
    while (bucket < kBuckets && seconds > kBounds[bucket]) ++bucket;
    Histogram& h = durations_[operation];
    h.buckets[bucket].fetch_add(1, std::memory_order_relaxed);
    h.microseconds.fetch_add(static_cast<std::uint64_t>(seconds > 0 ? seconds * 1e6 : 0), std::memory_order_relaxed);
}

void Metrics::loginFailed(bool locked) {
    loginFailures_.fetch_add(1, std::memory_order_relaxed);
    if (locked) loginLocks_.fetch_add(1, std::memory_order_relaxed);
}

void Metrics::refusedConnection(bool perAddress) {
    (perAddress ? refusedPerAddress_ : refusedCapacity_).fetch_add(1, std::memory_order_relaxed);
}

std::string Metrics::render(const MetricsGauges& g) const {
    std::string out;
    out.reserve(32768);
    header(out, "anadata_requests_total", "counter", "Requests answered, by operation and outcome.");
    for (int op = 0; op < kOperations; ++op)
        for (int o = 0; o < kOutcomes; ++o)
            line(out, "anadata_requests_total{operation=\"%s\",outcome=\"%s\"} %llu\n", kOperationNames[op],
                 kOutcomeNames[o], load(requests_[op][o]));

    header(out, "anadata_request_duration_seconds", "histogram",
           "Time from a request's complete head to its answer, by operation.");
    for (int op = 0; op < kOperations; ++op) {
        const Histogram& h = durations_[op];
        unsigned long long cumulative = 0;
        for (int b = 0; b <= kBuckets; ++b) {
            cumulative += load(h.buckets[b]);
            if (b < kBuckets)
                line(out, "anadata_request_duration_seconds_bucket{operation=\"%s\",le=\"%g\"} %llu\n",
                     kOperationNames[op], kBounds[b], cumulative);
            else
                line(out, "anadata_request_duration_seconds_bucket{operation=\"%s\",le=\"+Inf\"} %llu\n",
                     kOperationNames[op], cumulative);
        }
        line(out, "anadata_request_duration_seconds_sum{operation=\"%s\"} %.6f\n", kOperationNames[op],
             static_cast<double>(load(h.microseconds)) / 1e6);
        line(out, "anadata_request_duration_seconds_count{operation=\"%s\"} %llu\n", kOperationNames[op], cumulative);
    }

    header(out, "anadata_received_bytes_total", "counter", "Bytes read from clients (after TLS).");
    line(out, "anadata_received_bytes_total %llu\n", load(bytesIn_));
    header(out, "anadata_sent_bytes_total", "counter", "Bytes written to clients (before TLS).");
    line(out, "anadata_sent_bytes_total %llu\n", load(bytesOut_));

    header(out, "anadata_open_connections", "gauge",
           "Open client connections: waiting for their request head, or being served (queued included).");
    line(out, "anadata_open_connections{state=\"waiting\"} %zu\n", g.waitingConnections);
    line(out, "anadata_open_connections{state=\"serving\"} %zu\n", g.servedConnections);
    header(out, "anadata_refused_connections_total", "counter",
           "Connections closed at once: too many waiting from one address, or too many open in all.");
    line(out, "anadata_refused_connections_total{reason=\"per_address\"} %llu\n", load(refusedPerAddress_));
    line(out, "anadata_refused_connections_total{reason=\"capacity\"} %llu\n", load(refusedCapacity_));

    header(out, "anadata_upload_sessions", "gauge", "Open upload sessions.");
    line(out, "anadata_upload_sessions %zu\n", g.uploadSessions);
    header(out, "anadata_staging_announced_bytes", "gauge", "Bytes the open upload sessions announced.");
    line(out, "anadata_staging_announced_bytes %lld\n", static_cast<long long>(g.stagingAnnounced));
    header(out, "anadata_staged_bytes", "gauge", "Bytes the open upload sessions have written to staging.");
    line(out, "anadata_staged_bytes %lld\n", static_cast<long long>(g.stagedBytes));

    header(out, "anadata_login_failures_total", "counter", "Logins refused for a wrong password or unknown name.");
    line(out, "anadata_login_failures_total %llu\n", load(loginFailures_));
    header(out, "anadata_login_locks_total", "counter", "Failed logins that locked an account name or address.");
    line(out, "anadata_login_locks_total %llu\n", load(loginLocks_));
    return out;
}
