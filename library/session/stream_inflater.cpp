// The zlib and ISA-L decoders behind StreamInflater.
#include "stream_inflater.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <string>

#include <zlib.h>

#ifdef ANADATA_HAVE_ISAL
#include <isa-l/crc.h>
#include <isa-l/igzip_lib.h>
#endif

#include "zip_error.h"
#include "zip_format.h"

namespace anadata::detail {

namespace {

// Both libraries count in 32 bits; larger blocks are taken in several steps.
constexpr std::size_t maxStep = 1u << 30;

class ZlibInflater : public StreamInflater {
public:
    ZlibInflater() {
        if (inflateInit2(&stream_, -MAX_WBITS) != Z_OK)
            throw ZipError("inflate: zlib could not set up a stream");
    }
    ~ZlibInflater() override { inflateEnd(&stream_); }

    InflateStep step(const unsigned char* in, std::size_t inSize, unsigned char* out,
                     std::size_t outSize) override {
        stream_.next_in = const_cast<unsigned char*>(in);
        stream_.avail_in = static_cast<uInt>(std::min(inSize, maxStep));
        stream_.next_out = out;
        stream_.avail_out = static_cast<uInt>(std::min(outSize, maxStep));
        const uInt inBefore = stream_.avail_in, outBefore = stream_.avail_out;
        int rc = inflate(&stream_, Z_NO_FLUSH);
        if (rc != Z_OK && rc != Z_STREAM_END && rc != Z_BUF_ERROR)
            throw ZipError(std::string("zip: corrupt deflate data (") +
                           (stream_.msg != nullptr ? stream_.msg : "zlib error " + std::to_string(rc)) + ")");
        InflateStep result;
        result.consumed = inBefore - stream_.avail_in;
        result.produced = outBefore - stream_.avail_out;
        result.end = rc == Z_STREAM_END;
        return result;
    }

private:
    z_stream stream_{};
};

#ifdef ANADATA_HAVE_ISAL
class IsalInflater : public StreamInflater {
public:
    IsalInflater() : state_(std::make_unique<inflate_state>()) {
        isal_inflate_init(state_.get());
        state_->crc_flag = ISAL_DEFLATE;
    }

    InflateStep step(const unsigned char* in, std::size_t inSize, unsigned char* out,
                     std::size_t outSize) override {
        inflate_state& s = *state_;
        s.next_in = const_cast<unsigned char*>(in);
        s.avail_in = static_cast<std::uint32_t>(std::min(inSize, maxStep));
        s.next_out = out;
        s.avail_out = static_cast<std::uint32_t>(std::min(outSize, maxStep));
        const std::uint32_t inBefore = s.avail_in, outBefore = s.avail_out;
        int rc = isal_inflate(&s);
        if (rc < 0) throw ZipError(std::string("zip: corrupt deflate data (") + describe(rc) + ")");
        InflateStep result;
        result.consumed = inBefore - s.avail_in;
        result.produced = outBefore - s.avail_out;
        result.end = s.block_state == ISAL_BLOCK_FINISH;
        if (result.end) {
            // Whole bytes still in the bit buffer follow the stream; the low bits are the final
            // byte's padding. The buffer is little-endian: the oldest byte is the lowest.
            result.overreadSize = static_cast<std::size_t>(std::max(s.read_in_length, 0)) / 8;
            std::uint64_t bits = s.read_in_length % 8 != 0 ? s.read_in >> (s.read_in_length % 8) : s.read_in;
            for (std::size_t i = 0; i < result.overreadSize; ++i)
                result.overread[i] = static_cast<unsigned char>(bits >> (8 * i));
        }
        return result;
    }

private:
    static const char* describe(int rc) {
        switch (rc) {
        case ISAL_INVALID_BLOCK: return "invalid block";
        case ISAL_INVALID_SYMBOL: return "invalid code";
        case ISAL_INVALID_LOOKBACK: return "distance too far back";
        default: return "ISA-L error";
        }
    }

    std::unique_ptr<inflate_state> state_;  // some 40 KiB: kept off the caller's stack
};
#endif

}  // namespace

bool inflateEngineAvailable(InflateEngine engine) {
#ifdef ANADATA_HAVE_ISAL
    (void)engine;
    return true;
#else
    return engine != InflateEngine::isal;
#endif
}

std::unique_ptr<StreamInflater> StreamInflater::create(InflateEngine engine) {
#ifdef ANADATA_HAVE_ISAL
    if (engine != InflateEngine::zlib) return std::make_unique<IsalInflater>();
#else
    if (engine == InflateEngine::isal) throw ZipError("inflate: this build has no ISA-L");
#endif
    return std::make_unique<ZlibInflater>();
}

std::uint32_t crc32Update(std::uint32_t crc, const unsigned char* data, std::size_t size) {
#ifdef ANADATA_HAVE_ISAL
    return crc32_gzip_refl(crc, data, size);
#else
    while (size > 0) {
        std::size_t n = std::min(size, maxStep);
        crc = static_cast<std::uint32_t>(crc32(crc, data, static_cast<uInt>(n)));
        data += n;
        size -= n;
    }
    return crc;
#endif
}

}  // namespace anadata::detail
