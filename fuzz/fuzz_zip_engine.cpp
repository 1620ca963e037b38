// libFuzzer target: the session's zip engine. The first byte picks the mode: the rest deflated by the
// parallel deflater (piece size and threads from the next bytes) and checked by zlib, zipped and read
// back by the streaming reader with both inflaters, or fed as an archive to the streaming reader.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include <zlib.h>

#include "zip_stream_reader.h"
#include "zip_writer.h"

using namespace anadata::detail;

namespace {

// Block sizes of 1 to 4096 bytes, drawn from a seed taken from the input.
struct Blocks {
    std::uint32_t state;
    std::size_t next() {
        state = state * 1664525u + 1013904223u;
        return 1 + (state >> 16) % (state & 0x100 ? 4096 : 16);
    }
};

std::string inflateWithZlib(const std::string& deflated) {
    z_stream s{};
    if (inflateInit2(&s, -MAX_WBITS) != Z_OK) std::abort();
    std::string out;
    char buf[65536];
    s.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(deflated.data()));
    s.avail_in = static_cast<uInt>(deflated.size());
    int rc;
    do {
        s.next_out = reinterpret_cast<Bytef*>(buf);
        s.avail_out = sizeof buf;
        rc = inflate(&s, Z_NO_FLUSH);
        out.append(buf, sizeof buf - s.avail_out);
    } while (rc == Z_OK);
    if (rc != Z_STREAM_END || s.avail_in != 0) std::abort();  // one complete stream, nothing after it
    inflateEnd(&s);
    return out;
}

// Reads the archive in random blocks; returns false when the reader refuses it.
bool readArchive(const std::string& archive, InflateEngine engine, Blocks blocks, std::string* out) {
    ZipStreamReader reader([&](const char* p, std::size_t n) { out->append(p, n); }, engine);
    try {
        for (std::size_t at = 0; at < archive.size();) {
            std::size_t n = std::min(blocks.next(), archive.size() - at);
            reader.feed(archive.data() + at, n);
            at += n;
        }
        reader.finish();
        return true;
    } catch (const ZipError&) {
        return false;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 4) return 0;
    const unsigned mode = data[0] % 3;
    const unsigned threads = 1 + data[3] % 3;
    Blocks blocks{static_cast<std::uint32_t>(data[1] | data[2] << 8 | data[3] << 16)};
    // Small inputs repeated, each copy with one byte changed, reach past the 32 KiB window and give
    // matches across many piece boundaries.
    const std::string input(reinterpret_cast<const char*>(data) + 4, size - 4);
    std::string body;
    for (unsigned copy = 0; copy < 1u + (data[3] >> 2) % 64 && !input.empty(); ++copy) {
        body += input;
        body[body.size() - 1 - copy % input.size()] ^= static_cast<char>(copy);
    }
    // Tiny pieces give many boundaries in small inputs, up to 256 pieces (each loads a dictionary).
    std::size_t piece = data[2] & 0x80 ? 1 + data[1] : 1 + ((data[1] | data[2] << 8) * 3u) % 100000;
    piece = std::max(piece, body.size() / 256);

    if (mode == 0) {
        std::string deflated;
        ParallelDeflater deflater([&](const char* p, std::size_t n) { deflated.append(p, n); },
                                  {threads, piece});
        for (std::size_t at = 0; at < body.size();) {
            std::size_t n = std::min(blocks.next(), body.size() - at);
            deflater.write(body.data() + at, n);
            at += n;
        }
        deflater.finish();
        if (inflateWithZlib(deflated) != body) std::abort();
        if (deflater.crc() !=
            crc32(0, reinterpret_cast<const Bytef*>(body.data()), static_cast<uInt>(body.size())))
            std::abort();
        return 0;
    }
    std::string archive = input;
    if (mode == 1) {
        archive.clear();
        ZipWriter writer("fuzz.dat", [&](const char* p, std::size_t n) { archive.append(p, n); },
                         {threads, piece});
        writer.write(body.data(), body.size());
        writer.finish();
    }
    std::string viaZlib, viaIsal;
    bool zlibOk = readArchive(archive, InflateEngine::zlib, blocks, &viaZlib);
    bool isalOk = inflateEngineAvailable(InflateEngine::isal)
                      ? readArchive(archive, InflateEngine::isal, blocks, &viaIsal)
                      : zlibOk;
    if (mode == 1 && (!zlibOk || viaZlib != body)) std::abort();
    // Both inflaters agree on every archive: the same verdict, the same data when accepted.
    if (isalOk != zlibOk || (zlibOk && inflateEngineAvailable(InflateEngine::isal) && viaIsal != viaZlib))
        std::abort();
    return 0;
}
