// Number conversions of the text format: atof-compatible parsing and %e-compatible formatting.
#ifndef ANADATA_NUMBER_TEXT_H
#define ANADATA_NUMBER_TEXT_H

#include <cstddef>

namespace qx {

// Parses a number the way atof does on the text [first, last) (which holds no line feed):
// leading white space skipped, an optional sign, trailing characters ignored, 0 when no number
// starts there. *next is set to where the number ended (first when there was none).
double parseNumber(const char* first, const char* last, const char** next);

// Writes value as printf's "%.*e" with the given precision would (precision >= 0); returns the
// end of the written text. `out` must have room for maxNumberText(precision) characters.
char* formatScientific(char* out, double value, int precision);

constexpr std::size_t maxNumberText(int precision) { return static_cast<std::size_t>(precision) + 32; }

}  // namespace qx

#endif
