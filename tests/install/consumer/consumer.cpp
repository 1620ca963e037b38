// Uses the installed headers both ways (<anadata/...> and plain "...") and calls into the library.
// The plain names reach only the classic interface: <error.h> is still the C library's.
#include <anadata/clsException.h>
#include "clsException.h"
#include <anadata/error.h>
#include <anadata/version.h>
#include <error.h>

#include <cstdio>
#include <cstring>

int main() {
    if (error_message_count != 0) return 1;
    // The headers and the library installed together tell the same version.
    if (std::strcmp(anadata_version(), ANADATA_VERSION_STRING) != 0) return 1;
    try {
        throw qx::AnaDataException("installed");
    } catch (const qx::clsException& e) {
        std::printf("%s\n", e.getMessage().c_str());
        return e.getMessage() == "installed" ? 0 : 1;
    }
}
