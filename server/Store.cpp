// The store directory: catalogue, staging area for uploads and the committed data files.
#include "Store.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <set>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <openssl/rand.h>

#include "Catalogue.h"
#include "ServiceError.h"

namespace fs = std::filesystem;

namespace {

// Directories of the store are the owner's alone, also when they were made before that rule.
void makeDir(const std::string& path) {
    if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST)
        throw ServiceError("cannot create " + path + ": " + std::strerror(errno), ServiceError::Kind::Internal);
    if (chmod(path.c_str(), 0700) != 0)
        throw ServiceError("cannot protect " + path + ": " + std::strerror(errno), ServiceError::Kind::Internal);
}

void syncPath(const std::string& path, int flags) {
    int fd = open(path.c_str(), flags | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) throw ServiceError("cannot open " + path + ": " + std::strerror(errno), ServiceError::Kind::Internal);
    int rc = fsync(fd);
    int err = errno;
    close(fd);
    if (rc != 0) throw ServiceError("cannot sync " + path + ": " + std::strerror(err), ServiceError::Kind::Internal);
}

std::string randomHex(size_t bytes) {
    unsigned char buf[32];
    if (bytes > sizeof buf || RAND_bytes(buf, static_cast<int>(bytes)) != 1)
        throw ServiceError("no random bytes available", ServiceError::Kind::Internal);
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (size_t i = 0; i < bytes; ++i) {
        out += digits[buf[i] >> 4];
        out += digits[buf[i] & 15];
    }
    return out;
}

}  // namespace

Store::Store(const std::string& dir) {
    if (dir.empty()) throw ServiceError("no store directory given");
    makeDir(dir);
    std::error_code ec;
    root_ = fs::canonical(dir, ec).string();
    if (ec) throw ServiceError("cannot resolve " + dir + ": " + ec.message(), ServiceError::Kind::Internal);
    makeDir(root_ + "/staging");
    makeDir(root_ + "/data");
}

std::string Store::relative(const std::string& absolutePath) const {
    std::string prefix = root_ + "/data/";
    if (absolutePath.compare(0, prefix.size(), prefix) != 0) return std::string();
    std::string rel = absolutePath.substr(root_.size() + 1);
    // Exactly data/<dir>/<file>, without empty, "." or ".." components.
    size_t parts = 0, start = 0;
    while (start <= rel.size()) {
        size_t end = rel.find('/', start);
        if (end == std::string::npos) end = rel.size();
        std::string part = rel.substr(start, end - start);
        if (part.empty() || part == "." || part == "..") return std::string();
        ++parts;
        start = end + 1;
    }
    return parts == 3 ? rel : std::string();
}

int Store::openData(const std::string& relativePath) const {
    // One component at a time, none of them a symbolic link: a link planted under data/ must not lead
    // out of the store. O_NONBLOCK keeps a planted FIFO from blocking the open.
    int fd = open(root_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    size_t start = 0;
    while (fd >= 0) {
        size_t slash = relativePath.find('/', start);
        bool last = slash == std::string::npos;
        std::string part = relativePath.substr(start, last ? std::string::npos : slash - start);
        int flags = O_RDONLY | O_NOFOLLOW | O_CLOEXEC | (last ? O_NONBLOCK : O_DIRECTORY);
        int next = openat(fd, part.c_str(), flags);
        close(fd);
        fd = next;
        if (last) break;
        start = slash + 1;
    }
    struct stat st {};
    if (fd >= 0 && (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode))) {
        close(fd);
        fd = -1;
    }
    return fd;
}

std::string Store::install(const std::string& stagingFile, const std::string& filename) const {
    syncPath(stagingFile, O_RDONLY);
    std::string dir = "data/" + randomHex(16);
    makeDir(absolute(dir));
    if (rename(stagingFile.c_str(), absolute(dir + "/" + filename).c_str()) != 0) {
        int err = errno;
        rmdir(absolute(dir).c_str());
        throw ServiceError("cannot move upload into place: " + std::string(std::strerror(err)),
                           ServiceError::Kind::Internal);
    }
    syncPath(absolute(dir), O_RDONLY | O_DIRECTORY);
    syncPath(root_ + "/data", O_RDONLY | O_DIRECTORY);
    return dir;
}

void Store::discard(const std::string& relativePath) const {
    std::string path = absolute(relativePath);
    unlink(path.c_str());
    auto slash = path.rfind('/');
    rmdir(path.substr(0, slash).c_str());
}

std::vector<std::string> Store::strays(Catalogue& catalogue) const {
    std::vector<std::string> out;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(root_ + "/staging", ec))
        out.push_back("staging/" + entry.path().filename().string());

    std::set<std::string> files, dirs;
    for (const auto& e : catalogue.all()) {
        files.insert(e.relativePath());
        dirs.insert(e.directory);
    }
    for (const auto& d : fs::directory_iterator(root_ + "/data", ec)) {
        std::string rel = "data/" + d.path().filename().string();
        std::error_code inner;
        if (!dirs.count(rel) || !d.is_directory(inner) || d.is_symlink(inner)) {
            out.push_back(rel + (d.is_directory(inner) && !d.is_symlink(inner) ? "/" : ""));
            continue;
        }
        for (const auto& f : fs::directory_iterator(d.path(), inner))
            if (!files.count(rel + "/" + f.path().filename().string()))
                out.push_back(rel + "/" + f.path().filename().string());
    }
    std::sort(out.begin(), out.end());
    return out;
}

void Store::removeStray(std::string stray, std::error_code& ec) const {
    if (!stray.empty() && stray.back() == '/') stray.pop_back();
    fs::remove_all(absolute(stray), ec);
}

void Store::recover(Catalogue& catalogue) const {
    std::error_code ec;
    for (const auto& stray : strays(catalogue)) removeStray(stray, ec);
}
