// Staging a file under a temporary name and moving it onto its target in one rename.
#include "staged_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "error.h"
#include "temporary_file.h"

namespace anadata::detail {

namespace {

std::string directoryOf(const std::string& path) {
    const std::string parent = std::filesystem::path(path).parent_path().string();
    return parent.empty() ? "." : parent;
}

[[noreturn]] void fail(const std::string& what) {
    throw Error(ErrorCode::local_io, what + ": " + std::strerror(errno));
}

// A dangling link counts: the rename would replace it.
bool exists(const std::string& path) {
    struct stat info;
    return lstat(path.c_str(), &info) == 0;
}

// rename() that never replaces; file systems without RENAME_NOREPLACE get link(), which refuses
// an existing name just the same.
int renameNoReplace(const std::string& from, const std::string& to) {
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
    if (errno != EINVAL && errno != ENOSYS) return -1;
    if (link(from.c_str(), to.c_str()) != 0) return -1;
    unlink(from.c_str());
    return 0;
}

}  // namespace

StagedFile::StagedFile(const std::string& target, bool overwrite) : target_(target), overwrite_(overwrite) {
    if (!overwrite_ && exists(target_)) throw Error(ErrorCode::local_io, target_ + ": exists (not overwritten)");
    fd_ = createUniqueFile(directoryOf(target_), ".anadata-", 0666, staged_);
    if (fd_ < 0) fail("cannot create a file in " + directoryOf(target_));
}

StagedFile::~StagedFile() {
    if (fd_ >= 0) close(fd_);
    if (!staged_.empty()) unlink(staged_.c_str());
}

void StagedFile::write(const char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t n = ::write(fd_, data, size);
        if (n < 0 && errno == EINTR) continue;
        if (n == 0) errno = ENOSPC;
        if (n <= 0) fail("cannot write " + target_);
        data += n;
        size -= static_cast<std::size_t>(n);
    }
}

void StagedFile::commit() {
    const int fd = fd_;
    fd_ = -1;
    if (close(fd) != 0) fail("cannot write " + target_);
    const int moved = overwrite_ ? std::rename(staged_.c_str(), target_.c_str()) : renameNoReplace(staged_, target_);
    if (moved != 0) {
        if (errno == EEXIST) throw Error(ErrorCode::local_io, target_ + ": exists (not overwritten)");
        fail("cannot write " + target_);
    }
    staged_.clear();
}

}  // namespace anadata::detail
