// Exclusive creation of uniquely named files.
#include "temporary_file.h"

#include <cerrno>
#include <random>

#include <fcntl.h>

namespace anadata::detail {

int createUniqueFile(const std::string& dir, const std::string& prefix, mode_t mode, std::string& path) {
    static const char letters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    std::random_device seed;
    std::minstd_rand pick(seed());
    for (int attempt = 0; attempt < 100; ++attempt) {
        std::string candidate = dir + "/" + prefix;
        for (int i = 0; i < 6; ++i) candidate += letters[pick() % (sizeof letters - 1)];
        const int fd = open(candidate.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
        if (fd >= 0) {
            path = candidate;
            return fd;
        }
        if (errno != EEXIST) return -1;
    }
    errno = EEXIST;
    return -1;
}

}  // namespace anadata::detail
