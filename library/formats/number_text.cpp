// std::from_chars / std::to_chars with the few cases where they differ from atof and %e handed
// to the C library, so the results stay bit-identical.
#include "number_text.h"

#include <charconv>
#include <cstdlib>
#include <string>

namespace qx {

namespace {

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r'; }

// strtod on a zero-terminated copy of the text; used for '+' signs, hex floats, inf/nan
// spellings and out-of-range numbers, where from_chars and strtod disagree.
double viaStrtod(const char* first, const char* last, const char** next) {
    const std::string copy(first, last);
    char* end = nullptr;
    const double value = std::strtod(copy.c_str(), &end);
    *next = first + (end - copy.c_str());
    return value;
}

}  // namespace

double parseNumber(const char* first, const char* last, const char** next) {
    const char* p = first;
    while (p < last && isSpace(*p)) ++p;
    const char* digits = p < last && *p == '-' ? p + 1 : p;
    if (p == last || *p == '+') return viaStrtod(first, last, next);
    if (digits < last) {
        const char c = *digits;
        if (c == 'i' || c == 'I' || c == 'n' || c == 'N') return viaStrtod(first, last, next);
        if (c == '0' && digits + 1 < last && (digits[1] == 'x' || digits[1] == 'X')) {
            return viaStrtod(first, last, next);
        }
    }
    double value = 0.0;
    const std::from_chars_result result = std::from_chars(p, last, value, std::chars_format::general);
    if (result.ec == std::errc()) {
        *next = result.ptr;
        return value;
    }
    if (result.ec == std::errc::invalid_argument) {
        *next = first;
        return 0.0;
    }
    return viaStrtod(first, last, next);
}

char* formatScientific(char* out, double value, int precision) {
    return std::to_chars(out, out + maxNumberText(precision), value, std::chars_format::scientific, precision).ptr;
}

}  // namespace qx
