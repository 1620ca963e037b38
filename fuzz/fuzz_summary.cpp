// libFuzzer target: getSummary on arbitrary header text; the summary must stay under 1024 characters.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <unistd.h>

#include "explog.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // One scratch file per run, removed when libFuzzer exits (a plain array, so that it outlives
    // the exit handler).
    static char pattern[] = "/dev/shm/fuzz-summary-XXXXXX";
    static const std::string path = [] {
        int fd = mkstemp(pattern);
        if (fd < 0) std::abort();
        close(fd);
        std::atexit([] { std::remove(pattern); });
        return std::string(pattern);
    }();
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) std::abort();
    std::fwrite(data, 1, size, f);
    std::fclose(f);
    std::string summary, date, time;
    try {
        qx::getSummary(path, summary, date, time);
    } catch (int) {
        // 1, 2 or 3: an unreadable file, a read error, a bad date or a missing key.
    }
    if (summary.size() >= 1024 || date.size() >= 128 || time.size() >= 128) std::abort();
    return 0;
}
