// The text-format reader: header keys, validation, comments and the streamed data block.
#include "anadata.h"

#include <algorithm>
#include <cstdlib>
#include <istream>
#include <limits>
#include <vector>

#include "data_block.h"
#include "record_access.h"
#include "stream_budget.h"

namespace qx {

namespace {

struct Header {
    std::string name;
    std::string date;
    int shotNo = 0;
    int subNo = 0;
    int dimCount = 0;
    int valCount = 0;
    std::vector<int> sizes;
    std::vector<std::string> dimNames;
    std::vector<std::string> dimUnits;
    std::vector<std::string> valNames;
    std::vector<std::string> valUnits;
};

bool has(const std::string& line, const char* key) { return strstri(line.c_str(), key) != nullptr; }

bool isMarker(const std::string& line) { return has(line, "[DATA]") || has(line, "[COMMENTS]"); }

// The first key found anywhere in the line decides; "SHOTNO" is tested before "SUBSHOTNO"
// and so also claims the sub-shot line, which the writer never produces.
void takeHeaderLine(Header& header, const std::string& line) {
    if (has(line, " NAME")) {
        header.name = pickup(line, true);
    } else if (has(line, "SHOTNO")) {
        header.shotNo = std::atoi(pickup(line, true).c_str());
    } else if (has(line, "SUBSHOTNO")) {
        header.subNo = std::atoi(pickup(line, true).c_str());
    } else if (has(line, "DATE")) {
        header.date = pickup(line, true);
    } else if (has(line, "DIMNO")) {
        header.dimCount = std::atoi(pickup(line, true).c_str());
    } else if (has(line, "DIMNAME")) {
        header.dimNames = pickup_strings(line);
    } else if (has(line, "DIMSIZE")) {
        header.sizes = pickup_sizes(line);
    } else if (has(line, "DIMUNIT")) {
        header.dimUnits = pickup_strings(line);
    } else if (has(line, "VALNO")) {
        header.valCount = std::atoi(pickup(line, true).c_str());
    } else if (has(line, "VALNAME")) {
        header.valNames = pickup_strings(line);
    } else if (has(line, "VALUNIT")) {
        header.valUnits = pickup_strings(line);
    }
}

void validate(const Header& header) {
    if (header.name.empty()) throw AnaDataException("NAME parameter error");
    if (header.shotNo == 0) throw AnaDataException("ShotNo parameter error");
    if (header.date.empty()) throw AnaDataException("Date parameter error");
    const auto dims = static_cast<std::size_t>(header.dimCount);
    if (header.dimCount < 1 || header.dimNames.size() != dims || header.dimUnits.size() != dims ||
        header.sizes.size() != dims) {
        throw AnaDataException("DimNo Error");
    }
    const auto vals = static_cast<std::size_t>(header.valCount);
    if (header.valCount < 1 || header.valNames.size() != vals || header.valUnits.size() != vals) {
        throw AnaDataException("ValNo Error");
    }
}

// Feeds the rest of the stream to the parser in blocks; only an unfinished line is kept
// between blocks, so memory stays at the columns plus one block.
void streamDataBlock(std::istream& is, DataBlockParser& parser, std::int64_t knownBytes) {
    constexpr std::size_t blockSize = 1 << 20;
    std::vector<char> buffer(knownBytes >= 0 && knownBytes < static_cast<std::int64_t>(blockSize)
                                 ? static_cast<std::size_t>(knownBytes) + 1
                                 : blockSize);
    std::size_t kept = 0;
    while (!parser.finished()) {
        if (kept == buffer.size()) buffer.resize(buffer.size() * 2);
        is.read(buffer.data() + kept, static_cast<std::streamsize>(buffer.size() - kept));
        const auto got = static_cast<std::size_t>(is.gcount());
        const bool atEnd = got == 0 || !is;
        const std::size_t available = kept + got;
        const std::size_t used = parser.feed(buffer.data(), available, atEnd);
        if (atEnd) break;
        kept = available - used;
        if (kept > 0 && used > 0) std::copy(buffer.data() + used, buffer.data() + available, buffer.data());
    }
    // The whole block belongs to the record: later lines are skipped, not left for the caller.
    if (is) is.ignore(std::numeric_limits<std::streamsize>::max());
    is.clear(is.rdstate() & ~std::ios::failbit);
}

}  // namespace

std::istream& operator>>(std::istream& is, AnaData& rec) {
    Header header;
    std::string line;
    std::getline(is, line);
    while (!line.empty() && !isMarker(line)) {
        chop(line);
        takeHeaderLine(header, line);
        line.clear();
        std::getline(is, line);
    }
    validate(header);

    AnaData work(header.dimCount, header.valCount);
    work.setDiagnostics(header.name.c_str());
    work.setShotNo(header.shotNo);
    work.setSubNo(header.subNo);
    work.setDate(header.date.c_str());

    if (has(line, "[COMMENTS]")) {
        line.clear();
        while (std::getline(is, line) && !has(line, "[DATA]")) {
            chop(line);
            ltrim(line, '#');
            ltrim(line, ' ');
            work.addComment(line.c_str());
            line.clear();
        }
    }
    if (line.empty()) return is;

    const std::int64_t knownBytes = bytesLeft(is);
    DataBlockParser parser(header.sizes, header.dimNames.size(), header.valNames.size(), knownBytes);
    streamDataBlock(is, parser, knownBytes);
    parser.finish(work, header.dimNames, header.dimUnits, header.valNames, header.valUnits);
    rec = work;
    return is;
}

void dimval_set(AnaData& rec, const std::string& data, const std::vector<int>& sizes,
                const std::vector<std::string>& dimNames, const std::vector<std::string>& dimUnits,
                const std::vector<std::string>& valNames, const std::vector<std::string>& valUnits) {
    DataBlockParser parser(sizes, dimNames.size(), valNames.size(), static_cast<std::int64_t>(data.size()));
    parser.feed(data.data(), data.size(), true);
    parser.finish(rec, dimNames, dimUnits, valNames, valUnits);
}

}  // namespace qx
