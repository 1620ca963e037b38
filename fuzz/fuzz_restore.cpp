// Fuzzes the dump reader; whatever it returns must be safe to dump and to write as text.
#include <cstdint>
#include <istream>
#include <sstream>
#include <string>

#include "anadata.h"
#include "fuzz_streams.h"

namespace {

void exercise(std::istream& in) {
    qx::AnaData rec;
    try {
        rec = qx::AnaData::restore(in);
    } catch (const qx::AnaDataException&) {
        return;
    }
    std::ostringstream dumped;
    rec.dump(dumped);
    std::ostringstream text;
    try {
        text << rec;
    } catch (const qx::AnaDataException&) {
    }
    for (int i = 0; i < rec.getDimNo(); ++i) (void)rec.getDimSize(i);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const bool seekable = (data[0] & 1) != 0;
    ++data;
    --size;
    if (seekable) {
        std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
        exercise(in);
    } else {
        ForwardOnlyBuffer buffer(data, size);
        std::istream in(&buffer);
        exercise(in);
    }
    return 0;
}
