// libFuzzer target: the reference service answering one arbitrary request (HTTP head, envelope,
// every operation's arguments, the block decoder) on a connection, as its threads serve them.
//
// The request goes through the connection code the server runs for plain HTTP (non-blocking socket,
// head and request deadlines, the raw fault for a broken request) over a socket pair, against a
// store with one account (analyst/secret, as in the seeds) and an experiment log. Login locks are
// short so that both locked and checked logins occur; per-account session and staging limits are
// small and sessions are dropped after each input, so that refusals and releases occur too. The
// audit trail goes to /dev/null. Not covered: the TLS handshake and records.
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <thread>

#include <sys/socket.h>
#include <unistd.h>

#include "Connection.h"
#include "Service.h"
#include "fuzz_gsoap_suppressions.h"

namespace {

// One store for the whole run, in /dev/shm, removed when libFuzzer exits.
struct Fixture {
    Fixture() {
        char pattern[] = "/dev/shm/fuzz-server-XXXXXX";
        if (!mkdtemp(pattern)) std::abort();
        dir = pattern;
        std::istringstream csv("shotno,date,energy\n1234,2009/03/07,1.5\n1235,2009/03/08,2.5\n");
        UploadLimits uploads;
        uploads.maxSessions = 16;
        uploads.maxSessionsPerAccount = 4;
        uploads.maxStagingBytesPerAccount = 1 << 20;
        uploads.idleTimeout = std::chrono::seconds(0);
        ServiceLimits limits;
        limits.operations = 1;
        limits.logins = LoginLimits{3, 6, std::chrono::seconds(1), std::chrono::seconds(1)};
        service = std::make_unique<Service>(dir + "/store", uploads, limits, ExperimentLog::parse(csv));
        service->audit = std::make_unique<AuditLog>("/dev/null");
        {
            CataloguePool::Lease catalogue(service->catalogues);
            service->accounts.set(*catalogue, "analyst", "secret");
        }
        ConnectionLimits connection;
        connection.ioSeconds = 1;
        connection.headSeconds = 1;
        connection.requestSeconds = 2;
        connection.maxMessage = 1 << 20;
        server = std::make_unique<ConnectionServer>(*service, connection, nullptr);
    }
    ~Fixture() {
        server.reset();
        service.reset();
        std::error_code ignored;
        std::filesystem::remove_all(dir, ignored);
    }
    std::string dir;
    std::unique_ptr<Service> service;
    std::unique_ptr<ConnectionServer> server;
};

Fixture& fixture() {
    static Fixture f;
    return f;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Fixture& f = fixture();
    int pair[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0) std::abort();
    // The client: sends the input, then takes the answer until the server closes its end.
    std::thread client([&] {
        size_t done = 0;
        while (done < size) {
            ssize_t n = send(pair[0], data + done, size - done, MSG_NOSIGNAL);
            if (n <= 0) break;
            done += static_cast<size_t>(n);
        }
        shutdown(pair[0], SHUT_WR);
        char buf[65536];
        while (read(pair[0], buf, sizeof buf) > 0) {
        }
        close(pair[0]);
    });
    f.server->serve(pair[1]);
    client.join();
    f.service->sessions.reapIdle();
    return 0;
}
