// Opening and making the cache's directories and files.
#include "cache_directory.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace anadata::detail {

namespace {

constexpr char entriesName[] = "anadata-cache-v1";

Descriptor openDirectoryAt(int parent, const char* name, bool create) {
    Descriptor dir(::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (dir || !create || errno != ENOENT) return dir;
    // Another process may make it at the same moment; either way it then exists.
    if (::mkdirat(parent, name, 0700) != 0 && errno != EEXIST) return Descriptor();
    return Descriptor(::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

}  // namespace

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
    if (this != &other) {
        if (fd_ >= 0) ::close(fd_);
        fd_ = other.release();
    }
    return *this;
}

Descriptor::~Descriptor() {
    if (fd_ >= 0) ::close(fd_);
}

std::string entriesDirectory(const std::string& directory) {
    return directory + "/" + entriesName;
}

Descriptor openEntries(const std::string& directory, bool create) {
    // The configured directory itself may be a link (to a scratch disk, say); below it nothing is.
    Descriptor base(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!base && create && errno == ENOENT) {
        std::error_code ignored;
        std::filesystem::create_directories(directory, ignored);
        base = Descriptor(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    }
    if (!base) return base;
    return openDirectoryAt(base.get(), entriesName, create);
}

Descriptor openShard(int entries, const char* name, bool create) {
    return openDirectoryAt(entries, name, create);
}

Descriptor openEntryFile(int shard, const char* name, struct stat& info) {
    // O_NONBLOCK: a FIFO planted under an entry's name must not wait for a writer.
    Descriptor file(::openat(shard, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!file) return file;
    if (::fstat(file.get(), &info) != 0 || !S_ISREG(info.st_mode)) return Descriptor();
    return file;
}

bool removeIfSame(int shard, const char* name, const struct stat& info) {
    struct stat now;
    if (::fstatat(shard, name, &now, AT_SYMLINK_NOFOLLOW) != 0) return errno == ENOENT;
    if (now.st_ino != info.st_ino || now.st_dev != info.st_dev) {
        errno = 0;
        return false;
    }
    return ::unlinkat(shard, name, 0) == 0 || errno == ENOENT;
}

}  // namespace anadata::detail
