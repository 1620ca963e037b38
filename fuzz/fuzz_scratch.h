// A scratch file in /dev/shm for targets whose code under test reads a path, removed when libFuzzer exits.
#ifndef ANADATA_FUZZ_SCRATCH_H
#define ANADATA_FUZZ_SCRATCH_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include <unistd.h>

// Writes the input to the scratch file and returns its path. The path lives in a plain array,
// so that it outlives the exit handler that removes the file.
inline const char* writeScratchFile(const std::uint8_t* data, std::size_t size) {
    static char path[] = "/dev/shm/fuzz-scratch-XXXXXX";
    static const bool made = [] {
        int fd = mkstemp(path);
        if (fd < 0) std::abort();
        close(fd);
        std::atexit([] { std::remove(path); });
        return true;
    }();
    (void)made;
    std::FILE* f = std::fopen(path, "wb");
    if (!f) std::abort();
    std::fwrite(data, 1, size, f);
    std::fclose(f);
    return path;
}

#endif
