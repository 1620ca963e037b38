// getSummary: the header summary, date and time of a text data file; dispSummary, its silent companion.
#include "explog.h"
#include "summary.h"

#include <cctype>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>
#include <utility>

namespace qx {

namespace {

constexpr int lineLimit = 1024;    // fgets limit of one header line (a longer line comes in pieces)
constexpr int summaryLimit = 1024;  // the summary stays below this many characters
constexpr int dateLimit = 128;
constexpr unsigned allKeys = 0x1ff;

// The header keys in the order they are tried; the first one found in a line decides.
struct HeaderKey {
    const char* text;
    unsigned flag;
    bool kept;  // the line goes into the summary
};
constexpr HeaderKey headerKeys[] = {
    {"#dimno=", 0x8, true},    {"#dimname=", 0x10, true}, {"#dimsize=", 0x20, true},
    {"#valno=", 0x40, true},   {"#valname=", 0x80, true}, {"#date=", 0x4, false},
    {"#valunit", 0x100, false}, {"#name", 0x1, false},     {"#shotno", 0x2, false},
};
constexpr unsigned dateFlag = 0x4;

// Lower case with every control character and blank dropped, so that "# DimNo = 3" reads "#dimno=3".
std::string normalise(const char* line) {
    std::string out;
    for (const char* p = line; *p != '\0'; ++p) {
        unsigned char c = static_cast<unsigned char>(*p);
        if (c == ' ' || std::iscntrl(c)) continue;
        out += static_cast<char>(std::tolower(c));
    }
    return out;
}

// Reads the date and time of a normalised "#date=" line. Fields a pattern does not name stay
// zero: no year reads as 1900, no time as midnight.
bool parseDate(const char* line, char* date, char* time) {
    static const char* const patterns[] = {
        "#date='%m/%d/%Y%T'", "#date='%m/%d/%Y%R'", "#date='%m/%d%T'", "#date='%m/%d%R'", "#date='%m/%d/%Y'",
    };
    for (const char* pattern : patterns) {
        struct tm when;
        std::memset(&when, 0, sizeof when);
        if (strptime(line, pattern, &when) == nullptr) continue;
        std::strftime(date, dateLimit - 1, "%Y/%m/%d", &when);
        std::strftime(time, dateLimit - 1, "%T", &when);
        return true;
    }
    return false;
}

// Closes the file on every way out of the reading.
struct CloseFile {
    void operator()(FILE* file) const { std::fclose(file); }
};

}  // namespace

}  // namespace qx

namespace anadata::detail {

SummaryResult readSummary(const std::string& file) {
    SummaryResult result;
    char line[qx::lineLimit + 1] = {};
    std::string collected;
    unsigned flags = 0;

    FILE* in = std::fopen(file.c_str(), "r");
    if (in == nullptr) {
        result.failure = 1;
        result.message = "cant open file " + file + "\n";
        return result;
    }
    const std::unique_ptr<FILE, qx::CloseFile> closer(in);

    while (std::fgets(line, qx::lineLimit, in) != nullptr) {
        // Every key starts with '#', which normalising keeps: other lines (the data) are passed over.
        if (std::strchr(line, '#') == nullptr) continue;
        std::string key = qx::normalise(line);
        const qx::HeaderKey* hit = nullptr;
        for (const qx::HeaderKey& candidate : qx::headerKeys)
            if (key.find(candidate.text) != std::string::npos) {
                hit = &candidate;
                break;
            }
        if (hit == nullptr) continue;

        if (hit->flag == qx::dateFlag) {
            char day[qx::dateLimit] = {};
            char clock[qx::dateLimit] = {};
            if (!qx::parseDate(key.c_str(), day, clock)) {
                result.failure = 3;
                result.message = "Date Format Error\n";
                return result;
            }
            result.date = day;
            result.time = clock;
        }
        flags |= hit->flag;
        if (!hit->kept) continue;

        // A line that would not fit is left out; a shorter later one may still go in.
        std::size_t length = std::strlen(line);
        if (collected.size() + length < qx::summaryLimit) collected.append(line, length);
    }
    if (std::ferror(in)) {
        result.failure = 2;
        result.message = "File Cannot Open " + file;
        return result;
    }
    if (flags != qx::allKeys) {
        result.failure = 3;
        return result;
    }
    result.summary = std::move(collected);
    return result;
}

}  // namespace anadata::detail

namespace qx {

void getSummary(std::string file, std::string& summary, std::string& date, std::string& time) {
    anadata::detail::SummaryResult result = anadata::detail::readSummary(file);
    // The date and time of a good date line are handed out even when a later check fails.
    if (!result.date.empty() || !result.time.empty()) {
        date = result.date;
        time = result.time;
    }
    if (result.failure != 0) {
        std::fputs(result.message.c_str(), stderr);
        throw result.failure;
    }
    summary = std::move(result.summary);
}

void dispSummary(int /*n*/, std::string /*text*/) {
    // The display of the summary lines was retired; callers still call it, and it shows nothing.
}

}  // namespace qx
