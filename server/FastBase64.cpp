// The server's own soap_getbase64: decodes a base64 element straight from the receive buffer.
//
// The generated deserializer of ns__Binary calls soap_getbase64, and a definition in the program takes
// precedence over the runtime's. The runtime's version fetches every character through its general
// XML character reader, which makes decoding uploaded blocks the largest cost of the server; this one
// scans the buffer in bulk and accepts only what base64 text may contain (letters, digits, '+', '/',
// '=' and white space) up to the closing '<'.
#include <cstring>
#include <vector>

#include "stdsoap2.h"

namespace {

struct Table {
    signed char value[256];
    Table() {
        std::memset(value, -1, sizeof value);
        const char* alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        for (int i = 0; i < 64; ++i) value[static_cast<unsigned char>(alphabet[i])] = static_cast<signed char>(i);
        for (unsigned char c : {' ', '\t', '\r', '\n'}) value[c] = -2;
        value[static_cast<unsigned char>('=')] = -4;
        value[static_cast<unsigned char>('<')] = -3;
    }
};

const Table table;

// The runtime's codes for a held-back '<' and "</" (private to the runtime, stable across 2.8).
const soap_wchar kLessThan = -2;
const soap_wchar kEndTagStart = -3;

}  // namespace

unsigned char* soap_getbase64(struct soap* soap, int* n, int /*malloc_flag*/) {
    thread_local std::vector<unsigned char> out;
    out.clear();
    unsigned int acc = 0;
    int bits = 0;
    bool padded = false;  // after '=' only more '=' and white space may come
    if (n) *n = 0;

    // The parser may hold one character back; the closing '<' left there means empty content.
    if (soap->ahead) {
        soap_wchar c = soap->ahead;
        if (c == kLessThan || c == kEndTagStart || c == '<') goto finish;
        if (c < 0 || c > 255 || table.value[c] < -2 || c == '=') {
            soap->error = SOAP_TYPE;
            return nullptr;
        }
        soap->ahead = 0;
        if (table.value[c] >= 0) {
            acc = static_cast<unsigned int>(table.value[c]);
            bits = 6;
        }
    }
    for (;;) {
        if (soap->bufidx >= soap->buflen && soap_recv(soap)) {
            soap->error = SOAP_EOF;
            return nullptr;
        }
        const unsigned char* begin = reinterpret_cast<const unsigned char*>(soap->buf);
        const unsigned char* p = begin + soap->bufidx;
        const unsigned char* end = begin + soap->buflen;
        // At most 3 bytes for every 4 characters, plus the 1 or 2 carried in acc.
        size_t used = out.size();
        out.resize(used + static_cast<size_t>(end - p) * 3 / 4 + 3);
        unsigned char* o = out.data() + used;
        for (; p < end; ++p) {
            int v = table.value[*p];
            if (v >= 0 && !padded) {
                acc = (acc << 6) | static_cast<unsigned int>(v);
                bits += 6;
                if (bits >= 8) {
                    bits -= 8;
                    *o++ = static_cast<unsigned char>(acc >> bits);
                }
            } else if (v == -3) {
                out.resize(static_cast<size_t>(o - out.data()));
                soap->bufidx = static_cast<size_t>(p - begin);  // the end tag is read next
                // Only the end tag may follow; a comment or an element inside the text is refused
                // (unchecked only when '<' is the last byte of the buffer).
                if (p + 1 < end && p[1] != '/') {
                    soap->error = SOAP_TYPE;
                    return nullptr;
                }
                goto finish;
            } else if (v == -4) {
                padded = true;
            } else if (v != -2) {
                soap->bufidx = static_cast<size_t>(p - begin);
                soap->error = SOAP_TYPE;
                return nullptr;
            }
        }
        out.resize(static_cast<size_t>(o - out.data()));
        soap->bufidx = soap->buflen;
    }
finish:
    unsigned char* result = static_cast<unsigned char*>(soap_malloc(soap, out.size() + 1));
    if (!result) {
        soap->error = SOAP_EOM;
        return nullptr;
    }
    if (!out.empty()) std::memcpy(result, out.data(), out.size());
    result[out.size()] = 0;
    if (n) *n = static_cast<int>(out.size());
    return result;
}
