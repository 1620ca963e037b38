// Open registration sessions: each stages its upload in a private file until it is committed or dropped.
#ifndef ANADATA_SERVER_UPLOADSESSIONS_H
#define ANADATA_SERVER_UPLOADSESSIONS_H

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "CatalogueEntry.h"

class Catalogue;
class Store;

struct UploadLimits {
    int maxSessions = 256;
    std::int64_t maxStagingBytes = 64LL << 30;  // sum of the announced lengths of open sessions
    // The share of one account, so that it cannot hold every other one off, yet enough for one
    // user's parallel jobs (a tool's --jobs, a script's thread pool): 64 uploads, 8 largest files.
    int maxSessionsPerAccount = 64;
    std::int64_t maxStagingBytesPerAccount = 16LL << 30;
    std::chrono::seconds idleTimeout{600};
};

// What the open sessions hold, for the metrics.
struct UploadUsage {
    std::size_t sessions = 0;
    std::int64_t announced = 0;  // bytes the sessions announced
    std::int64_t received = 0;   // bytes written to their staging files so far
};

// What a session that ended well put into the catalogue.
struct Committed {
    CatalogueEntry entry;
    bool replaced = false;
};

class UploadSessions {
public:
    UploadSessions(const Store& store, UploadLimits limits);
    ~UploadSessions();  // drops every open session

    // Opens a session for a validated entry of the account entry.userid; returns its key. Throws
    // ServiceError: of kind Busy when a limit, of all sessions or of the account's, is reached for
    // now, and a plain refusal for a file larger than an account may ever stage.
    std::string begin(const CatalogueEntry& entry, bool replace);
    // Appends a block; returns the number of bytes received so far. Throws ServiceError.
    std::int64_t append(const std::string& key, const unsigned char* data, size_t size);
    // Checks the length, installs the file and commits the catalogue row. The session is gone afterwards,
    // whether it succeeded or not. Throws ServiceError.
    Committed end(const std::string& key, Catalogue& catalogue);
    // Drops the session and its staging file. Throws ServiceError for an unknown key.
    void abort(const std::string& key);
    // Drops sessions idle for longer than the timeout; returns how many.
    int reapIdle();
    size_t openCount();
    UploadUsage usage();

private:
    struct Session;
    std::shared_ptr<Session> take(const std::string& key);
    std::shared_ptr<Session> get(const std::string& key);
    void drop(Session& s);
    void release(const Session& s);  // gives back what the session counted against the limits

    const Store& store_;
    UploadLimits limits_;
    std::mutex mutex_;
    std::map<std::string, std::shared_ptr<Session>> sessions_;
    std::int64_t announced_ = 0;
    std::atomic<std::int64_t> received_{0};
    struct Share {
        int sessions = 0;
        std::int64_t announced = 0;
    };
    std::map<std::string, Share> accounts_;
};

#endif
