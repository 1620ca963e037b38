// What hostile clients cost anadata-server: a normal request while slow connections trickle, refused
// logins of existing and unknown accounts, and a 100 MB ns:getData transfer over https next to http.
//
// hostile_bench [MB] [--server PROGRAM]: PROGRAM defaults to the server of this build; another one
// (an older build) gives the figures it had. Parts a server cannot run (https) are reported skipped.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "ServerProcess.h"
#include "ServiceClient.h"
#include "TempDir.h"

namespace {

using Clock = std::chrono::steady_clock;

double since(Clock::time_point t0) { return std::chrono::duration<double>(Clock::now() - t0).count(); }

std::string program = ANADATA_SERVER_PROGRAM;

void addUser(const std::string& store, const std::string& name) {
    ServerProcess::runToEnd(program, {"--store", store, "--add-user", name}, "right\n");
}

// Seconds of one ns:getDiagnostics on a new connection, or a negative number when it failed.
double diagnosticsCall(const std::string& url, int timeout = 60) {
    ServiceClient c(url, nullptr, timeout);
    ns__StringArray names;
    auto t0 = Clock::now();
    int rc = c.call(soap_call_ns__getDiagnostics, names);
    return rc ? -since(t0) : since(t0);
}

// Connections that send a request head one byte every two seconds until stopped.
class Tricklers {
public:
    Tricklers(int port, int count) {
        for (int i = 0; i < count; ++i) {
            int fd = socket(AF_INET, SOCK_STREAM, 0);
            sockaddr_in a{};
            a.sin_family = AF_INET;
            a.sin_port = htons(static_cast<uint16_t>(port));
            a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
            if (connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0) fds_.push_back(fd);
            else close(fd);
        }
        thread_ = std::thread([this] {
            const std::string head = "POST / HTTP/1.1\r\nHost: 127.0.0.1\r\nX-Slow: ";
            for (size_t i = 0; !stop_; ++i) {
                char c = i < head.size() ? head[i] : 'a';
                for (int fd : fds_) send(fd, &c, 1, MSG_NOSIGNAL);
                for (int t = 0; t < 20 && !stop_; ++t) std::this_thread::sleep_for(std::chrono::milliseconds(100));
            }
        });
    }
    ~Tricklers() {
        stop_ = true;
        thread_.join();
        for (int fd : fds_) close(fd);
    }

private:
    std::vector<int> fds_;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

void slowClients(const TempDir& dir) {
    std::string store = dir.file("slow");
    ServerProcess server(program, ServerProcess::storeArgs(store));
    double alone = 1e9;
    for (int i = 0; i < 5; ++i) alone = std::min(alone, diagnosticsCall(server.url()));
    std::printf("normal request, nothing else connected      %8.2f ms\n", alone * 1e3);
    Tricklers slow(server.port(), 8);
    std::this_thread::sleep_for(std::chrono::seconds(3));
    double t = diagnosticsCall(server.url());
    if (t < 0) std::printf("normal request, 8 slow connections trickling  no answer after %.1f s\n", -t);
    else std::printf("normal request, 8 slow connections trickling %8.2f ms\n", t * 1e3);
}

// Median seconds of refused ns:changePassword calls, each account tried `rounds` times.
double refusedLogins(const std::string& url, const std::vector<std::string>& accounts, int rounds) {
    std::vector<double> times;
    for (int r = 0; r < rounds; ++r)
        for (const auto& name : accounts) {
            ServiceClient c(url);
            int ret = 0;
            auto t0 = Clock::now();
            if (c.call(soap_call_ns__changePassword, s(name), s("wrong"), s("other"), ret) == 0) return -1;
            times.push_back(since(t0));
        }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

void logins(const TempDir& dir) {
    // Three accounts of each kind, three attempts each: below any lock, so every refusal checks a password.
    std::string store = dir.file("logins");
    std::vector<std::string> known{"k1", "k2", "k3"}, unknown{"u1", "u2", "u3"};
    for (const auto& name : known) addUser(store, name);
    for (const auto* group : {&known, &unknown}) {
        ServerProcess server(program, ServerProcess::storeArgs(store));
        double median = refusedLogins(server.url(), *group, 3);
        std::printf("refused login, %-8s account (median of 9)  %8.2f ms\n", group == &known ? "existing" : "unknown",
                    median * 1e3);
    }
}

bool run(const std::string& command) { return std::system((command + " >/dev/null 2>&1").c_str()) == 0; }

// A throwaway authority and a certificate for 127.0.0.1 signed by it.
bool makeCertificate(const TempDir& dir) {
    std::string d = dir.path();
    return run("openssl req -x509 -newkey rsa:2048 -nodes -days 1 -subj /CN=bench-ca -keyout " + d + "/ca.key -out " +
               d + "/ca.pem") &&
           run("openssl req -newkey rsa:2048 -nodes -subj /CN=127.0.0.1 -keyout " + d + "/server.key -out " + d +
               "/server.csr") &&
           run("printf 'subjectAltName=IP:127.0.0.1,DNS:localhost\\n' > " + d + "/san.ext") &&
           run("openssl x509 -req -days 1 -in " + d + "/server.csr -CA " + d + "/ca.pem -CAkey " + d +
               "/ca.key -CAcreateserial -extfile " + d + "/san.ext -out " + d + "/server.pem");
}

double download(const std::string& url, const char* ca, const std::string& path, size_t expected) {
    ServiceClient c(url, ca);
    std::string back;
    auto t0 = Clock::now();
    if (c.download(path, back) || back.size() != expected) {
        std::printf("download from %s failed: %s\n", url.c_str(), c.fault().c_str());
        return -1;
    }
    return since(t0);
}

void transfer(const TempDir& dir, size_t bytes) {
    std::string store = dir.file("transfer");
    addUser(store, "bench");
    std::string payload(bytes, '\0');
    for (size_t i = 0; i < bytes; ++i) payload[i] = static_cast<char>((i * 2654435761u) >> 13);
    std::string path;
    double mb = static_cast<double>(bytes) / (1 << 20), plain = -1;
    {
        ServerProcess server(program, ServerProcess::storeArgs(store));
        ServiceClient up(server.url());
        if (up.upload("bench", "right", dataSet("bench", 1, 1), payload)) {
            std::printf("upload failed: %s\n", up.fault().c_str());
            return;
        }
        path = up.pathOf("bench", 1, 1);
        download(server.url(), nullptr, path, bytes);  // warm the page cache
        plain = download(server.url(), nullptr, path, bytes);
    }
    std::printf("getData %.0f MB over http                   %8.1f MB/s (%.2f s)\n", mb, mb / plain, plain);
    if (!makeCertificate(dir)) {
        std::printf("getData over https: skipped (openssl could not make a certificate)\n");
        return;
    }
    try {
        ServerProcess server(program, ServerProcess::storeArgs(store, {"--tls-cert", dir.file("server.pem"),
                                                                       "--tls-key", dir.file("server.key")}));
        std::string ca = dir.file("ca.pem");
        download(server.url(), ca.c_str(), path, bytes);
        double secure = download(server.url(), ca.c_str(), path, bytes);
        std::printf("getData %.0f MB over https                  %8.1f MB/s (%.2f s)\n", mb, mb / secure, secure);
    } catch (const std::exception& e) {
        std::printf("getData over https: skipped (%s)\n", e.what());
    }
}

}  // namespace

int main(int argc, char** argv) {
    size_t mb = 100;
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--server" && i + 1 < argc) program = argv[++i];
        else mb = std::stoul(arg);
    }
    soap_ssl_init();
    std::printf("server %s\n", program.c_str());
    TempDir dir;
    slowClients(dir);
    logins(dir);
    transfer(dir, mb << 20);
    return 0;
}
