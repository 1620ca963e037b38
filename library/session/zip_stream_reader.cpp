// ZipStreamReader: a byte-driven state machine over the local header, entry data and what follows.
#include "zip_stream_reader.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "zip_error.h"
#include "zip_format.h"

namespace anadata::detail {

using namespace zipformat;

namespace {

// Below glibc's smallest mmap threshold (128 KiB), so that each fetch takes it from the heap
// rather than mapping and unmapping it (costly where the threshold is pinned, as by
// MALLOC_TRIM_THRESHOLD_).
constexpr std::size_t outputSize = 64 * 1024;
// The end record with the longest comment: what must be kept of the bytes after the entry.
constexpr std::size_t tailSize = endRecordSize + maxCommentSize;

enum class Stage { header, name, extra, data, descriptor, trailer, done, failed };

}  // namespace

struct ZipStreamReader::State {
    ByteSink sink;
    InflateEngine engine;
    Stage stage = Stage::header;
    bool started = false;

    unsigned char record[localHeaderSize] = {};  // the local header, later the data descriptor, gathered
    std::size_t have = 0;

    std::uint16_t method = 0;
    bool descriptor = false;
    std::uint32_t declaredCrc = 0;
    std::uint32_t declaredSize = 0;
    std::uint32_t declaredPacked = 0;
    std::uint32_t compressedLeft = 0;  // without descriptor: compressed bytes still to come
    std::size_t skipLeft = 0;          // bytes of the name, or of the extra field, to pass
    unsigned char field[4] = {};       // the id and length of the current extra field, gathered
    std::size_t fieldHave = 0;
    std::size_t fieldLeft = 0;

    std::unique_ptr<StreamInflater> inflater;
    std::unique_ptr<unsigned char[]> output;
    std::uint64_t compressed = 0;
    std::uint64_t delivered = 0;
    std::uint32_t crc = 0;

    std::unique_ptr<unsigned char[]> tail;  // the last bytes of the archive, up to tailSize of them
    std::size_t tailHave = 0;

    [[noreturn]] static void fail(const std::string& what) { throw ZipError("zip: " + what); }

    void consume(const unsigned char* p, std::size_t n) {
        while (n > 0) {
            std::size_t used = 0;
            switch (stage) {
            case Stage::header: used = gatherHeader(p, n); break;
            case Stage::name: used = skipName(n); break;
            case Stage::extra: used = scanExtra(p, n); break;
            case Stage::data: used = method == methodStored ? copyStored(p, n) : inflateSome(p, n); break;
            case Stage::descriptor: used = gatherDescriptor(p, n); break;
            case Stage::trailer:
                keepTail(p, n);
                used = n;
                break;
            case Stage::done:
            case Stage::failed: fail("internal: bytes after the end");
            }
            p += used;
            n -= used;
        }
    }

    // The signature is judged as soon as it is in, so that a short non-archive says what it is.
    std::size_t gatherHeader(const unsigned char* p, std::size_t n) {
        std::size_t used = std::min(n, (have < 4 ? 4 : localHeaderSize) - have);
        std::memcpy(record + have, p, used);
        have += used;
        if (have == 4 && get32(record) == endSignature) fail("the archive is empty (it has no entry)");
        if (have == 4 && get32(record) != localSignature)
            fail("not a zip archive (no local file header at the start)");
        if (have == localHeaderSize) parseHeader();
        return used;
    }

    void parseHeader() {
        const std::uint16_t flags = get16(record + 6);
        method = get16(record + 8);
        declaredCrc = get32(record + 14);
        const std::uint32_t packed = declaredPacked = get32(record + 18);
        declaredSize = get32(record + 22);
        descriptor = (flags & flagDescriptor) != 0;
        if ((flags & (flagEncrypted | flagStrongEncryption)) != 0) fail("the entry is encrypted");
        if (method != methodStored && method != methodDeflated)
            fail("compression method " + std::to_string(method) +
                 " is not supported (only stored and deflate)");
        if (packed == zip64Marker || declaredSize == zip64Marker) fail("zip64 entries are not supported");
        if (method == methodStored && descriptor)
            fail("a stored entry with a data descriptor is not supported");
        if (method == methodStored && !descriptor && packed != declaredSize)
            fail("the stored entry's compressed and uncompressed sizes differ");
        compressedLeft = packed;
        skipLeft = get16(record + 26);
        fieldLeft = get16(record + 28);  // the whole extra field, until the name is passed
        stage = Stage::name;
        have = 0;
        if (skipLeft == 0) skipName(0);
    }

    // The name is never used: the caller alone decides where the data goes.
    std::size_t skipName(std::size_t n) {
        std::size_t used = std::min(n, skipLeft);
        skipLeft -= used;
        if (skipLeft == 0) {
            skipLeft = fieldLeft;
            fieldLeft = 0;
            stage = Stage::extra;
            if (skipLeft == 0) startData();
        }
        return used;
    }

    // Passes the extra field, looking at each record's id on the way: only zip64 matters.
    std::size_t scanExtra(const unsigned char* p, std::size_t n) {
        std::size_t used = 0;
        while (used < n && skipLeft > 0) {
            if (fieldLeft > 0) {
                std::size_t k = std::min({n - used, fieldLeft, skipLeft});
                fieldLeft -= k;
                skipLeft -= k;
                used += k;
                continue;
            }
            field[fieldHave++] = p[used++];
            --skipLeft;
            if (fieldHave == 4) {
                if (get16(field) == zip64ExtraId) fail("zip64 entries are not supported");
                fieldLeft = get16(field + 2);
                fieldHave = 0;
            }
        }
        if (skipLeft == 0) startData();
        return used;
    }

    void startData() {
        stage = Stage::data;
        if (method == methodDeflated) {
            inflater = StreamInflater::create(engine);
            output.reset(new unsigned char[outputSize]);
        } else if (compressedLeft == 0) {
            endData();
        }
    }

    void deliver(const unsigned char* p, std::size_t n) {
        const std::uint64_t limit = descriptor ? maxSize : declaredSize;
        if (delivered + n > limit)
            fail(descriptor ? "the entry is over 0xFFFFFFFE bytes (zip64 is not supported)"
                            : "the entry data is longer than the size in the local header");
        crc = crc32Update(crc, p, n);
        delivered += n;
        sink(reinterpret_cast<const char*>(p), n);
    }

    std::size_t copyStored(const unsigned char* p, std::size_t n) {
        std::size_t used = std::min<std::size_t>(n, compressedLeft);
        deliver(p, used);
        compressedLeft -= static_cast<std::uint32_t>(used);
        compressed += used;
        if (compressedLeft == 0) endData();
        return used;
    }

    std::size_t inflateSome(const unsigned char* p, std::size_t n) {
        const std::size_t avail = descriptor ? n : std::min<std::size_t>(n, compressedLeft);
        std::size_t used = 0;
        for (;;) {
            InflateStep step = inflater->step(p + used, avail - used, output.get(), outputSize);
            used += step.consumed;
            compressed += step.consumed;
            if (step.produced > 0) deliver(output.get(), step.produced);
            if (step.end) {
                compressed -= step.overreadSize;
                if (!descriptor && compressed != declaredPacked)
                    fail("the deflate stream ends before the compressed size in the local header");
                endData();
                consume(step.overread, step.overreadSize);
                break;
            }
            if (step.consumed == 0 && step.produced == 0) {
                if (!descriptor && compressed == declaredPacked)
                    fail("the deflate stream runs past the compressed size in the local header");
                if (used != avail) fail("internal: the inflater stalls");
                break;
            }
        }
        if (!descriptor)
            compressedLeft -= static_cast<std::uint32_t>(std::min<std::size_t>(used, compressedLeft));
        return used;
    }

    void endData() {
        inflater.reset();
        output.reset();
        if (descriptor) {
            stage = Stage::descriptor;
            return;
        }
        check(declaredCrc, declaredSize, "local header");
        stage = Stage::trailer;
    }

    void check(std::uint32_t wantCrc, std::uint32_t wantSize, const char* where) {
        if (delivered != wantSize) fail(std::string("the entry size differs from the size in the ") + where);
        if (crc != wantCrc)
            fail(std::string("CRC-32 mismatch: the entry data is damaged (checked against the ") + where +
                 ")");
    }

    // The descriptor has 12 bytes, or 16 when it opens with its optional signature.
    std::size_t gatherDescriptor(const unsigned char* p, std::size_t n) {
        std::size_t used = 0;
        while (used < n) {
            const bool signature = have >= 4 && get32(record) == descriptorSignature;
            const std::size_t want = have < 4 ? 4 : signature ? descriptorSize : descriptorSize - 4;
            std::size_t k = std::min(n - used, want - have);
            std::memcpy(record + have, p + used, k);
            have += k;
            used += k;
            if (have < want || have == 4) continue;
            const unsigned char* fields = signature ? record + 4 : record;
            if (get32(fields + 4) != compressed)
                fail("the compressed size in the data descriptor differs from the data");
            check(get32(fields), get32(fields + 8), "data descriptor");
            stage = Stage::trailer;
            break;
        }
        return used;
    }

    void keepTail(const unsigned char* p, std::size_t n) {
        if (!tail) tail.reset(new unsigned char[2 * tailSize]);
        if (n >= tailSize) {
            std::memcpy(tail.get(), p + n - tailSize, tailSize);
            tailHave = tailSize;
            return;
        }
        if (tailHave + n > 2 * tailSize) {
            std::size_t keep = tailSize - n;
            std::memmove(tail.get(), tail.get() + tailHave - keep, keep);
            tailHave = keep;
        }
        std::memcpy(tail.get() + tailHave, p, n);
        tailHave += n;
    }

    // The archive must end with an end record whose comment runs exactly to the last byte.
    void checkEnd() {
        const unsigned char* last = tail ? tail.get() + tailHave : nullptr;
        const std::size_t have = std::min(tailHave, tailSize);
        for (std::size_t back = endRecordSize; back <= have; ++back) {
            const unsigned char* end = last - back;
            if (get32(end) != endSignature || endRecordSize + get16(end + 20) != back) continue;
            if (get16(end + 10) == 0xFFFF || get32(end + 16) == zip64Marker)
                fail("zip64 archives are not supported");
            if (get16(end + 10) == 0) fail("the end record counts no entries");
            return;
        }
        fail("the archive is truncated or damaged after the entry (no end of central directory record)");
    }

    void finish() {
        switch (stage) {
        case Stage::header:
            fail(started ? "the archive is truncated in the local file header"
                         : "the archive is empty (no bytes)");
        case Stage::name: fail("the archive is truncated in the entry name");
        case Stage::extra: fail("the archive is truncated in the extra field");
        case Stage::data: fail("the archive is truncated in the entry data");
        case Stage::descriptor: fail("the archive is truncated in the data descriptor");
        case Stage::trailer: checkEnd(); break;
        case Stage::done:
        case Stage::failed: break;
        }
        tail.reset();
        stage = Stage::done;
    }

    template <class Step>
    void guarded(Step step) {
        if (stage == Stage::failed) throw ZipError("zip: the reader failed before and cannot go on");
        if (stage == Stage::done) throw ZipError("zip: the reader was used after finish()");
        try {
            step();
        } catch (...) {
            stage = Stage::failed;
            inflater.reset();
            output.reset();
            tail.reset();
            throw;
        }
    }
};

ZipStreamReader::ZipStreamReader(ByteSink sink, InflateEngine engine) : state_(std::make_unique<State>()) {
    if (!inflateEngineAvailable(engine)) throw ZipError("zip: this build has no ISA-L inflater");
    state_->sink = std::move(sink);
    state_->engine = engine;
}

ZipStreamReader::~ZipStreamReader() = default;

void ZipStreamReader::feed(const void* data, std::size_t size) {
    state_->guarded([&] {
        state_->started = state_->started || size > 0;
        state_->consume(static_cast<const unsigned char*>(data), size);
    });
}

void ZipStreamReader::finish() {
    state_->guarded([&] { state_->finish(); });
}

std::uint64_t ZipStreamReader::entrySize() const {
    return state_->delivered;
}

}  // namespace anadata::detail
