// A file written under a temporary name beside its target and renamed onto it at the end.
#ifndef ANADATA_UTIL_STAGED_FILE_H
#define ANADATA_UTIL_STAGED_FILE_H

#include <cstddef>
#include <string>

namespace anadata::detail {

// The temporary is created in the target's directory (so the rename never crosses file
// systems) with the usual permissions of a new file, and removed on every path but commit().
// Without overwrite an existing target is refused up front, and one that appears meanwhile is
// not replaced either. Every failure is an anadata::Error(local_io) naming the target.
class StagedFile {
public:
    StagedFile(const std::string& target, bool overwrite);
    ~StagedFile();
    StagedFile(const StagedFile&) = delete;
    StagedFile& operator=(const StagedFile&) = delete;

    void write(const char* data, std::size_t size);
    // Closes the temporary and gives it the target's name.
    void commit();

private:
    std::string target_;
    bool overwrite_;
    std::string staged_;
    int fd_ = -1;
};

}  // namespace anadata::detail

#endif
