// A scripted HTTP listener on 127.0.0.1 for client tests: records every request and answers as the test says.
#ifndef ANADATA_TEST_FAKESERVICE_H
#define ANADATA_TEST_FAKESERVICE_H

#include <atomic>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

class FakeService {
public:
    // After writing `bytes`: keep serving the connection or close it; trickle writes `bytes` one at
    // a time, 200 ms apart, and then keeps serving.
    enum class Action { reply, close, trickle };
    struct Answer {
        Action action = Action::reply;
        std::string bytes;
    };
    using Script = std::function<Answer(const std::string& request)>;

    explicit FakeService(Script script) : script_(std::move(script)) {
        listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in addr{};
        addr.sin_family = AF_INET;
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t len = sizeof addr;
        if (listener_ < 0 || bind(listener_, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 ||
            listen(listener_, 8) != 0 || getsockname(listener_, reinterpret_cast<sockaddr*>(&addr), &len) != 0)
            throw std::runtime_error("cannot listen on 127.0.0.1");
        url_ = "http://127.0.0.1:" + std::to_string(ntohs(addr.sin_port)) + "/";
        thread_ = std::thread([this] { run(); });
    }
    ~FakeService() {
        stop_ = true;
        thread_.join();
        close(listener_);
    }

    const std::string& url() const { return url_; }
    int connections() const { return connections_; }
    std::vector<std::string> requests() {
        std::lock_guard<std::mutex> lock(mutex_);
        return requests_;
    }

    // A kept-alive HTTP reply carrying one SOAP body element.
    static std::string http(const std::string& content, bool fault = false) {
        std::string body = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<SOAP-ENV:Envelope xmlns:SOAP-ENV="
                           "\"http://schemas.xmlsoap.org/soap/envelope/\" xmlns:ns=\"" SERVICE_NAMESPACE
                           "\"><SOAP-ENV:Body>" + content + "</SOAP-ENV:Body></SOAP-ENV:Envelope>\n";
        return std::string(fault ? "HTTP/1.1 500 Internal Server Error" : "HTTP/1.1 200 OK") +
               "\r\nContent-Type: text/xml; charset=utf-8\r\nContent-Length: " + std::to_string(body.size()) +
               "\r\nConnection: keep-alive\r\n\r\n" + body;
    }
    static Answer fault(const std::string& text) {
        return {Action::reply, http("<SOAP-ENV:Fault><faultcode>SOAP-ENV:Client</faultcode><faultstring>" + text +
                                    "</faultstring></SOAP-ENV:Fault>", true)};
    }
    static Answer response(const std::string& op, const std::string& inner) {
        return {Action::reply, http("<ns:" + op + "Response>" + inner + "</ns:" + op + "Response>")};
    }

    // The operation name of a request ("getData"), and the text of its first element `name`.
    static std::string operationOf(const std::string& request) {
        size_t at = request.find("<ns:", request.find("<SOAP-ENV:Body"));
        return at == std::string::npos ? "" : request.substr(at + 4, request.find_first_of(" >", at) - at - 4);
    }
    static std::string valueOf(const std::string& request, const std::string& name) {
        size_t at = request.find("<" + name + ">");
        if (at == std::string::npos) return "<absent>";
        at += name.size() + 2;
        return request.substr(at, request.find('<', at) - at);
    }

private:
    void run() {
        while (!stop_) {
            pollfd p{listener_, POLLIN, 0};
            if (poll(&p, 1, 50) <= 0) continue;
            int fd = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
            if (fd < 0) continue;
            ++connections_;
            serve(fd);
            close(fd);
        }
    }

    void serve(int fd) {
        std::string pending, request;
        while (readRequest(fd, pending, request)) {
            {
                std::lock_guard<std::mutex> lock(mutex_);
                requests_.push_back(request);
            }
            Answer a = script_(request);
            if (a.action == Action::trickle) {
                for (size_t i = 0; i < a.bytes.size() && !stop_; ++i) {
                    if (send(fd, &a.bytes[i], 1, MSG_NOSIGNAL) != 1) return;
                    poll(nullptr, 0, 200);
                }
                continue;
            }
            if (send(fd, a.bytes.data(), a.bytes.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(a.bytes.size())) return;
            if (a.action != Action::reply) return;
        }
    }

    // One request (headers and a Content-Length body); false at the end of the connection.
    bool readRequest(int fd, std::string& pending, std::string& request) {
        for (;;) {
            size_t end = pending.find("\r\n\r\n");
            if (end != std::string::npos) {
                size_t at = pending.find("Content-Length: ");
                size_t whole = end + 4 + (at < end ? std::stoul(pending.substr(at + 16)) : 0);
                if (pending.size() >= whole) {
                    request = pending.substr(0, whole);
                    pending.erase(0, whole);
                    return true;
                }
            }
            char buf[65536];
            pollfd p{fd, POLLIN, 0};
            if (stop_) return false;
            if (poll(&p, 1, 50) == 0) continue;
            ssize_t n = recv(fd, buf, sizeof buf, 0);
            if (n <= 0) return false;
            pending.append(buf, static_cast<size_t>(n));
        }
    }

    Script script_;
    int listener_ = -1;
    std::string url_;
    std::atomic<bool> stop_{false};
    std::atomic<int> connections_{0};
    std::mutex mutex_;
    std::vector<std::string> requests_;
    std::thread thread_;
};

#endif
