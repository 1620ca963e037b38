// libFuzzer target: the local cache reading an entry file. The first byte chooses the file: the
// input as it is (a corrupt or foreign entry), or a well-formed header with its checksums around the
// rest as payload, so that the payload's own reading is reached past the checksums.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "cache_directory.h"
#include "cache_key.h"
#include "cache_store.h"
#include "entry_header.h"
#include "stream_inflater.h"

using namespace anadata;
using namespace anadata::detail;

namespace {

// A cache directory in /dev/shm, removed when libFuzzer exits.
const std::string& scratchCache() {
    static char path[] = "/dev/shm/fuzz-cache-XXXXXX";
    static const std::string made = [] {
        if (mkdtemp(path) == nullptr) std::abort();
        std::atexit([] { std::filesystem::remove_all(path); });
        return std::string(path);
    }();
    return made;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    CacheOptions options;
    options.directory = scratchCache();
    options.maxBytes = std::uint64_t(1) << 30;
    const CacheStore store(options);

    CacheKey key;
    key.endpoint = cacheEndpoint("http://127.0.0.1:1/");
    key.name = "fuzz";
    key.shot = 1;
    key.subshot = 1;
    key.kind = data[0] & 2 ? PayloadKind::dataFile : PayloadKind::record;
    Entry row;
    row.name = "fuzz";
    row.shot = row.subshot = 1;
    row.filename = "fuzz.dat";
    row.filedate = "2026-01-01 00:00:00";
    row.user = "fuzz";
    row.size = 10;

    std::string bytes;
    if (data[0] & 1) {
        EntryHeader header{key, CatalogueRow::of(row), size - 1, crc32Update(0, data + 1, size - 1), 0};
        bytes = encodeHeader(header);
    }
    bytes.append(reinterpret_cast<const char*>(data) + 1, size - 1);

    const EntryName where = entryNameOf(key);
    const std::filesystem::path shard = std::filesystem::path(entriesDirectory(options.directory)) / where.shard;
    std::filesystem::create_directories(shard);
    std::FILE* f = std::fopen((shard / where.file).c_str(), "wb");
    if (f == nullptr) std::abort();
    std::fwrite(bytes.data(), 1, bytes.size(), f);
    std::fclose(f);

    if (key.kind == PayloadKind::record) {
        (void)store.lookup(key, row);
    } else if (const auto file = store.lookupFile(key, &row)) {
        std::uint64_t copied = 0;
        if (file->copyTo([&](const char*, std::size_t n) { copied += n; }) && copied != file->bytes()) std::abort();
    }
    return 0;
}
