// The block loops of the download and the registration.
#include "BlockTransfers.h"

#include <algorithm>
#include <climits>
#include <vector>

namespace anadata::detail {

DownloadEnd downloadBlocks(ServiceCalls& calls, const char* path, std::optional<std::uint64_t> total,
                           std::uint64_t& done, const BlockSink& sink) {
    // Offsets are 32-bit on the wire: no file read this way can be longer.
    const std::uint64_t limit = total ? std::min<std::uint64_t>(*total, INT_MAX) : INT_MAX;
    if (done > limit) return DownloadEnd::overrun;
    std::vector<unsigned char>& block = calls.connection().blockBuffer();
    // With a total the download ends on its last byte; without one, on the empty block that
    // answers a read past the end.
    while (!total || done < *total) {
        if (!calls.dataBlock(path, static_cast<int>(done), blockSize, block)) return DownloadEnd::failed;
        if (block.empty()) return DownloadEnd::emptyBlock;
        if (block.size() > limit - done) return DownloadEnd::overrun;
        done += block.size();
        sink(block.data(), block.size());
    }
    return DownloadEnd::complete;
}

namespace {

// The blocks from `offset` on, then the end of the registration.
bool sendFrom(ServiceCalls& calls, const char* key, const BlockSource& source, std::uint64_t offset) {
    const unsigned char* data = nullptr;
    for (int size = source(offset, data); size > 0; size = source(offset, data)) {
        if (!calls.putBlock(key, data, size)) return false;
        offset += static_cast<std::uint64_t>(size);
    }
    return calls.endRegistration(key);
}

bool connectionDropped(const CallFailure& failure) {
    return !failure.serviceFault && !failure.tlsService &&
           (failure.code == ErrorCode::transport || failure.code == ErrorCode::timeout);
}

}  // namespace

bool sendRegistration(ServiceCalls& calls, const char* account, const char* password, const RegistrationInfo& info,
                      const BlockSource& source, std::string& key) {
    key.clear();
    const RetryPolicy& policy = calls.retry();
    std::uint64_t offset = 0;
    for (int attempt = 1;; ++attempt) {
        if (key.empty()) {
            if (!calls.beginRegistration(account, password, info, key)) return false;
            offset = 0;
        }
        const auto failure = calls.attempt([&] { sendFrom(calls, key.c_str(), source, offset); });
        if (!failure) return true;
        if (attempt >= policy.attempts || !connectionDropped(*failure) ||
            !waitBeforeRetry(policy, retryDelay(policy, attempt + 1, *failure))) {
            calls.report(*failure);
            return false;
        }
        calls.connection().close();
        int held = -1;
        const bool told = !calls.attempt([&] { calls.putBlock(key.c_str(), nullptr, 0, &held); });
        if (told && held >= 0 && held <= info.length) {
            offset = static_cast<std::uint64_t>(held);
            continue;
        }
        // The registration is gone (it may even have ended) or the service cannot be reached:
        // whatever it holds of it is dropped, and the registration begins again.
        calls.attempt([&] { calls.abortRegistration(key.c_str()); });
        key.clear();
    }
}

}  // namespace anadata::detail
