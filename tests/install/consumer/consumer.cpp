// Uses the installed headers both ways (<anadata/...> and plain "...") and calls into the library.
#include <anadata/clsException.h>
#include "clsException.h"

#include <cstdio>

int main() {
    try {
        throw qx::AnaDataException("installed");
    } catch (const qx::clsException& e) {
        std::printf("%s\n", e.getMessage().c_str());
        return e.getMessage() == "installed" ? 0 : 1;
    }
}
