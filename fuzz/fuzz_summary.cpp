// libFuzzer target: getSummary on arbitrary header text; the summary must stay under 1024 characters.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "explog.h"
#include "fuzz_scratch.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const char* path = writeScratchFile(data, size);
    std::string summary, date, time;
    try {
        qx::getSummary(path, summary, date, time);
    } catch (int) {
        // 1, 2 or 3: an unreadable file, a read error, a bad date or a missing key.
    }
    if (summary.size() >= 1024 || date.size() >= 128 || time.size() >= 128) std::abort();
    return 0;
}
