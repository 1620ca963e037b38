// libFuzzer target: qx::unzip on arbitrary archive bytes.
#include <cstdint>
#include <cstdio>
#include <string>

#include "anadata_util.h"
#include "fuzz_scratch.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // The archive is the scratch file; the entry goes next to it.
    const std::string archive = writeScratchFile(data, size);
    const std::string out = archive + ".out";
    qx::unzip(archive, out);
    std::remove(out.c_str());
    return 0;
}
