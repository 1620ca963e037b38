// The directories and files of the cache on disk, opened so that no symbolic link, FIFO or
// directory planted where the cache expects its own files is ever followed, read or removed.
#ifndef ANADATA_CACHE_CACHE_DIRECTORY_H
#define ANADATA_CACHE_CACHE_DIRECTORY_H

#include <string>

#include <sys/stat.h>

namespace anadata::detail {

// An open file descriptor, closed with the object.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int fd) : fd_(fd) {}
    Descriptor(Descriptor&& other) noexcept : fd_(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept;
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor();

    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    int release() {
        const int fd = fd_;
        fd_ = -1;
        return fd;
    }

private:
    int fd_ = -1;
};

// The directory of the entries below the configured one: DIRECTORY/anadata-cache-v1.
std::string entriesDirectory(const std::string& directory);

// Opens the entries' directory; with `create`, makes it first (mode 0700, and the configured
// directory with its parents when they are missing). Invalid, with errno set, when it cannot be
// had (ENOENT: no cache yet; ENOTDIR or ELOOP: something else has its name).
Descriptor openEntries(const std::string& directory, bool create);

// Opens the shard directory `name` of the entries' directory, made first with `create`.
Descriptor openShard(int entries, const char* name, bool create);

// Opens the file `name` of a shard for reading and fills info; invalid when it is missing or is no
// regular file.
Descriptor openEntryFile(int shard, const char* name, struct stat& info);

// Removes `name` from the shard when it still is the file `info` was taken of. True when it is
// gone; false with errno 0 when another file has taken the name since (a fresh entry another
// process renamed there), with errno set when it cannot be removed.
bool removeIfSame(int shard, const char* name, const struct stat& info);

}  // namespace anadata::detail

#endif
