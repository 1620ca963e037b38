// CHARACTER arguments of the Fortran entry points: their hidden length and the two conversions.
#ifndef ANADATA_BINDINGS_FORTRAN_STRINGS_H
#define ANADATA_BINDINGS_FORTRAN_STRINGS_H

#include <string>

namespace qx {

// The length that the classic Unix Fortran convention passes by value, after all other
// arguments, for each CHARACTER argument. Declared int so that the decorated symbols of the
// C++-linkage members keep their historical form; gfortran passes a 64-bit length, whose low
// half an int parameter reads correctly on little-endian 64-bit targets.
using FortranLength = int;

// An incoming CHARACTER argument as a C string: the text up to its first NUL, cut to length
// characters, trailing blanks removed. Never reads beyond length bytes. text must not be null.
std::string fromFortran(const char* text, FortranLength length);

// How an outgoing CHARACTER argument is filled after the copied text.
enum class FortranFill { blanks, nuls };

// Copies at most length bytes of text into buffer and fills the rest of its length bytes with
// blanks or NUL bytes. A text of length or more bytes is cut and has no terminator. buffer must
// not be null when length is positive; a length of zero or less writes nothing.
void toFortran(char* buffer, FortranLength length, const char* text, FortranFill fill);

}  // namespace qx

#endif
