// libFuzzer target: settings file, key/value file, escape and the splitter on arbitrary text.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include <unistd.h>

#include "clsAnaDataAccess.h"
#include "clsSeparater.h"
#include "keyvalue.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // One scratch file per run, removed when libFuzzer exits (a plain array, so that it
    // outlives the exit handler).
    static char pattern[] = "/dev/shm/fuzz-settings-XXXXXX";
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
    qx::clsAnaDataAccess::iniload(path.c_str());
    std::map<std::string, std::string> table;
    loadHash(path.c_str(), table);
    std::string text(reinterpret_cast<const char*>(data), size);
    escape(text);
    clsSeparater split(text.c_str(), size > 0 ? static_cast<char>(data[0]) : ',');
    clsSeparater copy(split);
    for (int i = -1; i <= copy.count; ++i) (void)copy[i];
    return 0;
}
