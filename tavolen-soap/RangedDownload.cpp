// The streams of a ranged download, each fetching the next block not yet taken, and the in-order
// hand-over of their blocks on the calling thread.
#include "RangedDownload.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace anadata::detail {

namespace {

// Below this many blocks the streams' set-up is not worth it.
constexpr std::uint64_t minimumBlocks = 4;

// How the fetch of one block ended.
enum class BlockEnd { whole, fileEnds, overrun, failed };

// One block held between its fetch and its hand-over; the buffer is used again for later blocks.
struct Slot {
    std::vector<unsigned char> bytes;
    std::uint64_t block = 0;
    bool ready = false;
    BlockEnd end = BlockEnd::whole;
};

// The `want` bytes at `offset` into `bytes`. A service that gives less per request than asked is
// asked for the rest; an empty reply before `want` bytes means that the file ends there.
BlockEnd fetchBlock(ServiceCalls& calls, const char* path, std::uint64_t offset, std::uint64_t want,
                    std::vector<unsigned char>& bytes) {
    if (!calls.dataBlock(path, static_cast<int>(offset), blockSize, bytes)) return BlockEnd::failed;
    std::vector<unsigned char>& more = calls.connection().blockBuffer();
    while (bytes.size() < want) {
        if (bytes.empty()) return BlockEnd::fileEnds;
        if (!calls.dataBlock(path, static_cast<int>(offset + bytes.size()), blockSize, more)) return BlockEnd::failed;
        if (more.empty()) return BlockEnd::fileEnds;
        if (more.size() > want - bytes.size()) return BlockEnd::overrun;
        bytes.insert(bytes.end(), more.begin(), more.end());
    }
    return bytes.size() > want ? BlockEnd::overrun : BlockEnd::whole;
}

class Ranges {
public:
    Ranges(const char* path, std::uint64_t first, std::uint64_t total, int streams)
        : path_(path), first_(first), total_(total), count_((total - first + blockSize - 1) / blockSize),
          slots_(2 * static_cast<std::size_t>(streams)) {
        for (Slot& slot : slots_) slot.bytes.reserve(blockSize + 8);  // the decoder's room for a whole block
    }

    // A stream: takes the next block while the window has room for it.
    void stream(ConnectionPool& pool, const CallsOn& callsOn) {
        try {
            auto lease = pool.acquire();
            ServiceCalls calls = callsOn(lease.connection());
            calls.retry().abandon = &abandon_;
            for (;;) {
                std::uint64_t block;
                Slot* slot;
                {
                    std::unique_lock<std::mutex> lock(mutex_);
                    changed_.wait(lock, [&] { return stop_ || nextFetch_ >= last_ || nextFetch_ < nextDeliver_ + slots_.size(); });
                    if (stop_ || nextFetch_ >= last_) return;
                    block = nextFetch_++;
                    slot = &slots_[block % slots_.size()];
                }
                const std::uint64_t offset = first_ + block * blockSize;
                const BlockEnd end = fetchBlock(calls, path_, offset, std::min<std::uint64_t>(blockSize, total_ - offset),
                                                slot->bytes);
                std::lock_guard<std::mutex> lock(mutex_);
                slot->block = block;
                slot->end = end;
                slot->ready = true;
                // Nothing past a block that ends the download is asked for.
                if (end != BlockEnd::whole) last_ = std::min(last_, block + 1);
                changed_.notify_all();
            }
        } catch (...) {
            std::lock_guard<std::mutex> lock(mutex_);
            if (!failure_) failure_ = std::current_exception();
            halt();
        }
    }

    // Hands the blocks on in order until the end or the first block that ends the download.
    DownloadEnd deliver(std::uint64_t& done, const BlockSink& sink) {
        for (std::uint64_t block = 0; block < count_; ++block) {
            Slot& slot = slots_[block % slots_.size()];
            {
                std::unique_lock<std::mutex> lock(mutex_);
                changed_.wait(lock, [&] { return failure_ || (slot.ready && slot.block == block); });
                if (failure_) std::rethrow_exception(failure_);
            }
            if (slot.end == BlockEnd::failed) return DownloadEnd::failed;
            if (slot.end == BlockEnd::overrun) return DownloadEnd::overrun;
            if (!slot.bytes.empty()) {
                done += slot.bytes.size();
                sink(slot.bytes.data(), slot.bytes.size());
            }
            if (slot.end == BlockEnd::fileEnds) return DownloadEnd::emptyBlock;
            std::lock_guard<std::mutex> lock(mutex_);
            slot.ready = false;
            ++nextDeliver_;
            changed_.notify_all();
        }
        return DownloadEnd::complete;
    }

    void halt() {
        stop_ = true;
        abandon_ = true;
        changed_.notify_all();
    }
    void stopStreams() {
        std::lock_guard<std::mutex> lock(mutex_);
        halt();
    }

private:
    const char* path_;
    const std::uint64_t first_, total_, count_;
    std::vector<Slot> slots_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::uint64_t nextFetch_ = 0, nextDeliver_ = 0;
    std::uint64_t last_ = count_;  // blocks from here on are not fetched
    bool stop_ = false;
    std::atomic<bool> abandon_{false};
    std::exception_ptr failure_;
};

}  // namespace

DownloadEnd downloadRanges(ConnectionPool& pool, const CallsOn& callsOn, const char* path, std::uint64_t total,
                           int streams, std::uint64_t& done, const BlockSink& sink) {
    if (done >= total) return done == total ? DownloadEnd::complete : DownloadEnd::overrun;
    const std::uint64_t blocks = (total - done + blockSize - 1) / blockSize;
    if (streams <= 1 || blocks < minimumBlocks || total > INT_MAX) {
        auto lease = pool.acquire();
        ServiceCalls calls = callsOn(lease.connection());
        return downloadBlocks(calls, path, total, done, sink);
    }
    Ranges ranges(path, done, total, static_cast<int>(std::min<std::uint64_t>(streams, blocks)));
    std::vector<std::thread> threads;
    struct Join {
        Ranges& ranges;
        std::vector<std::thread>& threads;
        ~Join() {
            ranges.stopStreams();
            for (auto& t : threads) t.join();
        }
    } join{ranges, threads};
    for (std::uint64_t i = 0; i < std::min<std::uint64_t>(streams, blocks); ++i)
        threads.emplace_back([&] { ranges.stream(pool, callsOn); });
    return ranges.deliver(done, sink);
}

}  // namespace anadata::detail
