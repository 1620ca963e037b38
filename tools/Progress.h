// A progress bar on standard error, drawn by a second thread while a transfer runs.
#ifndef ANADATA_TOOLS_PROGRESS_H
#define ANADATA_TOOLS_PROGRESS_H

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace tool {

// The library has no progress callback, so the bar is fed by `measure`, which looks at the
// growth of a file (or of the bytes the process has read) from the drawing thread.
// Construct it before LibraryOutput: it keeps its own copy of the terminal descriptor.
class Progress {
public:
    // Transfers larger than one block, and only when standard error is a terminal.
    static bool wanted(long long bytes);

    // total 0 draws a byte counter instead of a bar.
    Progress(std::string label, long long total, std::function<long long()> measure);
    ~Progress();  // stops the thread and clears the line
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

private:
    void run();
    void draw(long long done);

    std::string label_;
    long long total_;
    std::function<long long()> measure_;
    int fd_ = -1;
    std::mutex mutex_;
    std::condition_variable wake_;
    bool stop_ = false;
    std::thread thread_;
};

// Bytes this process has read through read-like calls so far (/proc/self/io), 0 when unknown.
long long bytesReadByProcess();

// Sum of the sizes of the regular files in `dir` whose names begin with `prefix`.
long long sizeOfFiles(const std::string& dir, const std::string& prefix);

}  // namespace tool

#endif
