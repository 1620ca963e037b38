// Times clsAnaDataAccess::Regist and ::Get of one generated data file against anadata-server on
// 127.0.0.1, next to zip -6 + curl --data-binary and curl + unzip -p against a plain HTTP server.
// Usage: bench_client [megabytes (default 100)] [rounds (default 3)] [get]
// With "get" it only registers once and then fetches `rounds` times (for a profiler).
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ServerProcess.h"
#include "TavolenSoapClient.h"
#include "TempDir.h"
#include "anadata_util.h"
#include "bench_common.h"
#include "clsAnaDataAccess.h"

using bench::bestSeconds;
using bench::writeDataFile;

namespace {

// The plain HTTP server of the reference runs: GET sends one file, POST reads and drops the body.
class PlainHttp {
public:
    explicit PlainHttp(std::string file) : file_(std::move(file)) {
        listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in addr{};
        addr.sin_family = AF_INET;
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t len = sizeof addr;
        if (bind(listener_, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 || listen(listener_, 4) != 0 ||
            getsockname(listener_, reinterpret_cast<sockaddr*>(&addr), &len) != 0) {
            std::perror("listen");
            std::exit(1);
        }
        url_ = "http://127.0.0.1:" + std::to_string(ntohs(addr.sin_port)) + "/";
        thread_ = std::thread([this] { run(); });
    }
    ~PlainHttp() {
        stop_ = true;
        thread_.join();
        close(listener_);
    }
    const std::string& url() const { return url_; }

private:
    void run() {
        while (!stop_) {
            pollfd p{listener_, POLLIN, 0};
            if (poll(&p, 1, 50) <= 0) continue;
            int fd = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
            if (fd >= 0) serve(fd);
            if (fd >= 0) close(fd);
        }
    }
    void serve(int fd) {
        std::string head;
        char buf[1 << 16];
        while (head.find("\r\n\r\n") == std::string::npos) {
            ssize_t n = recv(fd, buf, sizeof buf, 0);
            if (n <= 0) return;
            head.append(buf, static_cast<size_t>(n));
        }
        size_t body = head.size() - head.find("\r\n\r\n") - 4;
        if (head.compare(0, 4, "POST") == 0) {
            size_t at = head.find("Content-Length: ");
            size_t length = at == std::string::npos ? 0 : std::stoul(head.substr(at + 16));
            while (body < length) {
                ssize_t n = recv(fd, buf, sizeof buf, 0);
                if (n <= 0) return;
                body += static_cast<size_t>(n);
            }
            reply(fd, "HTTP/1.1 200 OK\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
            return;
        }
        int in = open(file_.c_str(), O_RDONLY | O_CLOEXEC);
        struct stat st;
        fstat(in, &st);
        reply(fd, "HTTP/1.1 200 OK\r\nContent-Type: application/zip\r\nContent-Length: " + std::to_string(st.st_size) +
                      "\r\nConnection: close\r\n\r\n");
        off_t offset = 0;
        while (offset < st.st_size && sendfile(fd, in, &offset, static_cast<size_t>(st.st_size - offset)) > 0) {
        }
        close(in);
    }
    static void reply(int fd, const std::string& text) {
        if (send(fd, text.data(), text.size(), MSG_NOSIGNAL) < 0) std::perror("send");
    }

    std::string file_, url_;
    int listener_ = -1;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

int run(const std::string& command) {
    return std::system(command.c_str());
}

}  // namespace

int main(int argc, char** argv) {
    std::size_t megabytes = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 100;
    int rounds = argc > 2 ? std::atoi(argv[2]) : 3;
    TempDir dir;
    std::string name = "bench-client-" + std::to_string(getpid()) + ".dat";
    std::string data = dir.file(name);
    writeDataFile(data, megabytes << 20);
    std::string store = dir.file("store");
    if (ServerProcess::runToEnd(ANADATA_SERVER_PROGRAM, {"--store", store, "--add-user", "bench"}, "bench\n") != 0)
        return 1;
    ServerProcess server(ANADATA_SERVER_PROGRAM, ServerProcess::storeArgs(store));
    writeFile(dir.file("client.ini"), "[tserver]\naccount=bench\npasswd=bench\nendpoint=" + server.url() + "\n");
    qx::clsAnaDataAccess access(dir.file("client.ini").c_str());

    if (argc > 3 && std::string(argv[3]) == "get") {
        if (!access.Regist(dir.path().c_str(), name.c_str(), "bench", 1, 1, nullptr, "bench")) return 1;
        std::filesystem::create_directories(dir.file("got"));
        std::printf("registered\n");
        std::fflush(stdout);
        for (int r = 0; r < rounds; ++r) {
            std::string file = "data.dat";
            if (!access.Get("bench", 1, 1, file, dir.file("got").c_str(), false)) return 1;
        }
        return 0;
    }

    // Our side: Regist (zip into /tmp, upload), Get with extraction, and Get of the archive alone
    // (the block transfer without unzip); minizip alone separates packing from the upload.
    std::string archive = dir.file("archive.zip");
    double pack = bestSeconds(rounds, [&] { return qx::minizip(archive, data) == 0; });
    double regist = bestSeconds(rounds, [&] {
        return access.Regist(dir.path().c_str(), name.c_str(), "bench", 1, 1, nullptr, "bench");
    });
    std::filesystem::create_directories(dir.file("got"));
    double get = bestSeconds(rounds, [&] {
        std::string file = "data.dat";
        return access.Get("bench", 1, 1, file, dir.file("got").c_str(), false);
    });
    double fetch = bestSeconds(rounds, [&] {
        std::string file = "archive.zip";
        return access.Get("bench", 1, 1, file, dir.file("got").c_str(), true);
    });
    // The block transfers alone, through the wrapper: upload of the archive, download into a file.
    double putBlocks = bestSeconds(rounds, [&] {
        TavolenSoapClient client(server.url().c_str());
        return client.putData("bench", "bench", dir.path().c_str(), "archive.zip", "blocks", 1, 1, "");
    });
    double getBlocks = bestSeconds(rounds, [&] {
        TavolenSoapClient client(server.url().c_str());
        std::string file;
        std::filesystem::remove(dir.file("blocks.zip"));
        return client.getData("blocks", 1, 1, file, dir.path().c_str(), "blocks.zip");
    });
    bool same = readFile(dir.file("got/data.dat")) == readFile(data);

    // The same work by standard tools.
    PlainHttp plain(dir.file("got/archive.zip"));
    double zipCurl = bestSeconds(rounds, [&] {
        std::filesystem::remove(dir.file("up.zip"));
        return run("zip -6 -q -j " + dir.file("up.zip") + " " + data + " && curl -s -o /dev/null --data-binary @" +
                   dir.file("up.zip") + " " + plain.url() + "upload") == 0;
    });
    double curlUnzip = bestSeconds(rounds, [&] {
        return run("curl -s -o " + dir.file("dl.zip") + " " + plain.url() + "archive.zip && unzip -p " +
                   dir.file("dl.zip") + " > " + dir.file("dl.dat")) == 0;
    });
    double curlOnly = bestSeconds(rounds, [&] {
        return run("curl -s -o " + dir.file("dl.zip") + " " + plain.url() + "archive.zip") == 0;
    });

    double mb = static_cast<double>(std::filesystem::file_size(data)) / 1e6;
    double zmb = static_cast<double>(std::filesystem::file_size(archive)) / 1e6;
    std::printf("data file %.1f MB, archive %.1f MB, best of %d, fetched copy %s\n", mb, zmb, rounds,
                same ? "identical" : "DIFFERENT");
    std::printf("Regist                     %7.3f s  %6.1f MB/s of data\n", regist, mb / regist);
    std::printf("  minizip alone            %7.3f s\n", pack);
    std::printf("  block upload alone       %7.3f s  %6.1f MB/s of archive\n", putBlocks, zmb / putBlocks);
    std::printf("zip -6 + curl --data-binary %6.3f s  %6.1f MB/s   Regist / tools = %.2f\n", zipCurl, mb / zipCurl,
                regist / zipCurl);
    std::printf("Get (extract)              %7.3f s  %6.1f MB/s of data\n", get, mb / get);
    std::printf("Get (archive kept)         %7.3f s  %6.1f MB/s of archive\n", fetch, zmb / fetch);
    std::printf("  block download alone     %7.3f s  %6.1f MB/s of archive\n", getBlocks, zmb / getBlocks);
    std::printf("curl + unzip -p            %7.3f s  %6.1f MB/s   Get / tools = %.2f\n", curlUnzip, mb / curlUnzip,
                get / curlUnzip);
    std::printf("curl alone                 %7.3f s  %6.1f MB/s of archive\n", curlOnly, zmb / curlOnly);
    return same ? 0 : 1;
}
