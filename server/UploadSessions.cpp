// Open registration sessions: each stages its upload in a private file until it is committed or dropped.
#include "UploadSessions.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>
#include <openssl/rand.h>

#include "Catalogue.h"
#include "ServiceError.h"
#include "Store.h"

using Clock = std::chrono::steady_clock;

struct UploadSessions::Session {
    std::mutex mutex;  // one block at a time, and no commit while a block is written
    std::string key;
    CatalogueEntry entry;
    bool replace = false;
    std::string staging;
    int fd = -1;
    std::int64_t received = 0;
    bool finished = false;
    Clock::time_point lastUse;
};

namespace {

std::string newKey() {
    unsigned char buf[16];
    if (RAND_bytes(buf, sizeof buf) != 1) throw ServiceError("no random bytes available", ServiceError::Kind::Internal);
    static const char digits[] = "0123456789abcdef";
    std::string key;
    for (unsigned char b : buf) {
        key += digits[b >> 4];
        key += digits[b & 15];
    }
    return key;
}

const char* const kUnknownSession = "unknown or expired upload session";

}  // namespace

UploadSessions::UploadSessions(const Store& store, UploadLimits limits) : store_(store), limits_(limits) {}

UploadSessions::~UploadSessions() {
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto& kv : sessions_) {
        std::lock_guard<std::mutex> sl(kv.second->mutex);
        drop(*kv.second);
    }
}

void UploadSessions::drop(Session& s) {
    received_ -= s.received;
    s.received = 0;
    if (s.fd >= 0) close(s.fd);
    s.fd = -1;
    if (!s.finished) unlink(s.staging.c_str());
    s.finished = true;
}

void UploadSessions::release(const Session& s) {
    announced_ -= s.entry.filelen;
    auto it = accounts_.find(s.entry.userid);
    if (it == accounts_.end()) return;
    it->second.announced -= s.entry.filelen;
    if (--it->second.sessions == 0) accounts_.erase(it);
}

std::string UploadSessions::begin(const CatalogueEntry& entry, bool replace) {
    auto s = std::make_shared<Session>();
    s->entry = entry;
    s->replace = replace;
    s->lastUse = Clock::now();
    std::lock_guard<std::mutex> lock(mutex_);
    const std::string& account = entry.userid;
    Share share = accounts_.count(account) ? accounts_[account] : Share{};
    std::string bytes = std::to_string(entry.filelen) + " bytes";
    const std::int64_t room = std::min(limits_.maxStagingBytes, limits_.maxStagingBytesPerAccount);
    if (entry.filelen > room)  // waiting would not help
        throw ServiceError("a file of " + bytes + " is larger than the staging space of an account (" +
                           std::to_string(room) + " bytes)");
    if (static_cast<int>(sessions_.size()) >= limits_.maxSessions)
        throw ServiceError::busy("too many open upload sessions");
    if (share.sessions >= limits_.maxSessionsPerAccount)
        throw ServiceError::busy("too many open upload sessions of account " + account);
    if (announced_ + entry.filelen > limits_.maxStagingBytes)
        throw ServiceError::busy("not enough staging space for " + bytes);
    if (share.announced + entry.filelen > limits_.maxStagingBytesPerAccount)
        throw ServiceError::busy("not enough staging space left to account " + account + " for " + bytes);
    do s->key = newKey(); while (sessions_.count(s->key));
    s->staging = store_.stagingPath(s->key);
    s->fd = open(s->staging.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (s->fd < 0)
        throw ServiceError("cannot create staging file: " + std::string(std::strerror(errno)),
                           ServiceError::Kind::Internal);
    sessions_[s->key] = s;
    announced_ += entry.filelen;
    Share& counted = accounts_[account];
    ++counted.sessions;
    counted.announced += entry.filelen;
    return s->key;
}

std::shared_ptr<UploadSessions::Session> UploadSessions::get(const std::string& key) {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = sessions_.find(key);
    if (it == sessions_.end()) throw ServiceError(kUnknownSession);
    return it->second;
}

std::shared_ptr<UploadSessions::Session> UploadSessions::take(const std::string& key) {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = sessions_.find(key);
    if (it == sessions_.end()) throw ServiceError(kUnknownSession);
    auto s = it->second;
    sessions_.erase(it);
    release(*s);
    return s;
}

std::int64_t UploadSessions::append(const std::string& key, const unsigned char* data, size_t size) {
    auto s = get(key);
    std::lock_guard<std::mutex> sl(s->mutex);
    if (s->finished) throw ServiceError(kUnknownSession);
    s->lastUse = Clock::now();
    if (s->received + static_cast<std::int64_t>(size) > s->entry.filelen)
        throw ServiceError("block goes past the announced file length of " + std::to_string(s->entry.filelen) +
                           " bytes");
    size_t done = 0;
    while (done < size) {
        ssize_t n = write(s->fd, data + done, size - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0)
            throw ServiceError("cannot write staging file: " + std::string(std::strerror(errno)),
                               ServiceError::Kind::Internal);
        done += static_cast<size_t>(n);
    }
    s->received += static_cast<std::int64_t>(size);
    received_ += static_cast<std::int64_t>(size);
    s->lastUse = Clock::now();
    return s->received;
}

Committed UploadSessions::end(const std::string& key, Catalogue& catalogue) {
    auto s = take(key);
    std::lock_guard<std::mutex> sl(s->mutex);
    if (s->finished) throw ServiceError(kUnknownSession);
    struct Dropper {
        UploadSessions* self;
        Session* s;
        ~Dropper() { self->drop(*s); }
    } dropper{this, s.get()};

    if (s->received != s->entry.filelen)
        throw ServiceError("received " + std::to_string(s->received) + " bytes but the record announced " +
                           std::to_string(s->entry.filelen));
    close(s->fd);
    s->fd = -1;
    CatalogueEntry entry = s->entry;
    entry.directory = store_.install(s->staging, entry.filename);
    s->finished = true;  // the staging file is gone: it became the data file
    std::optional<std::string> old;
    try {
        old = catalogue.commit(entry, s->replace);
    } catch (...) {
        store_.discard(entry.relativePath());
        throw;
    }
    if (old) store_.discard(*old);
    return {entry, old.has_value()};
}

void UploadSessions::abort(const std::string& key) {
    auto s = take(key);
    std::lock_guard<std::mutex> sl(s->mutex);
    drop(*s);
}

int UploadSessions::reapIdle() {
    std::lock_guard<std::mutex> lock(mutex_);
    auto now = Clock::now();
    int count = 0;
    for (auto it = sessions_.begin(); it != sessions_.end();) {
        auto& s = *it->second;
        std::unique_lock<std::mutex> sl(s.mutex, std::try_to_lock);
        if (sl.owns_lock() && now - s.lastUse > limits_.idleTimeout) {
            drop(s);
            release(s);
            sl.unlock();
            it = sessions_.erase(it);
            ++count;
        } else {
            ++it;
        }
    }
    return count;
}

size_t UploadSessions::openCount() {
    std::lock_guard<std::mutex> lock(mutex_);
    return sessions_.size();
}

UploadUsage UploadSessions::usage() {
    std::lock_guard<std::mutex> lock(mutex_);
    return {sessions_.size(), announced_, received_.load()};
}
