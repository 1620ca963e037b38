// Benchmark of anadata-server: 100 MB up and down in 819200-byte blocks next to plain HTTP, and 8 clients at once.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include "ServerProcess.h"
#include "ServiceClient.h"
#include "TempDir.h"

namespace {

using Clock = std::chrono::steady_clock;

double seconds(Clock::time_point since) { return std::chrono::duration<double>(Clock::now() - since).count(); }

double selfCpu() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return static_cast<double>(u.ru_utime.tv_sec + u.ru_stime.tv_sec) + (u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

double processCpu(pid_t pid) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
    std::string stat((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    auto close = stat.rfind(')');
    std::vector<std::string> fields;
    size_t pos = close + 2;
    while (pos < stat.size()) {
        size_t end = stat.find(' ', pos);
        if (end == std::string::npos) end = stat.size();
        fields.push_back(stat.substr(pos, end - pos));
        pos = end + 1;
    }
    // utime and stime are fields 14 and 15 of the file, 12 and 13 after the name.
    return fields.size() > 12 ? (std::stod(fields[11]) + std::stod(fields[12])) / sysconf(_SC_CLK_TCK) : 0.0;
}

int freePort() {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof a;
    bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a);
    getsockname(fd, reinterpret_cast<sockaddr*>(&a), &len);
    close(fd);
    return ntohs(a.sin_port);
}

struct Figures {
    double wall, client, server;
};

void report(const char* what, double mb, const Figures& f) {
    std::printf("%-26s %7.1f MB/s   wall %6.2f s   client CPU %6.3f s/100MB   server CPU %6.3f s/100MB\n", what,
                mb / f.wall, f.wall, f.client / mb * 100, f.server / mb * 100);
}

template <class F>
Figures measure(pid_t server, F&& body) {
    double c0 = selfCpu(), s0 = processCpu(server);
    auto t0 = Clock::now();
    body();
    return {seconds(t0), selfCpu() - c0, processCpu(server) - s0};
}

}  // namespace

int main(int argc, char** argv) {
    size_t size = (argc > 1 ? std::stoul(argv[1]) : 100) << 20;
    double mb = static_cast<double>(size) / (1 << 20);
    TempDir dir;
    std::string store = dir.file("store");
    ServerProcess::runToEnd(ANADATA_SERVER_PROGRAM, {"--store", store, "--add-user", "bench"}, "bench\n");
    ServerProcess server(ANADATA_SERVER_PROGRAM, ServerProcess::storeArgs(store));

    std::string bytes(size, '\0');
    for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>((i * 2654435761u) >> 13);
    char diag[] = "bench";

    std::printf("payload %.0f MB in blocks of 819200 bytes over loopback\n", mb);
    ServiceClient up(server.url());
    // The first login of an account derives its PBKDF2 hash (tens of milliseconds); keep it out of the figures.
    char warm[] = "warm-up";
    up.upload("bench", "bench", dataSet(warm, 1, 1, 0), "x");
    Figures f = measure(server.pid(), [&] {
        if (up.upload("bench", "bench", dataSet(diag, 1, 1, 0), bytes)) std::printf("upload failed: %s\n", up.fault().c_str());
    });
    report("SOAP upload", mb, f);

    ServiceClient down(server.url());
    std::string path = down.pathOf("bench", 1, 1), back;
    f = measure(server.pid(), [&] {
        if (down.download(&path[0], back)) std::printf("download failed: %s\n", down.fault().c_str());
    });
    report("SOAP download", mb, f);
    if (back != bytes) std::printf("download differs from upload\n");
    back.clear();
    back.shrink_to_fit();

    // The same file over plain HTTP.
    std::string plain = dir.file("plain.zip");
    writeFile(plain, bytes);
    int port = freePort();
    pid_t http = fork();
    if (http == 0) {
        execl("/usr/bin/python3", "python3", "-m", "http.server", "--bind", "127.0.0.1", "--directory",
              dir.path().c_str(), std::to_string(port).c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    std::string url = "http://127.0.0.1:" + std::to_string(port) + "/plain.zip";
    std::string curl = "curl -s -o /dev/null --retry 20 --retry-connrefused --retry-delay 0 " + url;
    std::system(curl.c_str());  // warm-up, and waits until the server listens
    auto t0 = Clock::now();
    int rc = std::system(curl.c_str());
    double wall = seconds(t0);
    kill(http, SIGTERM);
    waitpid(http, nullptr, 0);
    std::printf("%-26s %7.1f MB/s   wall %6.2f s%s\n", "plain HTTP (curl)", mb / wall, wall, rc ? "   (curl failed)" : "");

    // 8 clients, each registering and fetching 20 data sets of 1 MB.
    std::string one(1 << 20, '\0');
    for (size_t i = 0; i < one.size(); ++i) one[i] = static_cast<char>(i * 31 + (i >> 10));
    std::atomic<int> failed{0};
    t0 = Clock::now();
    double s0 = processCpu(server.pid());
    std::vector<std::thread> clients;
    for (int c = 0; c < 8; ++c)
        clients.emplace_back([&, c] {
            ServiceClient client(server.url());
            std::string name = "client" + std::to_string(c);
            for (int i = 1; i <= 20; ++i) {
                std::string got;
                if (client.upload("bench", "bench", dataSet(&name[0], i, 1, 0), one) ||
                    client.download(&client.pathOf(name.c_str(), i, 1)[0], got) || got != one)
                    ++failed;
            }
        });
    for (auto& t : clients) t.join();
    wall = seconds(t0);
    ServiceClient check(server.url());
    size_t listed = check.list({}, 2, 20, 0, nullptr, 0).size() + check.list({}, 1, 1, 0, nullptr, 0).size();
    std::printf("8 clients x 20 data sets of 1 MB up and down: %.2f s, %d failed, %zu of 162 listed, server CPU %.2f s\n",
                wall, failed.load(), listed, processCpu(server.pid()) - s0);
    return failed ? 1 : 0;
}
