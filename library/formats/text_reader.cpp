// The text-format reader: header keys, validation, comments and the streamed data block.
#include "anadata.h"

#include <algorithm>
#include <cstdlib>
#include <istream>
#include <limits>
#include <vector>

#include "record_access.h"
#include "stream_budget.h"
#include "text_reading.h"

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
    // Where the lines behind each check were (0: none), for the strict reading's faults.
    std::int64_t nameLine = 0, shotLine = 0, dateLine = 0, dimLine = 0, valLine = 0;
};

bool has(const std::string& line, const char* key) { return strstri(line.c_str(), key) != nullptr; }

bool isMarker(const std::string& line) { return has(line, "[DATA]") || has(line, "[COMMENTS]"); }

// The first key found anywhere in the line decides; "SHOTNO" is tested before "SUBSHOTNO"
// and so also claims the sub-shot line, which the writer never produces.
void takeHeaderLine(Header& header, const std::string& line, std::int64_t number) {
    if (has(line, " NAME")) {
        header.name = pickup(line, true);
        header.nameLine = number;
    } else if (has(line, "SHOTNO")) {
        header.shotNo = std::atoi(pickup(line, true).c_str());
        header.shotLine = number;
    } else if (has(line, "SUBSHOTNO")) {
        header.subNo = std::atoi(pickup(line, true).c_str());
    } else if (has(line, "DATE")) {
        header.date = pickup(line, true);
        header.dateLine = number;
    } else if (has(line, "DIMNO")) {
        header.dimCount = std::atoi(pickup(line, true).c_str());
        header.dimLine = number;
    } else if (has(line, "DIMNAME")) {
        header.dimNames = pickup_strings(line);
    } else if (has(line, "DIMSIZE")) {
        header.sizes = pickup_sizes(line);
    } else if (has(line, "DIMUNIT")) {
        header.dimUnits = pickup_strings(line);
    } else if (has(line, "VALNO")) {
        header.valCount = std::atoi(pickup(line, true).c_str());
        header.valLine = number;
    } else if (has(line, "VALNAME")) {
        header.valNames = pickup_strings(line);
    } else if (has(line, "VALUNIT")) {
        header.valUnits = pickup_strings(line);
    }
}

// The first check the header fails, in the reader's order: its message and the line of the key
// behind it (0 when there was none); no message when it passes.
std::pair<const char*, std::int64_t> firstFault(const Header& header) {
    if (header.name.empty()) return {"NAME parameter error", header.nameLine};
    if (header.shotNo == 0) return {"ShotNo parameter error", header.shotLine};
    if (header.date.empty()) return {"Date parameter error", header.dateLine};
    const auto dims = static_cast<std::size_t>(header.dimCount);
    if (header.dimCount < 1 || header.dimNames.size() != dims || header.dimUnits.size() != dims ||
        header.sizes.size() != dims) {
        return {"DimNo Error", header.dimLine};
    }
    const auto vals = static_cast<std::size_t>(header.valCount);
    if (header.valCount < 1 || header.valNames.size() != vals || header.valUnits.size() != vals) {
        return {"ValNo Error", header.valLine};
    }
    return {nullptr, 0};
}

// Throws the header's first fault: the strict reading names the key's line, or the line that
// ended the header when the key is missing.
void validate(const Header& header, bool strict, std::int64_t endLine) {
    const auto [message, line] = firstFault(header);
    if (message == nullptr) return;
    if (strict) throw TextFault{line > 0 ? line : endLine, message};
    throw AnaDataException(message);
}

// Feeds the rest of the stream to the parser in blocks; only an unfinished line is kept
// between blocks, so memory stays at the columns plus one block.
void streamDataBlock(std::istream& is, DataBlockParser& parser, std::int64_t knownBytes) {
    // Under glibc's smallest mmap threshold: a loop of fetches then reuses the heap's memory
    // instead of mapping and clearing a block for every record.
    constexpr std::size_t blockSize = 64 << 10;
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

bool readTextRecord(std::istream& is, AnaData& rec, const TextReading& how) {
    Header header;
    std::string line;
    std::int64_t number = 1;
    std::getline(is, line);
    while (!line.empty() && !isMarker(line)) {
        chop(line);
        takeHeaderLine(header, line, number);
        line.clear();
        std::getline(is, line);
        ++number;
    }
    validate(header, how.strict, number);

    AnaData work(how.headerOnly ? 0 : header.dimCount, how.headerOnly ? 0 : header.valCount);
    work.setDiagnostics(header.name.c_str());
    work.setShotNo(header.shotNo);
    work.setSubNo(header.subNo);
    work.setDate(header.date.c_str());

    if (has(line, "[COMMENTS]")) {
        line.clear();
        while (std::getline(is, line) && !has(line, "[DATA]")) {
            ++number;
            chop(line);
            ltrim(line, '#');
            ltrim(line, ' ');
            work.addComment(line.c_str());
            line.clear();
        }
        ++number;
    }
    if (line.empty()) {
        if (how.strict) throw TextFault{number, "the header ends without a [Data] line"};
        return false;
    }
    if (how.headerOnly) {
        rec = work;
        return true;
    }

    const std::int64_t knownBytes = bytesLeft(is);
    const StrictRows rows{number + 1, how.keepNumbers};
    DataBlockParser parser(header.sizes, header.dimNames.size(), header.valNames.size(), knownBytes,
                           how.strict ? &rows : nullptr);
    streamDataBlock(is, parser, knownBytes);
    if (how.strict) parser.checkRowCount();
    if (how.strict && !how.keepNumbers) return true;
    parser.finish(work, header.dimNames, header.dimUnits, header.valNames, header.valUnits);
    rec = work;
    return true;
}

std::istream& operator>>(std::istream& is, AnaData& rec) {
    readTextRecord(is, rec, TextReading{});
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
