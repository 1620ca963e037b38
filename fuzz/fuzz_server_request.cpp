// libFuzzer target: the reference service answering a sequence of arbitrary requests (HTTP head,
// envelope, every operation's arguments, the block decoder), each on a connection of its own, as
// its event loop and threads serve them.
//
// An input holds up to eight requests separated by "\r\n--next request--\r\n". In every request
// "${session}" stands for the last upload session key an answer gave and "${path}" for the last data
// path; a Content-Length that matched the body before they were put in is made to match after, so
// that an input can begin an upload, send blocks, end it and fetch what it registered.
//
// Each request goes over a socket pair: the event loop's head reading (and TLS handshake), then the
// connection code the threads run (non-blocking socket, deadlines, the raw fault for a broken
// request). The store starts with entries of two accounts, analyst/secret (as in the seeds) and
// other/secret, both hashed with one round so that wrong passwords cost little; every input
// finds them as they were: passwords an input changed and entries it registered, deleted or
// replaced are put back afterwards, and its open sessions are dropped. Every input comes from an address of its own, so that the address
// locks of one input do not hold off the next; account locks are off (with them, the wrong
// passwords of most inputs would keep the accounts locked and nothing behind a login would be
// reached). Per-account session and staging limits are small so that refusals occur. The audit
// trail goes to /dev/null. A request whose first byte is 0x16 (the TLS handshake record type, which
// no HTTP request starts with) is sent over TLS: the client completes a handshake and then sends the
// rest of the request.
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "Catalogue.h"
#include "Connection.h"
#include "PendingConnection.h"
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

// The entries every input starts from: name, shot, sub-shot, account, contents.
struct SeedEntry {
    const char* name;
    int shot, sub;
    const char* account;
    const char* bytes;
};
const SeedEntry kSeeds[] = {
    {"ece", 1234, 1, "analyst", "PK\3\4first"}, {"ece", 1234, 2, "analyst", "second"},
    {"ece", 1235, 1, "analyst", ""},             {"sxr", 1234, 1, "other", "of another account"},
};

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
        limits.passwordIterations = 1;  // so that the wrong passwords of most inputs cost little
        limits.logins = LoginLimits{1000000, 3, std::chrono::seconds(1), std::chrono::seconds(1)};
        limits.logins.maxTracked = 64;
        service = std::make_unique<Service>(dir + "/store", uploads, limits, ExperimentLog::parse(csv));
        service->audit = std::make_unique<AuditLog>("/dev/null");
        restoreStore();
        ConnectionLimits connection;
        connection.ioSeconds = 1;
        connection.headSeconds = 1;
        connection.requestSeconds = 2;
        connection.maxMessage = 1 << 20;
        server = std::make_unique<ConnectionServer>(*service, connection);
        tls = serverContext();
        tlsClient = SSL_CTX_new(TLS_client_method());
        if (!tlsClient) std::abort();
    }
    ~Fixture() {
        server.reset();
        SSL_CTX_free(tls);
        SSL_CTX_free(tlsClient);
        service.reset();
        std::error_code ignored;
        std::filesystem::remove_all(dir, ignored);
    }

    // Puts back the accounts' passwords, drops what an input registered and puts back the seed
    // entries it deleted or replaced.
    void restoreStore() {
        CataloguePool::Lease catalogue(service->catalogues);
        for (const char* name : {"analyst", "other"}) service->accounts.set(*catalogue, name, "secret");
        for (const auto& e : (*catalogue).all()) {
            auto seed = seedDirectories.find(e.diagnostics + "@" + std::to_string(e.shotno) + "-" +
                                             std::to_string(e.subshotno));
            if (seed != seedDirectories.end() && seed->second == e.directory) continue;
            (*catalogue).remove(e.diagnostics, e.shotno, e.subshotno, e.userid);
            service->store.discard(e.relativePath());
        }
        for (const SeedEntry& s : kSeeds) {
            const std::string key = s.name + std::string("@") + std::to_string(s.shot) + "-" + std::to_string(s.sub);
            if ((*catalogue).find(s.name, s.shot, s.sub)) continue;
            CatalogueEntry e;
            e.diagnostics = s.name;
            e.shotno = s.shot;
            e.subshotno = s.sub;
            e.filename = key + ".dat.zip";
            e.filedate = "2009-03-07 12:00:00";
            e.userid = s.account;
            e.summary = "seed";
            e.filelen = static_cast<std::int64_t>(std::strlen(s.bytes));
            std::string session = service->sessions.begin(e, true);
            service->sessions.append(session, reinterpret_cast<const unsigned char*>(s.bytes), std::strlen(s.bytes));
            seedDirectories[key] = service->sessions.end(session, *catalogue).entry.directory;
        }
    }

    std::string dir;
    std::unique_ptr<Service> service;
    std::unique_ptr<ConnectionServer> server;
    SSL_CTX* tls = nullptr;
    SSL_CTX* tlsClient = nullptr;
    std::map<std::string, std::string> seedDirectories;  // "name@shot-sub" -> its data directory
    unsigned inputs = 0;
};

Fixture& fixture() {
    static Fixture f;
    return f;
}

// Sends the request over TLS (unverified: the handshake's own checks are not what is fuzzed here),
// ends the connection's sending side and reads the answer until the server closes.
std::string tlsExchange(SSL_CTX* ctx, int sock, const std::string& request) {
    std::string answer;
    SSL* ssl = SSL_new(ctx);
    if (ssl && SSL_set_fd(ssl, sock) == 1 && SSL_connect(ssl) == 1) {
        if (request.empty() || SSL_write(ssl, request.data(), static_cast<int>(request.size())) > 0) {
            shutdown(sock, SHUT_WR);  // the end of the request, without waiting for a deadline
            char buf[65536];
            for (int n; (n = SSL_read(ssl, buf, sizeof buf)) > 0;) answer.append(buf, static_cast<size_t>(n));
        }
    }
    SSL_free(ssl);
    return answer;
}

std::string plainExchange(int sock, const std::string& request) {
    for (size_t done = 0; done < request.size();) {
        ssize_t n = send(sock, request.data() + done, request.size() - done, MSG_NOSIGNAL);
        if (n <= 0) break;
        done += static_cast<size_t>(n);
    }
    shutdown(sock, SHUT_WR);
    std::string answer;
    char buf[65536];
    for (ssize_t n; (n = read(sock, buf, sizeof buf)) > 0;) answer.append(buf, static_cast<size_t>(n));
    return answer;
}

// What the event loop does with a new connection: reads the head (after the handshake), then hands
// the connection to a thread, or answers a head that never ended itself.
void serveLikeTheLoop(Fixture& f, int sock, bool overTls, const std::string& client) {
    using Clock = PendingConnection::Clock;
    auto now = Clock::now();
    PendingConnection pending(sock, now);
    if (overTls && !pending.startTls(f.tls)) return;
    std::uint64_t bytes = 0;
    auto deadline = now + std::chrono::seconds(1);
    for (;;) {
        PendingConnection::Progress p = pending.readHead(bytes);
        if (p == PendingConnection::Progress::failed) return;
        if (p == PendingConnection::Progress::done) break;
        pollfd wait{sock, static_cast<short>(p == PendingConnection::Progress::wantWrite ? POLLOUT : POLLIN), 0};
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0 || poll(&wait, 1, static_cast<int>(left)) <= 0) return;
    }
    if (pending.headTooLong()) {
        std::uint64_t sent = 0;
        while (pending.answer("HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\n\r\n", sent) ==
               PendingConnection::Progress::wantWrite) {
        }
        return;
    }
    ReceivedHead head = pending.release(Clock::now());
    head.client = client;
    f.server->serve(std::move(head));
}

// The text of the first <name>...</name> of an answer, or "" when there is none.
std::string element(const std::string& answer, const std::string& name) {
    size_t at = answer.find("<" + name + ">");
    if (at == std::string::npos) return std::string();
    at += name.size() + 2;
    size_t end = answer.find('<', at);
    return end == std::string::npos ? std::string() : answer.substr(at, end - at);
}

void replaceAll(std::string& text, const std::string& what, const std::string& with) {
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + with.size()))
        text.replace(at, what.size(), with);
}

// Puts the values in and keeps a Content-Length that matched the body matching it.
std::string substitute(std::string request, const std::string& session, const std::string& path) {
    const size_t headEnd = request.find("\r\n\r\n");
    const size_t before = headEnd == std::string::npos ? 0 : request.size() - headEnd - 4;
    replaceAll(request, "${session}", session);
    replaceAll(request, "${path}", path);
    if (headEnd == std::string::npos) return request;
    const size_t newEnd = request.find("\r\n\r\n");
    const std::string old = "Content-Length: " + std::to_string(before) + "\r\n";
    const size_t at = request.find(old);
    if (at != std::string::npos && at < newEnd)
        request.replace(at, old.size(), "Content-Length: " + std::to_string(request.size() - newEnd - 4) + "\r\n");
    return request;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Fixture& f = fixture();
    const unsigned n = ++f.inputs;
    const std::string client = n % 2 ? "10." + std::to_string(n >> 16 & 255) + "." + std::to_string(n >> 8 & 255) +
                                           "." + std::to_string(n & 255)
                                     : "2001:db8:" + std::to_string(n % 9999) + "::1";
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::string separator = "\r\n--next request--\r\n";
    std::string session, path;
    size_t start = 0;
    for (int requests = 0; requests < 8 && start <= input.size(); ++requests) {
        size_t end = input.find(separator, start);
        if (end == std::string::npos) end = input.size();
        std::string request = substitute(input.substr(start, end - start), session, path);
        start = end + separator.size();

        int pair[2];
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, pair) != 0) std::abort();
        const int peer = pair[0];
        const int flags = fcntl(peer, F_GETFL);
        fcntl(peer, F_SETFL, flags & ~O_NONBLOCK);
        const bool overTls = !request.empty() && request[0] == 0x16;
        std::string answer;
        std::thread peerThread([&] {
            answer = overTls ? tlsExchange(f.tlsClient, peer, request.substr(1)) : plainExchange(peer, request);
            close(peer);
        });
        serveLikeTheLoop(f, pair[1], overTls, client);
        peerThread.join();
        if (std::string key = element(answer, "session"); !key.empty()) session = key;
        if (std::string p = element(answer, "path"); !p.empty()) path = p;
    }
    f.service->sessions.reapIdle();
    f.restoreStore();
    return 0;
}
