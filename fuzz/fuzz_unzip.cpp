// libFuzzer target: qx::unzip on arbitrary archive bytes.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <unistd.h>

#include "anadata_util.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // One scratch directory per run, removed when libFuzzer exits (a plain array, so that it
    // outlives the exit handler).
    static char pattern[] = "/dev/shm/fuzz-unzip-XXXXXX";
    static const std::string dir = [] {
        if (!mkdtemp(pattern)) std::abort();
        std::atexit([] { rmdir(pattern); });
        return std::string(pattern);
    }();
    std::string archive = dir + "/in.zip", out = dir + "/out";
    std::FILE* f = std::fopen(archive.c_str(), "wb");
    if (!f) std::abort();
    std::fwrite(data, 1, size, f);
    std::fclose(f);
    qx::unzip(archive, out);
    std::remove(out.c_str());
    std::remove(archive.c_str());
    return 0;
}
