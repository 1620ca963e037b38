// libFuzzer target: the reference service answering one arbitrary request (HTTP head, envelope,
// every operation's arguments, the block decoder) on a connection, as its threads serve them.
//
// The request goes through the connection code the server runs for plain HTTP (non-blocking socket,
// head and request deadlines, the raw fault for a broken request) over a socket pair, against a
// store with one account (analyst/secret, as in the seeds) and an experiment log. Login locks are
// short so that both locked and checked logins occur; per-account session and staging limits are
// small and sessions are dropped after each input, so that refusals and releases occur too. The
// audit trail goes to /dev/null. An input whose first byte is 0x16 (the TLS handshake record type,
// which no HTTP request starts with) goes to the https server instead: the client completes a TLS
// handshake and then sends the rest of the input as the request, through the server's own TLS
// reading with its deadlines.
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <thread>

#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <sys/socket.h>
#include <unistd.h>

#include "Connection.h"
#include "Service.h"
#include "fuzz_gsoap_suppressions.h"

namespace {

// A server context with a self-signed P-256 certificate made in memory.
SSL_CTX* serverContext() {
    SSL_CTX* ctx = SSL_CTX_new(TLS_server_method());
    EVP_PKEY* key = EVP_EC_gen("P-256");
    X509* cert = X509_new();
    if (!ctx || !key || !cert) std::abort();
    ASN1_INTEGER_set(X509_get_serialNumber(cert), 1);
    X509_gmtime_adj(X509_getm_notBefore(cert), 0);
    X509_gmtime_adj(X509_getm_notAfter(cert), 86400);
    X509_set_pubkey(cert, key);
    X509_NAME_add_entry_by_txt(X509_get_subject_name(cert), "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>("fuzz"), -1, -1, 0);
    X509_set_issuer_name(cert, X509_get_subject_name(cert));
    if (!X509_sign(cert, key, EVP_sha256()) || SSL_CTX_use_certificate(ctx, cert) != 1 ||
        SSL_CTX_use_PrivateKey(ctx, key) != 1)
        std::abort();
    X509_free(cert);
    EVP_PKEY_free(key);
    return ctx;
}

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
        tls = serverContext();
        tlsServer = std::make_unique<ConnectionServer>(*service, connection, tls);
        tlsClient = SSL_CTX_new(TLS_client_method());
        if (!tlsClient) std::abort();
    }
    ~Fixture() {
        server.reset();
        tlsServer.reset();
        SSL_CTX_free(tls);
        SSL_CTX_free(tlsClient);
        service.reset();
        std::error_code ignored;
        std::filesystem::remove_all(dir, ignored);
    }
    std::string dir;
    std::unique_ptr<Service> service;
    std::unique_ptr<ConnectionServer> server;
    SSL_CTX* tls = nullptr;
    SSL_CTX* tlsClient = nullptr;
    std::unique_ptr<ConnectionServer> tlsServer;
};

// Sends the request over TLS (unverified: the handshake's own checks are not what is fuzzed here)
// and reads the answer until the server closes.
void tlsClient(SSL_CTX* ctx, int sock, const uint8_t* data, size_t size) {
    SSL* ssl = SSL_new(ctx);
    if (ssl && SSL_set_fd(ssl, sock) == 1 && SSL_connect(ssl) == 1) {
        if (size == 0 || SSL_write(ssl, data, static_cast<int>(size)) > 0) {
            char buf[65536];
            while (SSL_read(ssl, buf, sizeof buf) > 0) {
            }
        }
    }
    SSL_free(ssl);
    shutdown(sock, SHUT_RDWR);
}

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
    const bool overTls = size > 0 && data[0] == 0x16;
    std::thread client([&] {
        if (overTls) {
            tlsClient(f.tlsClient, pair[0], data + 1, size - 1);
            close(pair[0]);
            return;
        }
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
    (overTls ? f.tlsServer : f.server)->serve(pair[1]);
    client.join();
    f.service->sessions.reapIdle();
    return 0;
}
