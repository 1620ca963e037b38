// The server's own soap_getbase64 and soap_putbase64: base64 of transferred blocks without the runtime's
// per-character work.
//
// The generated serializers of ns__Binary call these two, and a definition in the program takes
// precedence over the runtime's. The runtime's decoder fetches every character through its general
// XML character reader, which made decoding uploaded blocks the largest cost of the server; this one
// scans the receive buffer in bulk and accepts only what base64 text may contain (letters, digits,
// '+', '/', '=' and white space) up to the closing '<'. The encoder skips the encoding in the pass
// that only measures the message for its Content-Length.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>

#include "stdsoap2.h"

#include "Base64Groups.h"

namespace {

// Each character's meaning: its six bits (0-63), or -1 not base64, -2 white space, -3 '<', -4 '='.
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

using base64groups::decodeTwoGroups;

// A growable byte buffer that, unlike std::vector, does not clear what it adds.
class Bytes {
public:
    size_t size() const { return size_; }
    unsigned char* data() { return data_.get(); }
    void clear() { size_ = 0; }
    void setSize(size_t n) { size_ = n; }
    // Makes room for extra more bytes after size().
    void reserveMore(size_t extra) {
        if (size_ + extra <= capacity_) return;
        size_t cap = std::max(size_ + extra, capacity_ * 2);
        std::unique_ptr<unsigned char[]> grown(new unsigned char[cap]);
        if (size_) std::memcpy(grown.get(), data_.get(), size_);
        data_ = std::move(grown);
        capacity_ = cap;
    }

private:
    std::unique_ptr<unsigned char[]> data_;
    size_t size_ = 0, capacity_ = 0;
};

// The runtime's codes for a held-back '<' and "</" (private to the runtime, stable across 2.8).
const soap_wchar kLessThan = -2;
const soap_wchar kEndTagStart = -3;

}  // namespace

unsigned char* soap_getbase64(struct soap* soap, int* n, int /*malloc_flag*/) {
    thread_local Bytes out;
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
        out.reserveMore(static_cast<size_t>(end - p) * 3 / 4 + 3);
        unsigned char* o = out.data() + out.size();
        for (; p < end; ++p) {
            // Whole groups of four characters, the common case, go six bytes at a time, then three.
            // (The room reserved above always covers the two spare bytes of the wide store.)
            while (bits == 0 && !padded && end - p >= 8 && decodeTwoGroups(p, o)) {
                o += 6;
                p += 8;
            }
            while (bits == 0 && !padded && end - p >= 4) {
                int a = table.value[p[0]], b = table.value[p[1]], c = table.value[p[2]], d = table.value[p[3]];
                if ((a | b | c | d) < 0) break;
                unsigned int group = static_cast<unsigned int>(a << 18 | b << 12 | c << 6 | d);
                o[0] = static_cast<unsigned char>(group >> 16);
                o[1] = static_cast<unsigned char>(group >> 8);
                o[2] = static_cast<unsigned char>(group);
                o += 3;
                p += 4;
            }
            if (p == end) break;
            int v = table.value[*p];
            if (v >= 0 && !padded) {
                acc = (acc << 6) | static_cast<unsigned int>(v);
                bits += 6;
                if (bits >= 8) {
                    bits -= 8;
                    *o++ = static_cast<unsigned char>(acc >> bits);
                }
            } else if (v == -3) {
                out.setSize(static_cast<size_t>(o - out.data()));
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
        out.setSize(static_cast<size_t>(o - out.data()));
        soap->bufidx = soap->buflen;
    }
finish:
    unsigned char* result = static_cast<unsigned char*>(soap_malloc(soap, out.size() + 1));
    if (!result) {
        soap->error = SOAP_EOM;
        return nullptr;
    }
    if (out.size()) std::memcpy(result, out.data(), out.size());
    result[out.size()] = 0;
    if (n) *n = static_cast<int>(out.size());
    return result;
}

int soap_putbase64(struct soap* soap, const unsigned char* s, int n) {
    if (!s || n <= 0) return SOAP_OK;
    size_t length = (static_cast<size_t>(n) + 2) / 3 * 4;
    // The measuring pass only counts what would be sent (this server installs no send filters).
    if (soap->mode & SOAP_IO_LENGTH) {
        soap->count += length;
        return SOAP_OK;
    }
    static const char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    char chunk[4096];
    size_t used = 0;
    for (size_t i = 0; i < static_cast<size_t>(n); i += 3) {
        size_t left = static_cast<size_t>(n) - i;
        unsigned int group = static_cast<unsigned int>(s[i]) << 16;
        if (left > 1) group |= static_cast<unsigned int>(s[i + 1]) << 8;
        if (left > 2) group |= s[i + 2];
        chunk[used++] = alphabet[group >> 18];
        chunk[used++] = alphabet[(group >> 12) & 63];
        chunk[used++] = left > 1 ? alphabet[(group >> 6) & 63] : '=';
        chunk[used++] = left > 2 ? alphabet[group & 63] : '=';
        if (used == sizeof chunk) {
            if (soap_send_raw(soap, chunk, used)) return soap->error;
            used = 0;
        }
    }
    return used ? soap_send_raw(soap, chunk, used) : SOAP_OK;
}
