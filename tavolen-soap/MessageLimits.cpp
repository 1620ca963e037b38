// Length checking in front of the runtime's HTTP header parser.
#include "MessageLimits.h"

#include <charconv>
#include <cstring>

namespace {

using HeaderParser = int (*)(struct soap*, const char*, const char*);

// The runtime's parser, taken from the first context set up here; every context starts with the same one.
HeaderParser runtimeParser = nullptr;

int checkedHeader(struct soap* soap, const char* key, const char* value) {
    // The runtime's own comparison, so that every spelling it takes as the length is bounded.
    if (soap_tag_cmp(key, "Content-Length") == 0) {
        const char* begin = value;
        const char* end = value + std::strlen(value);
        while (begin < end && (*begin == ' ' || *begin == '\t')) ++begin;
        while (end > begin && (end[-1] == ' ' || end[-1] == '\t')) --end;
        unsigned long long length = 0;
        const auto parsed = std::from_chars(begin, end, length);
        if (begin == end || parsed.ec != std::errc() || parsed.ptr != end || length > soap->recv_maxlength) {
            // Without a status the runtime does not go on to read the body of an error reply.
            soap->status = 0;
            return soap->error = SOAP_LENGTH;
        }
    }
    return runtimeParser(soap, key, value);
}

}  // namespace

void limitIncomingMessages(struct soap* soap, unsigned long maxBytes) {
    soap->recv_maxlength = maxBytes;
    if (soap->fparsehdr == checkedHeader) return;
    // Taken once, under the guard of a static's initialisation, so that threads setting up their
    // own contexts at the same time all see it before their first reply.
    static const bool taken = (runtimeParser = soap->fparsehdr, true);
    (void)taken;
    soap->fparsehdr = checkedHeader;
}
