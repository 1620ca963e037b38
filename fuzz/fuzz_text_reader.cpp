// Fuzzes the text reader, as operator>> reads and strictly; a record either accepts must also survive
// the writer and a second read.
#include <cstdint>
#include <cstdlib>
#include <istream>
#include <sstream>
#include <string>

#include "anadata.h"
#include "fuzz_streams.h"
#include "text_reading.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    // The first byte picks a seekable or a forward-only stream, and the reading: bit 1 strict,
    // bit 2 (strict) checking without keeping the numbers.
    const bool seekable = (data[0] & 1) != 0;
    qx::TextReading how;
    how.strict = (data[0] & 2) != 0;
    how.keepNumbers = (data[0] & 4) == 0;
    ++data;
    --size;
    qx::AnaData rec;
    try {
        if (seekable) {
            std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
            qx::readTextRecord(in, rec, how);
        } else {
            ForwardOnlyBuffer buffer(data, size);
            std::istream in(&buffer);
            qx::readTextRecord(in, rec, how);
        }
    } catch (const qx::AnaDataException&) {
        return 0;
    } catch (const qx::TextFault&) {
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
        qx::readTextRecord(again, copy, how);
    } catch (const qx::AnaDataException&) {
        // A name, date or unit made of quotes or key words need not survive a round trip.
    } catch (const qx::TextFault&) {
    }
    return 0;
}
