// Runs anadata-server as a child process for a test: start with arguments, read its address, stop, restart.
#ifndef ANADATA_TEST_SERVERPROCESS_H
#define ANADATA_TEST_SERVERPROCESS_H

#include <csignal>
#include <stdexcept>
#include <string>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

class ServerProcess {
public:
    // Starts program with args and waits (at most 20 s) for its "listening on http://ADDR:PORT/" line.
    ServerProcess(std::string program, std::vector<std::string> args)
        : program_(std::move(program)), args_(std::move(args)) {
        start();
    }
    ~ServerProcess() { stop(); }
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    // The conventional arguments: a store, loopback and a free port, plus extra ones.
    static std::vector<std::string> storeArgs(const std::string& store, std::vector<std::string> extra = {}) {
        std::vector<std::string> args{"--store", store, "--bind", "127.0.0.1", "--port", "0"};
        args.insert(args.end(), extra.begin(), extra.end());
        return args;
    }

    // The next line of the server's standard output (at most 200 bytes), waiting at most timeoutMs.
    std::string nextLine(int timeoutMs = 5000) {
        std::string line;
        char c;
        pollfd p{out_, POLLIN, 0};
        while (line.size() < 200 && poll(&p, 1, timeoutMs) > 0 && read(out_, &c, 1) == 1 && c != '\n') line += c;
        return line;
    }

    const std::string& url() const { return url_; }
    int port() const { return std::stoi(url_.substr(url_.rfind(':') + 1)); }
    pid_t pid() const { return pid_; }

    // SIGTERM (SIGKILL after 10 s), or SIGKILL at once as a crash would; returns the wait status.
    int stop() { return finish(SIGTERM); }
    int kill9() { return finish(SIGKILL); }
    // Starts again with the same arguments (a new free port when the port was 0).
    void restart() {
        stop();
        start();
    }

    // Runs program with args and the given standard input to completion; returns its exit code.
    static int runToEnd(const std::string& program, const std::vector<std::string>& args, const std::string& input) {
        int in[2];
        if (pipe(in) != 0) throw std::runtime_error("pipe failed");
        pid_t pid = spawn(program, args, in[0], -1);
        close(in[0]);
        if (!input.empty() && write(in[1], input.data(), input.size()) < 0) { /* child may have exited */ }
        close(in[1]);
        int status = 0;
        waitpid(pid, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    static pid_t spawn(const std::string& program, const std::vector<std::string>& args, int stdinFd, int stdoutFd) {
        std::vector<char*> argv{const_cast<char*>(program.c_str())};
        for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        pid_t pid = fork();
        if (pid < 0) throw std::runtime_error("fork failed");
        if (pid == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);  // never outlive a test that crashed
            if (stdinFd >= 0) dup2(stdinFd, 0);
            if (stdoutFd >= 0) dup2(stdoutFd, 1);
            execv(program.c_str(), argv.data());
            _exit(127);
        }
        return pid;
    }

    void start() {
        int out[2];
        if (pipe2(out, O_CLOEXEC) != 0) throw std::runtime_error("pipe failed");
        pid_ = spawn(program_, args_, -1, out[1]);
        close(out[1]);
        out_ = out[0];  // kept open, so that later output never meets a closed pipe
        std::string line = nextLine(20000);
        const std::string prefix = "listening on ";
        if (line.compare(0, prefix.size(), prefix) != 0 || line.back() != '/') {
            kill9();
            throw std::runtime_error("unexpected first line: '" + line + "'");
        }
        url_ = line.substr(prefix.size());
    }

    int finish(int sig) {
        if (pid_ <= 0) return -1;
        kill(pid_, sig);
        int status = 0;
        for (int waited = 0; waitpid(pid_, &status, WNOHANG) == 0; ++waited) {
            if (waited == 1000) {
                kill(pid_, SIGKILL);
                waitpid(pid_, &status, 0);
                break;
            }
            usleep(10000);
        }
        pid_ = -1;
        close(out_);
        return status;
    }

    std::string program_;
    std::vector<std::string> args_;
    pid_t pid_ = -1;
    int out_ = -1;
    std::string url_;
};

#endif
