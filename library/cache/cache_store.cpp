// Reading, checking and writing the entries of the local cache.
#include "cache_store.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <istream>
#include <memory>
#include <new>
#include <ostream>
#include <random>
#include <unordered_map>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cache_upkeep.h"
#include "checksum_streams.h"

namespace anadata::detail {

namespace {

// The pieces a file entry is copied in: below glibc's mmap threshold, so that serving or storing
// a file maps and unmaps nothing.
constexpr std::size_t filePiece = 64 * 1024;

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

void OpenEntry::drop() const {
    removeIfSame(shard.get(), where.file, info);
}

std::optional<OpenEntry> CacheStore::open(const CacheKey& key, const Entry* row) const {
    OpenEntry entry;
    entry.where = entryNameOf(key);
    const Descriptor entries = openEntries(options_.directory, false);
    if (!entries) return std::nullopt;
    entry.shard = openShard(entries.get(), entry.where.shard, false);
    if (!entry.shard) return std::nullopt;
    entry.file = openEntryFile(entry.shard.get(), entry.where.file, entry.info);
    if (!entry.file) return std::nullopt;

    // No entry larger than the limit is ever stored, which bounds what a planted file can cost.
    const auto fileBytes = static_cast<std::uint64_t>(entry.info.st_size);
    std::optional<EntryHeader> header;
    if (fileBytes <= options_.maxBytes) header = readHeader(entry.file.get(), fileBytes, entry.headerBytes);
    if (!header) {
        entry.drop();
        return std::nullopt;
    }
    if (!(header->key == key)) return std::nullopt;  // another key of the same hash
    if (row != nullptr && !(header->row == CatalogueRow::of(*row))) return std::nullopt;
    entry.header = std::move(*header);
    return entry;
}

std::optional<CacheStore::Found> CacheStore::load(const CacheKey& key, const Entry* row) const {
    CacheKey recordKey = key;
    recordKey.kind = PayloadKind::record;
    std::optional<OpenEntry> entry = open(recordKey, row);
    if (!entry) return std::nullopt;
    ChecksumReader payload(entry->file.get(), entry->headerBytes, entry->header.payloadBytes);
    std::istream in(&payload);
    try {
        qx::AnaData record = qx::AnaData::restore(in);
        if (!in || !payload.intact(entry->header.payloadCrc)) {
            entry->drop();
            return std::nullopt;
        }
        markUsed(entry->file.get());
        return Found{std::move(record), std::move(entry->header)};
    } catch (const qx::clsException&) {
        entry->drop();  // no dump at all
        return std::nullopt;
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
}

std::optional<qx::AnaData> CacheStore::lookup(const CacheKey& key, const Entry& row) const {
    std::optional<Found> found = load(key, &row);
    if (!found) return std::nullopt;
    return std::move(found->record);
}

namespace {

Entry rowOf(const EntryHeader& header) {
    Entry row;
    row.name = header.key.name;
    row.shot = header.key.shot;
    row.subshot = header.key.subshot;
    row.filename = header.row.filename;
    row.filedate = header.row.filedate;
    row.user = header.row.user;
    row.size = header.row.size;
    return row;
}

}  // namespace

std::optional<CacheStore::Held> CacheStore::lookupOffline(const CacheKey& key) const {
    std::optional<Found> found = load(key, nullptr);
    if (!found) return std::nullopt;
    return Held{std::move(found->record), rowOf(found->header)};
}

std::optional<CachedFile> CacheStore::lookupFile(const CacheKey& key, const Entry* row) const {
    if (key.kind == PayloadKind::record) return std::nullopt;
    std::optional<OpenEntry> entry = open(key, row);
    if (!entry) return std::nullopt;
    markUsed(entry->file.get());
    Entry held = rowOf(entry->header);
    return CachedFile(std::move(*entry), std::move(held));
}

bool CachedFile::copyTo(const std::function<void(const char* data, std::size_t size)>& write) const {
    ChecksumReader payload(entry_.file.get(), entry_.headerBytes, entry_.header.payloadBytes);
    const std::unique_ptr<char[]> buffer(new char[filePiece]);
    std::uint64_t left = entry_.header.payloadBytes;
    while (left > 0) {
        const auto want = static_cast<std::streamsize>(std::min<std::uint64_t>(left, filePiece));
        const std::streamsize got = payload.sgetn(buffer.get(), want);
        if (got <= 0) break;
        write(buffer.get(), static_cast<std::size_t>(got));
        left -= static_cast<std::uint64_t>(got);
    }
    if (left == 0 && payload.intact(entry_.header.payloadCrc)) return true;
    entry_.drop();
    return false;
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
    CacheKey recordKey = key;
    recordKey.kind = PayloadKind::record;
    return write(recordKey, row, [&](std::ostream& out) {
        record.dump(out);
        return true;
    });
}

bool CacheStore::storeFile(const CacheKey& key, const Entry& row, const std::string& path) const {
    if (key.kind == PayloadKind::record) return false;
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file) return false;
    return write(key, row, [&](std::ostream& out) {
        const std::unique_ptr<char[]> buffer(new char[filePiece]);
        for (;;) {
            const ssize_t got = ::read(file.get(), buffer.get(), filePiece);
            if (got < 0 && errno == EINTR) continue;
            if (got < 0) return false;
            if (got == 0) return true;
            if (!out.write(buffer.get(), got)) return false;
        }
    });
}

bool CacheStore::write(const CacheKey& key, const Entry& row,
                       const std::function<bool(std::ostream&)>& payloadOf) const {
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
        if (!payloadOf(out) || !out.flush() || !payload.finish()) return false;
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
