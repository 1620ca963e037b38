// The part file of an interrupted download: its header, the bytes it keeps, and its removal.
#include "part_file.h"

#include <cerrno>
#include <cstring>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Connection.h"
#include "error.h"

namespace anadata::detail {

namespace {

// Strings carry their length, so that no two identities give the same header.
std::string field(const char* key, const std::string& value) {
    return std::string(key) + " " + std::to_string(value.size()) + ":" + value + "\n";
}

std::string headerOf(const PartIdentity& id) {
    return "anadata partial download 1\n" + field("endpoint", id.endpoint) + field("name", id.name) +
           "shot " + std::to_string(id.shot) + "/" + std::to_string(id.subshot) + "\n" + field("date", id.fileDate) +
           "size " + std::to_string(id.size) + "\n\n";
}

bool readAt(int fd, std::string& out, std::size_t size) {
    out.resize(size);
    std::size_t done = 0;
    while (done < size) {
        const ssize_t n = pread(fd, &out[done], size - done, static_cast<off_t>(done));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += static_cast<std::size_t>(n);
    }
    return true;
}

}  // namespace

PartFile::PartFile(const std::string& target, const PartIdentity& identity) : path_(pathFor(target)) {
    const auto fail = [this](const std::string& what) {
        const std::string reason = std::strerror(errno);
        if (fd_ >= 0) close(fd_);
        throw Error(ErrorCode::local_io, what + " " + path_ + ": " + reason);
    };
    struct stat info;
    // A download that ends unlinks the file while it holds the lock; one that opened the file just
    // before would then lock a file no longer there, and opens the name again.
    for (;;) {
        fd_ = open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0666);
        if (fd_ < 0) fail("cannot open");
        if (flock(fd_, LOCK_EX | LOCK_NB) != 0) {
            if (errno != EWOULDBLOCK) fail("cannot lock");
            close(fd_);
            throw Error(ErrorCode::local_io, path_ + ": another download is writing it");
        }
        struct stat named;
        if (fstat(fd_, &info) != 0) fail("cannot read");
        if (stat(path_.c_str(), &named) == 0 && named.st_ino == info.st_ino && named.st_dev == info.st_dev) break;
        close(fd_);
    }
    const std::string header = headerOf(identity);
    header_ = header.size();
    std::string found;
    const std::uint64_t length = static_cast<std::uint64_t>(info.st_size);
    if (S_ISREG(info.st_mode) && length >= header_ && readAt(fd_, found, header.size()) && found == header) {
        held_ = std::min<std::uint64_t>(length - header_, identity.size);
        held_ -= held_ % static_cast<std::uint64_t>(blockSize);
    } else {
        if (ftruncate(fd_, 0) != 0 || pwrite(fd_, header.data(), header.size(), 0) != static_cast<ssize_t>(header.size()))
            fail("cannot write");
    }
    if (ftruncate(fd_, static_cast<off_t>(header_ + held_)) != 0 ||
        lseek(fd_, static_cast<off_t>(header_ + held_), SEEK_SET) < 0)
        fail("cannot write");
}

PartFile::~PartFile() {
    if (fd_ >= 0) close(fd_);
}

void PartFile::replay(const std::function<void(const unsigned char* data, std::size_t size)>& sink) const {
    std::vector<unsigned char> buffer(1u << 20);
    for (std::uint64_t at = 0; at < held_;) {
        const std::size_t want = static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), held_ - at));
        const ssize_t n = pread(fd_, buffer.data(), want, static_cast<off_t>(header_ + at));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            if (n == 0) errno = EIO;  // shortened by someone else meanwhile
            throw Error(ErrorCode::local_io, "cannot read " + path_ + ": " + std::strerror(errno));
        }
        sink(buffer.data(), static_cast<std::size_t>(n));
        at += static_cast<std::uint64_t>(n);
    }
}

void PartFile::append(const unsigned char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t n = ::write(fd_, data, size);
        if (n < 0 && errno == EINTR) continue;
        if (n == 0) errno = ENOSPC;
        if (n <= 0) throw Error(ErrorCode::local_io, "cannot write " + path_ + ": " + std::strerror(errno));
        data += n;
        size -= static_cast<std::size_t>(n);
        held_ += static_cast<std::uint64_t>(n);
    }
}

void PartFile::restart() {
    if (ftruncate(fd_, static_cast<off_t>(header_)) != 0 || lseek(fd_, static_cast<off_t>(header_), SEEK_SET) < 0)
        throw Error(ErrorCode::local_io, "cannot write " + path_ + ": " + std::strerror(errno));
    held_ = 0;
}

void PartFile::leave() {
    if (held_ < static_cast<std::uint64_t>(blockSize)) remove();
}

void PartFile::remove() {
    if (fd_ < 0) return;
    unlink(path_.c_str());  // while still locked, so that no other download takes it up meanwhile
    close(fd_);
    fd_ = -1;
}

}  // namespace anadata::detail
