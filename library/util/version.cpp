// The library's own version, as the build configured it.
#include "version.h"

const char* anadata_version(void) {
    return ANADATA_VERSION_STRING;
}
