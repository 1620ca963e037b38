// The block loops of the download and the registration.
#include "BlockTransfers.h"

#include <algorithm>
#include <climits>
#include <vector>

namespace anadata::detail {

DownloadEnd downloadBlocks(ServiceCalls& calls, const char* path, std::optional<std::uint64_t> total,
                           std::uint64_t& done,
                           const std::function<void(const unsigned char* data, std::size_t size)>& sink) {
    // Offsets are 32-bit on the wire: no file read this way can be longer.
    const std::uint64_t limit = total ? std::min<std::uint64_t>(*total, INT_MAX) : INT_MAX;
    if (done > limit) return DownloadEnd::overrun;
    std::vector<unsigned char> block;  // one buffer for every block
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

bool sendRegistration(ServiceCalls& calls, const char* account, const char* password, const RegistrationInfo& info,
                      const BlockSource& next, std::string& key) {
    key.clear();
    if (!calls.beginRegistration(account, password, info, key)) return false;
    const unsigned char* data = nullptr;
    for (int size = next(data); size > 0; size = next(data))
        if (!calls.putBlock(key.c_str(), data, size)) return false;
    return calls.endRegistration(key.c_str());
}

}  // namespace anadata::detail
