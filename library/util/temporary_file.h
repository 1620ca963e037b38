// Creating a file under a fresh random name in a given directory, exclusively.
#ifndef ANADATA_UTIL_TEMPORARY_FILE_H
#define ANADATA_UTIL_TEMPORARY_FILE_H

#include <string>

#include <sys/types.h>

namespace anadata::detail {

// Creates dir + "/" + prefix + six random letters with O_CREAT|O_EXCL and the given mode (the
// umask applies), so that no two callers ever share a name. Returns the open descriptor
// (O_WRONLY, close-on-exec) and sets path, or returns -1 with errno set when no file can be made.
int createUniqueFile(const std::string& dir, const std::string& prefix, mode_t mode, std::string& path);

}  // namespace anadata::detail

#endif
