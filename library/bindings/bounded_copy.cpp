// The strncpy-style copy into the fixed-size buffers of the binding helpers.
#include "bounded_copy.h"

#include <cstring>

namespace qx {

void copyBounded(char* buffer, std::size_t bound, const std::string& text) {
    std::strncpy(buffer, text.c_str(), bound);
}

}  // namespace qx
