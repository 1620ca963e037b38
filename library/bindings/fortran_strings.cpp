// Conversions of Fortran CHARACTER arguments to and from C strings.
#include "fortran_strings.h"

#include <cstring>

#include "binding_calls.h"

namespace qx {

std::string fromFortran(const char* text, FortranLength length) {
    if (length <= 0) return std::string();
    // Fortran buffers carry no terminator: stop at the hidden length even without a NUL.
    const auto bound = static_cast<std::size_t>(length);
    return withoutTrailingBlanks(std::string(text, strnlen(text, bound)));
}

void toFortran(char* buffer, FortranLength length, const char* text, FortranFill fill) {
    if (length <= 0) return;
    const auto bound = static_cast<std::size_t>(length);
    const std::size_t copied = strnlen(text, bound);
    std::memcpy(buffer, text, copied);
    std::memset(buffer + copied, fill == FortranFill::blanks ? ' ' : '\0', bound - copied);
}

}  // namespace qx
