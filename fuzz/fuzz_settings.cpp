// libFuzzer target: settings file, key/value file, escape and the splitter on arbitrary text.
#include <cstdint>
#include <map>
#include <string>

#include "clsAnaDataAccess.h"
#include "clsSeparater.h"
#include "fuzz_scratch.h"
#include "keyvalue.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const char* path = writeScratchFile(data, size);
    qx::clsAnaDataAccess::iniload(path);
    std::map<std::string, std::string> table;
    loadHash(path, table);
    std::string text(reinterpret_cast<const char*>(data), size);
    escape(text);
    clsSeparater split(text.c_str(), size > 0 ? static_cast<char>(data[0]) : ',');
    clsSeparater copy(split);
    for (int i = -1; i <= copy.count; ++i) (void)copy[i];
    return 0;
}
