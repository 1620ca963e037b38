// anadata-server: the reference analysed-data service over a store directory.
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <mutex>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <unistd.h>

#include <CLI/CLI.hpp>

#include "Catalogue.h"
#include "HttpServer.h"
#include "Service.h"
#include "ServiceError.h"
#include "StoreCheck.h"
#include "version.h"

namespace {

volatile std::sig_atomic_t stopRequested = 0;

extern "C" void onSignal(int) { stopRequested = 1; }

void installSignals() {
    struct sigaction sa {};
    sa.sa_handler = onSignal;
    sigemptyset(&sa.sa_mask);
    sigaction(SIGTERM, &sa, nullptr);
    sigaction(SIGINT, &sa, nullptr);
    signal(SIGPIPE, SIG_IGN);
}

// Descriptors: as many as the hard limit allows, up to 65536; the event loop holds what the threads,
// upload sessions and catalogue connections leave.
int connectionBudget(const HttpLimits& http, const UploadLimits& uploads, const ServiceLimits& limits) {
    rlimit files{};
    if (getrlimit(RLIMIT_NOFILE, &files) == 0) {
        rlim_t want = files.rlim_max == RLIM_INFINITY ? 65536 : std::min<rlim_t>(files.rlim_max, 65536);
        if (files.rlim_cur < want) {
            files.rlim_cur = want;
            setrlimit(RLIMIT_NOFILE, &files);
            getrlimit(RLIMIT_NOFILE, &files);
        }
    }
    long long reserve = 2LL * http.connections + uploads.maxSessions + 4LL * limits.operations + 64;
    long long room = static_cast<long long>(std::min<rlim_t>(files.rlim_cur, 65536)) - reserve;
    return static_cast<int>(std::max(64LL, room));
}

// Holds the store's lock file while the process runs; throws when another server holds it.
void lockStore(const Store& store) {
    int fd = open((store.root() + "/lock").c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0 || flock(fd, LOCK_EX | LOCK_NB) != 0)
        throw std::runtime_error("store " + store.root() + " is in use by another server");
}

int addUser(const std::string& storeDir, const std::string& name) {
    Store store(storeDir);
    Catalogue catalogue(store.cataloguePath());
    std::string password;
    std::getline(std::cin, password);
    if (!password.empty() && password.back() == '\r') password.pop_back();
    Accounts().set(catalogue, name, password);
    std::cout << "account " << name << " set" << std::endl;
    return 0;
}

// Drops upload sessions that stay idle, until told to stop.
class Reaper {
public:
    Reaper(UploadSessions& sessions, std::chrono::seconds timeout)
        : thread_([this, &sessions, timeout] {
              auto period = std::chrono::milliseconds(std::min<long long>(1000, timeout.count() * 250 + 50));
              std::unique_lock<std::mutex> lock(mutex_);
              while (!cv_.wait_for(lock, period, [this] { return stop_; })) sessions.reapIdle();
          }) {}
    ~Reaper() {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            stop_ = true;
        }
        cv_.notify_all();
        thread_.join();
    }

private:
    std::mutex mutex_;
    std::condition_variable cv_;
    bool stop_ = false;
    std::thread thread_;
};

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Reference analysed-data service"};
    app.set_version_flag("--version", ANADATA_VERSION_STRING, "Print the version and exit");
    std::string storeDir, bind = "127.0.0.1", explogPath, newUser, logPath;
    int port = 8080;
    HttpLimits http;
    ConnectionLimits& connection = http.connection;
    UploadLimits uploads;
    ServiceLimits limits;
    TlsFiles tls;
    long long idleSeconds = uploads.idleTimeout.count();
    app.add_option("--store", storeDir, "Store directory (catalogue and data files)")->required();
    app.add_option("--bind", bind, "Address to listen on")->capture_default_str();
    app.add_option("--port", port, "Port to listen on; 0 picks a free one")->capture_default_str()->check(
        CLI::Range(0, 65535));
    app.add_option("--explog", explogPath, "Experiment log (CSV with a header row, first column the shot)");
    app.add_option("--add-user", newUser, "Add or reset an account, reading its password from standard input");
    app.add_option("--tls-cert", tls.certificate, "Serve https only, with this certificate chain (PEM)");
    app.add_option("--tls-key", tls.key, "Private key (PEM) of the --tls-cert certificate");
    app.add_option("--log", logPath, "Append the audit trail to this file instead of standard error");
    app.add_option("--threads", limits.operations, "Operations that run at once")
        ->capture_default_str()->check(CLI::Range(1, 256));
    app.add_option("--connections", http.connections, "Requests served at once, each by a thread")
        ->capture_default_str()->check(CLI::Range(1, 4096));
    app.add_option("--connections-per-address", http.perAddress,
                   "Connections of one client address waiting for their request head; more are closed at once")
        ->capture_default_str()->check(CLI::Range(1, 1000000));
    app.add_option("--grace", http.graceSeconds, "Seconds requests in hand may take to finish after SIGTERM")
        ->capture_default_str()->check(CLI::Range(0, 3600));
    int metricsPort = -1;
    app.add_option("--metrics-port", metricsPort,
                   "Serve GET /metrics on this port (of --bind) instead of the service's port; 0 picks a free one")
        ->check(CLI::Range(0, 65535));
    bool checkOnly = false, repair = false;
    app.add_flag("--check-store", checkOnly,
                 "Check the catalogue against the data files, report and exit (the server must not be running)");
    app.add_flag("--repair", repair, "With --check-store: remove strays and drop the entries of missing files")
        ->needs("--check-store");
    app.add_option("--timeout", connection.ioSeconds, "Seconds any one read or write of a connection may wait")
        ->capture_default_str()->check(CLI::Range(1, 3600));
    app.add_option("--head-timeout", connection.headSeconds,
                   "Seconds from connecting to the end of the request head, TLS handshake included")
        ->capture_default_str()->check(CLI::Range(1, 3600));
    app.add_option("--request-timeout", connection.requestSeconds,
                   "Seconds from connecting to the end of the request, and again for the answer")
        ->capture_default_str()->check(CLI::Range(1, 86400));
    app.add_option("--session-timeout", idleSeconds, "Seconds after which an idle upload session is dropped")
        ->capture_default_str()->check(CLI::Range(1LL, 86400LL * 30));
    app.add_option("--max-sessions", uploads.maxSessions, "Open upload sessions at most")
        ->capture_default_str()->check(CLI::Range(1, 100000));
    app.add_option("--max-staging", uploads.maxStagingBytes, "Bytes announced by open upload sessions at most")
        ->capture_default_str()->check(CLI::PositiveNumber);
    app.add_option("--max-sessions-per-account", uploads.maxSessionsPerAccount,
                   "Open upload sessions of one account at most")
        ->capture_default_str()->check(CLI::Range(1, 100000));
    app.add_option("--max-staging-per-account", uploads.maxStagingBytesPerAccount,
                   "Bytes announced by the open upload sessions of one account at most")
        ->capture_default_str()->check(CLI::PositiveNumber);
    app.add_option("--max-block", limits.maxBlock, "Bytes of one transferred block at most")
        ->capture_default_str()->check(CLI::Range(1024, 64 << 20));
    app.add_option("--login-failures", limits.logins.accountFailures,
                   "Failed logins in a row that lock an account for a while; four times as many lock a client address")
        ->capture_default_str()->check(CLI::Range(1, 1000));
    CLI11_PARSE(app, argc, argv);
    uploads.idleTimeout = std::chrono::seconds(idleSeconds);
    limits.logins.addressFailures = 4 * limits.logins.accountFailures;

    try {
        if (!newUser.empty()) return addUser(storeDir, newUser);

        Store probe(storeDir);
        lockStore(probe);
        if (checkOnly) {
            Catalogue catalogue(probe.cataloguePath());
            return checkStore(probe, catalogue, repair, std::cout);
        }
        ExperimentLog log;
        if (!explogPath.empty()) log = ExperimentLog::load(explogPath);
        {
            Catalogue catalogue(probe.cataloguePath());
            probe.recover(catalogue);
        }
        Service service(storeDir, uploads, limits, std::move(log));
        if (!logPath.empty()) service.audit = std::make_unique<AuditLog>(logPath);
        char host[256] = "";
        gethostname(host, sizeof host - 1);
        service.hostname = host;
        // A block travels as base64 (4/3 of its size) inside a small envelope.
        connection.maxMessage = static_cast<unsigned long long>(limits.maxBlock) * 4 / 3 + (1 << 20);

        http.held = connectionBudget(http, uploads, limits);

        installSignals();
        HttpServer server(service, bind, port, http, tls, metricsPort);
        std::printf("listening on %s\n", server.url().c_str());
        if (metricsPort >= 0) std::printf("metrics on http://%s:%d/metrics\n", bind.c_str(), server.metricsPort());
        std::fflush(stdout);
        {
            Reaper reaper(service.sessions, uploads.idleTimeout);
            server.run(stopRequested);
        }
        // Uploads still open cannot be finished by anyone: their staging files go with them.
        if (size_t open = service.sessions.openCount())
            std::fprintf(stderr, "anadata-server: stopped; %zu open upload sessions dropped\n", open);
        return 0;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "anadata-server: %s\n", e.what());
        return 1;
    }
}
