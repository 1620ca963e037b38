// Reading, checking and writing the entries of the local cache.
#include "cache_store.h"

#include <cerrno>
#include <ctime>
#include <istream>
#include <new>
#include <ostream>
#include <random>
#include <unordered_map>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cache_directory.h"
#include "cache_upkeep.h"
#include "checksum_streams.h"
#include "entry_header.h"

namespace anadata::detail {

namespace {

// The time of last use is the entry file's modification time, set to the clock's full precision
// (the file system's own stamp moves in ticks of several milliseconds).
void markUsed(int fd) {
    struct timespec now;
    ::clock_gettime(CLOCK_REALTIME, &now);
    const struct timespec times[2] = {now, now};
    ::futimens(fd, times);
}

bool writeAll(int fd, const std::string& bytes, off_t at) {
    for (std::size_t done = 0; done < bytes.size();) {
        const ssize_t put = ::pwrite(fd, bytes.data() + done, bytes.size() - done, at + static_cast<off_t>(done));
        if (put < 0 && errno == EINTR) continue;
        if (put <= 0) return false;
        done += static_cast<std::size_t>(put);
    }
    return true;
}

// Removes a temporary file on every path but the rename that publishes it.
class TemporaryFile {
public:
    TemporaryFile(int shard, std::string name) : shard_(shard), name_(std::move(name)) {
        file_ = Descriptor(::openat(shard_, name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
        created_ = static_cast<bool>(file_);
    }
    ~TemporaryFile() {
        if (created_ && !published_) ::unlinkat(shard_, name_.c_str(), 0);
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    int fd() const { return file_.get(); }
    bool publishAs(const char* name) {
        file_ = Descriptor();
        published_ = ::renameat(shard_, name_.c_str(), shard_, name) == 0;
        return published_;
    }

private:
    int shard_;
    std::string name_;
    Descriptor file_;
    bool created_ = false;
    bool published_ = false;
};

std::uint64_t randomShare(std::uint64_t interval) {
    struct timespec now;
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    std::mt19937_64 random(static_cast<std::uint64_t>(now.tv_nsec) ^ (static_cast<std::uint64_t>(::getpid()) << 32));
    return std::uniform_int_distribution<std::uint64_t>(0, interval - 1)(random);
}

}  // namespace

struct CacheStore::Found {
    qx::AnaData record;
    EntryHeader header;
};

CacheStore::CacheStore(CacheOptions options) : options_(std::move(options)) {
    if (options_.directory.empty()) throw Error(ErrorCode::local_io, "cache: no directory configured");
    sinceTrim_ = randomShare(trimInterval());
}

std::uint64_t CacheStore::trimInterval() const {
    return std::max<std::uint64_t>(options_.maxBytes / 16, 1);
}

std::optional<CacheStore::Found> CacheStore::load(const CacheKey& key, const Entry* row) const {
    const EntryName where = entryNameOf(key);
    const Descriptor entries = openEntries(options_.directory, false);
    if (!entries) return std::nullopt;
    const Descriptor shard = openShard(entries.get(), where.shard, false);
    if (!shard) return std::nullopt;
    struct stat info;
    const Descriptor file = openEntryFile(shard.get(), where.file, info);
    if (!file) return std::nullopt;
    const auto drop = [&] {
        removeIfSame(shard.get(), where.file, info);
        return std::nullopt;
    };

    // No entry larger than the limit is ever stored, which bounds what a planted file can cost.
    const auto fileBytes = static_cast<std::uint64_t>(info.st_size);
    if (fileBytes > options_.maxBytes) return drop();
    std::size_t headerBytes = 0;
    std::optional<EntryHeader> header = readHeader(file.get(), fileBytes, headerBytes);
    if (!header) return drop();
    if (!(header->key == key)) return std::nullopt;  // another key of the same hash
    if (row != nullptr && !(header->row == CatalogueRow::of(*row))) return std::nullopt;

    ChecksumReader payload(file.get(), headerBytes, header->payloadBytes);
    std::istream in(&payload);
    try {
        qx::AnaData record = qx::AnaData::restore(in);
        if (!in || !payload.intact(header->payloadCrc)) return drop();
        markUsed(file.get());
        return Found{std::move(record), std::move(*header)};
    } catch (const qx::clsException&) {
        return drop();  // no dump at all
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
}

std::optional<qx::AnaData> CacheStore::lookup(const CacheKey& key, const Entry& row) const {
    std::optional<Found> found = load(key, &row);
    if (!found) return std::nullopt;
    return std::move(found->record);
}

std::optional<CacheStore::Held> CacheStore::lookupOffline(const CacheKey& key) const {
    std::optional<Found> found = load(key, nullptr);
    if (!found) return std::nullopt;
    Held held{std::move(found->record), Entry{}};
    held.row.name = key.name;
    held.row.shot = key.shot;
    held.row.subshot = key.subshot;
    held.row.filename = std::move(found->header.row.filename);
    held.row.filedate = std::move(found->header.row.filedate);
    held.row.user = std::move(found->header.row.user);
    held.row.size = found->header.row.size;
    return held;
}

std::vector<CacheStore::BatchItem> CacheStore::lookupMany(const std::string& endpoint, const std::string& name,
                                                          int subshot, const std::vector<int>& shots,
                                                          const std::vector<Entry>& listing) const {
    std::unordered_map<int, const Entry*> listed;
    for (const Entry& entry : listing)
        if (entry.subshot == subshot) listed.emplace(entry.shot, &entry);
    std::vector<BatchItem> items(shots.size());
    for (std::size_t i = 0; i < shots.size(); ++i) {
        const auto found = listed.find(shots[i]);
        if (found == listed.end()) continue;
        items[i].listed = found->second;
        items[i].record = lookup(CacheKey{endpoint, name, shots[i], subshot}, *found->second);
    }
    return items;
}

bool CacheStore::store(const CacheKey& key, const Entry& row, const qx::AnaData& record) const {
    std::uint64_t entryBytes = 0;
    try {
        const EntryName where = entryNameOf(key);
        const Descriptor entries = openEntries(options_.directory, true);
        if (!entries) return false;
        const Descriptor shard = openShard(entries.get(), where.shard, true);
        if (!shard) return false;

        EntryHeader header{key, CatalogueRow::of(row), 0, 0, static_cast<std::int64_t>(std::time(nullptr))};
        std::string head = encodeHeader(header);
        if (head.size() >= options_.maxBytes) return false;
        TemporaryFile file(shard.get(), temporaryName());
        if (file.fd() < 0 || !writeAll(file.fd(), head, 0) || ::lseek(file.fd(), 0, SEEK_END) < 0) return false;
        ChecksumWriter payload(file.fd(), options_.maxBytes - head.size());
        std::ostream out(&payload);
        record.dump(out);
        if (!out.flush() || !payload.finish()) return false;
        // The header goes in again with the payload's length and checksum; same length, same place.
        header.payloadBytes = payload.written();
        header.payloadCrc = payload.checksum();
        head = encodeHeader(header);
        if (!writeAll(file.fd(), head, 0)) return false;
        markUsed(file.fd());
        if (!file.publishAs(where.file)) return false;
        entryBytes = head.size() + payload.written();
    } catch (const std::exception&) {
        return false;
    }
    // One thread of those that pass the interval trims; a failing trim leaves the entry stored.
    const std::uint64_t interval = trimInterval();
    if (sinceTrim_.fetch_add(entryBytes) + entryBytes >= interval && sinceTrim_.exchange(0) >= interval) {
        try {
            trimToLimit(options_);
        } catch (const std::exception&) {
        }
    }
    return true;
}

CacheInfo CacheStore::stats() const {
    return cacheContents(options_);
}

CacheInfo CacheStore::clear() const {
    return removeAllEntries(options_);
}

CacheInfo CacheStore::prune() const {
    return trimToLimit(options_);
}

}  // namespace anadata::detail
