// The audit trail: one line per change to the catalogue or an account, and per refused login.
#include "AuditLog.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>

#include <fcntl.h>
#include <unistd.h>

#include "ServiceError.h"

AuditLog::AuditLog(const std::string& path) {
    fd_ = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd_ < 0)
        throw ServiceError("cannot open log " + path + ": " + std::strerror(errno), ServiceError::Kind::Internal);
}

AuditLog::~AuditLog() {
    if (fd_ > 2) close(fd_);
}

std::string AuditLog::escape(const std::string& value) {
    static const char digits[] = "0123456789ABCDEF";
    const size_t longest = 255;
    std::string out;
    for (unsigned char c : value.substr(0, longest)) {
        if (c > ' ' && c < 0x7f && c != '%') {
            out += static_cast<char>(c);
        } else {
            out += '%';
            out += digits[c >> 4];
            out += digits[c & 15];
        }
    }
    if (value.size() > longest) out += "%..";  // cannot occur in an escaped value
    return out;
}

std::string AuditLog::dataSet(const std::string& name, int shot, int sub) {
    return " data=" + escape(name) + " shot=" + std::to_string(shot) + " sub=" + std::to_string(sub);
}

void AuditLog::record(const char* event, const std::string& account, const std::string& client,
                      const std::string& details) {
    auto now = std::chrono::system_clock::now();
    std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    auto millis = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    char stamp[40];
    std::strftime(stamp, sizeof stamp, "%Y-%m-%dT%H:%M:%S", &utc);
    std::string line = std::string(stamp) + "." + std::to_string(1000 + millis).substr(1) + "Z " + event +
                       " account=" + escape(account) + " client=" + escape(client) + details + "\n";
    std::lock_guard<std::mutex> lock(mutex_);
    size_t done = 0;
    while (done < line.size()) {
        ssize_t n = write(fd_, line.data() + done, line.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return;  // a full disk must not stop the service; nothing better to do with the line
        done += static_cast<size_t>(n);
    }
}
