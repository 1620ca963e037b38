// The progress thread and the measures it watches.
#include "Progress.h"

#include <chrono>
#include <cstdio>
#include <fstream>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tool {

namespace {

constexpr long long blockSize = 819200;  // one transfer block of the service

std::string megabytes(long long bytes) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f MB", static_cast<double>(bytes) / 1e6);
    return text;
}

}  // namespace

bool Progress::wanted(long long bytes) {
    return bytes > blockSize && isatty(2) == 1;
}

Progress::Progress(std::string label, long long total, std::function<long long()> measure)
    : label_(std::move(label)), total_(total), measure_(std::move(measure)) {
    fd_ = dup(2);
    if (fd_ >= 0) thread_ = std::thread([this] { run(); });
}

Progress::~Progress() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stop_ = true;
    }
    wake_.notify_all();
    if (thread_.joinable()) thread_.join();
    if (fd_ >= 0) {
        const char clear[] = "\r\033[K";
        if (write(fd_, clear, sizeof clear - 1) < 0) { /* nothing useful to do */ }
        close(fd_);
    }
}

void Progress::run() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stop_) {
        lock.unlock();
        draw(measure_());
        lock.lock();
        wake_.wait_for(lock, std::chrono::milliseconds(200), [this] { return stop_; });
    }
}

void Progress::draw(long long done) {
    std::string line = "\r" + label_ + " ";
    if (total_ > 0) {
        if (done > total_) done = total_;
        const int width = 30;
        const int filled = static_cast<int>(done * width / total_);
        line += "[" + std::string(static_cast<std::size_t>(filled), '#') +
                std::string(static_cast<std::size_t>(width - filled), '.') + "] ";
        line += std::to_string(done * 100 / total_) + "% " + megabytes(done) + " of " + megabytes(total_);
    } else {
        line += megabytes(done);
    }
    line += "\033[K";
    if (write(fd_, line.data(), line.size()) < 0) { /* a vanished terminal just loses the bar */ }
}

long long bytesReadByProcess() {
    std::ifstream io("/proc/self/io");
    std::string key;
    long long value = 0;
    while (io >> key >> value)
        if (key == "rchar:") return value;
    return 0;
}

long long sizeOfFiles(const std::string& dir, const std::string& prefix) {
    long long total = 0;
    DIR* handle = opendir(dir.c_str());
    if (handle == nullptr) return 0;
    while (const dirent* entry = readdir(handle)) {
        const std::string name = entry->d_name;
        if (name.compare(0, prefix.size(), prefix) != 0) continue;
        struct stat info;
        if (stat((dir + "/" + name).c_str(), &info) == 0 && S_ISREG(info.st_mode)) total += info.st_size;
    }
    closedir(handle);
    return total;
}

}  // namespace tool
