// The dump image of a whole record, and the check that tells dump and text files apart.
#include "anadata.h"

#include <istream>
#include <ostream>

#include "record_access.h"

namespace qx {

namespace {

constexpr int magicNumber = 35088;

}  // namespace

void AnaData::dump(std::ostream& os) const {
    qx::dump(os, magicNumber);
    qx::dump(os, dimNo);
    qx::dump(os, valNo);
    qx::dump(os, shotNo);
    qx::dump(os, subNo);
    qx::dump(os, date);
    qx::dump(os, diagnostics);
    qx::dump(os, comment);
    qx::dump(os, dims);
    qx::dump(os, vals);
    qx::dump(os, factor);
    qx::dump(os, dimMap);
    qx::dump(os, valMap);
}

AnaData AnaData::restore(std::istream& is) {
    if (read_int(is) != magicNumber) throw AnaDataException("It doesn't seem like an AnaData file.");
    // The lists read below replace the constructor's, so the declared counts are stored as
    // they are instead of sizing lists from a number nobody has checked yet.
    AnaData rec;
    rec.dimNo = read_int(is);
    rec.valNo = read_int(is);
    rec.shotNo = read_int(is);
    rec.subNo = read_int(is);
    rec.date = read_string(is);
    rec.diagnostics = read_string(is);
    rec.comment = read_string(is);
    rec.dims = read_dim_array(is);
    rec.vals = read_dim_array(is);
    rec.factor = read_int_array(is);
    rec.dimMap = read_hash(is);
    rec.valMap = read_hash(is);
    rec.factorValid = false;
    return rec;
}

int AnaData::checkHeader(std::istream& is) {
    // A stream that has already failed (a file that did not open) is left as it is.
    if (!is) return 2;
    const std::streampos start = is.tellg();
    unsigned char bytes[4] = {0, 0, 0, 0};
    is.read(reinterpret_cast<char*>(bytes), 4);
    const std::streamsize got = is.gcount();
    int code = 2;
    if (got == 4) {
        const int value = static_cast<int>(static_cast<unsigned>(bytes[0]) | (static_cast<unsigned>(bytes[1]) << 8) |
                                           (static_cast<unsigned>(bytes[2]) << 16) |
                                           (static_cast<unsigned>(bytes[3]) << 24));
        if (value == magicNumber) {
            code = 1;
        } else if (bytes[0] == '#') {
            code = 0;
        }
    }
    // Give the bytes back: seek where possible, otherwise push them back last byte first.
    if (got < 4) is.clear(is.rdstate() & ~(std::ios::eofbit | std::ios::failbit));
    if (start != std::streampos(-1)) {
        is.seekg(start);
    } else {
        for (std::streamsize i = got; i-- > 0;) is.putback(static_cast<char>(bytes[i]));
    }
    return code;
}

}  // namespace qx
