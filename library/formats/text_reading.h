// The text reader's two readings: the qx:: one behind operator>>, and the strict one of the
// record file API, which refuses cut, short and overlong data naming the line.
#ifndef ANADATA_TEXT_READING_H
#define ANADATA_TEXT_READING_H

#include <istream>

#include "anadata.h"
#include "data_block.h"

namespace qx {

struct TextReading {
    bool strict = false;
    // Strict only: false checks every number and keeps none; the record is left as it was.
    bool keepNumbers = true;
    // Stops after the comments: the record gets its parameters and comment and no columns.
    bool headerOnly = false;
};

// Reads one record from the stream into rec. Returns false, rec untouched, when the header ends
// before a data block (never in the strict reading). Faults of the qx:: reading throw
// AnaDataException with its fixed messages, those of the strict reading TextFault.
bool readTextRecord(std::istream& is, AnaData& rec, const TextReading& how);

}  // namespace qx

#endif
