// The path, date and digit helpers: the_date, isDigit, getFileName, getDirName.
#include "anadata_util.h"

#include <cstring>
#include <ctime>

#include <sys/stat.h>

namespace qx {

std::string the_date() {
    char text[128];
    std::time_t now = std::time(nullptr);
    const std::tm* local = std::localtime(&now);
    if (local == nullptr || std::strftime(text, sizeof text, ">>%Y/%m/%d,%H:%M:%S", local) == 0)
        return std::string();
    return std::string(text);
}

bool isDigit(const char* s) {
    if (s == nullptr) return false;
    // Compared by range rather than with isdigit() so that a locale set by the calling
    // program cannot widen the set; bytes with the high bit set are never digits.
    for (const char* p = s; *p != '\0'; ++p) {
        if (*p < '0' || *p > '9') return false;
    }
    return true;
}

std::string getFileName(const char* path) {
    if (path == nullptr) return std::string();
    const char* slash = std::strrchr(path, '/');
    return std::string(slash != nullptr ? slash + 1 : path);
}

std::string getDirName(const char* path) {
    if (path == nullptr) return ".";
    const char* slash = std::strrchr(path, '/');
    if (slash == nullptr) return ".";
    struct stat info;
    // Callers pass directories where a file name is expected and rely on getting them back
    // whole; anything that is not an existing non-directory is treated the same way.
    if (::stat(path, &info) == 0 && !S_ISDIR(info.st_mode))
        return std::string(path, static_cast<std::size_t>(slash - path));
    return std::string(path);
}

}  // namespace qx
