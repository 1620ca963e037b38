// The "ns:getData" reply reader: envelope and elements through the runtime, the block text decoded here.
#include "DataBlockReply.h"

#include <array>

#include "Base64Groups.h"

namespace {

enum : unsigned char { whiteSpace = 64, padding = 65, tagStart = 66, invalid = 255 };

constexpr std::array<unsigned char, 256> makeTable() {
    std::array<unsigned char, 256> t{};
    for (auto& v : t) v = invalid;
    const char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for (unsigned char i = 0; i < 64; ++i) t[static_cast<unsigned char>(digits[i])] = i;
    t[' '] = t['\t'] = t['\r'] = t['\n'] = whiteSpace;
    t['='] = padding;
    t['<'] = tagStart;
    return t;
}

constexpr std::array<unsigned char, 256> table = makeTable();

// Decodes the element text up to (not including) the next '<', which is left for the runtime
// to read the end tag. Works on the context's input buffer directly and refills it as needed.
int decodeText(struct soap* soap, std::vector<unsigned char>& block) {
    // The last block's room is reused; only what this reply can fill is made part of it (the
    // text's length bounds it), so that a short block does not clear a long block's room first.
    std::size_t room = block.capacity() > 4096 ? block.capacity() : 4096;
    if (soap->length > 0 && soap->length / 4 * 3 + 8 < room) room = static_cast<std::size_t>(soap->length / 4 * 3 + 8);
    block.resize(room);
    unsigned bits = 0;
    int pending = 0;       // sextets in `bits`
    bool padded = false;   // after '=' only more '=' or white space may come
    size_t used = 0;
    auto flushQuad = [&] {
        if (block.size() < used + 3) block.resize(block.size() * 2);
        block[used++] = static_cast<unsigned char>(bits >> 16);
        block[used++] = static_cast<unsigned char>(bits >> 8);
        block[used++] = static_cast<unsigned char>(bits);
        bits = 0;
        pending = 0;
    };
    // A character the runtime has already taken back (rare) comes first.
    if (soap->ahead == '<') {
        block.clear();
        return SOAP_OK;
    }
    if (soap->ahead != 0) return soap->error = SOAP_TYPE;
    for (;;) {
        if (soap->bufidx >= soap->buflen && soap_recv(soap))
            return soap->error ? soap->error : (soap->error = SOAP_EOF);
        const unsigned char* begin = reinterpret_cast<const unsigned char*>(soap->buf);
        const unsigned char* p = begin + soap->bufidx;
        const unsigned char* end = begin + soap->buflen;
        for (; p < end; ++p) {
            // Whole groups, the common case: eight digits give six bytes in one step.
            while (pending == 0 && !padded && end - p >= 8) {
                if (block.size() < used + 8) block.resize(block.size() * 2);
                if (!base64groups::decodeTwoGroups(p, block.data() + used)) break;
                used += 6;
                p += 8;
            }
            if (p == end) break;
            unsigned char v = table[*p];
            if (v < 64) {
                if (padded) return soap->error = SOAP_TYPE;
                bits = bits << 6 | v;
                if (++pending == 4) flushQuad();
            } else if (v == padding) {
                padded = true;
            } else if (v == tagStart) {
                soap->bufidx = static_cast<size_t>(p - begin);
                // Two or three sextets carry one or two bytes; a single one carries none.
                if (pending == 1) return soap->error = SOAP_TYPE;
                if (pending >= 2) {
                    bits <<= 6 * (4 - pending);
                    int bytes = pending - 1;
                    flushQuad();
                    used -= static_cast<size_t>(3 - bytes);
                }
                block.resize(used);
                return SOAP_OK;
            } else if (v != whiteSpace) {
                return soap->error = SOAP_TYPE;
            }
        }
        soap->bufidx = soap->buflen;
    }
}

// The response element: its "bin" child decoded, other children skipped, as the generated reader does.
int readResponse(struct soap* soap, std::vector<unsigned char>& block) {
    if (soap_element_begin_in(soap, "ns:getDataResponse", 0, nullptr)) return soap->error;
    if (*soap->href == '#') return soap->error = SOAP_TYPE;
    if (!soap->body) return SOAP_OK;
    bool seen = false;
    for (;;) {
        soap->error = SOAP_TAG_MISMATCH;
        if (!seen && soap_element_begin_in(soap, "bin", 1, nullptr) == SOAP_OK) {
            if (*soap->type && soap_match_tag(soap, soap->type, "ns:Binary") &&
                soap_match_tag(soap, soap->type, ":base64Binary") && soap_match_tag(soap, soap->type, ":base64"))
                return soap->error = SOAP_TYPE;
            if (*soap->href == '#') return soap->error = SOAP_TYPE;
            if (soap->body && (decodeText(soap, block) || soap_element_end_in(soap, "bin"))) return soap->error;
            seen = true;
            continue;
        }
        if (soap->error == SOAP_TAG_MISMATCH) soap->error = soap_ignore_element(soap);
        if (soap->error == SOAP_NO_TAG) break;
        if (soap->error) return soap->error;
    }
    return soap_element_end_in(soap, "ns:getDataResponse");
}

}  // namespace

int receiveDataBlock(struct soap* soap, std::vector<unsigned char>& block) {
    block.clear();
    if (soap_begin_recv(soap) || soap_envelope_begin_in(soap) || soap_recv_header(soap) || soap_body_begin_in(soap))
        return soap_closesock(soap);
    if (soap_recv_fault(soap, 1)) return soap->error;
    if (readResponse(soap, block)) {
        block.clear();
        return soap_recv_fault(soap, 0);
    }
    if (soap_body_end_in(soap) || soap_envelope_end_in(soap) || soap_end_recv(soap)) {
        block.clear();
        return soap_closesock(soap);
    }
    return soap_closesock(soap);
}
