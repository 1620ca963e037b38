// The two transfers of the contract: a server file read block by block, a registration sent block by block.
#ifndef ANADATA_BLOCKTRANSFERS_H
#define ANADATA_BLOCKTRANSFERS_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "ServiceCalls.h"

namespace anadata::detail {

enum class DownloadEnd {
    emptyBlock,  // the service answered with an empty block: the end of its file
    complete,    // `total` bytes have come
    failed,      // a call failed (and was reported)
    overrun,     // more than `total` bytes came, or a block would end past the contract's 32-bit offsets
};

// Receives the blocks of a download in order.
using BlockSink = std::function<void(const unsigned char* data, std::size_t size)>;

// Reads the server file at `path` from offset `done` (0 for the whole file) in blocks of
// blockSize, handing each block to `sink` before asking for the next, until an empty block or,
// when `total` is given, until `done` reaches it. `done` counts each block before sink receives
// it, and ends at the offset reached (a block that overruns is neither delivered nor counted).
// Whatever sink throws passes through.
// The blocks are decoded into the connection's block buffer.
DownloadEnd downloadBlocks(ServiceCalls& calls, const char* path, std::optional<std::uint64_t> total,
                           std::uint64_t& done, const BlockSink& sink);

// Gives the block of a registration that starts at `offset` bytes into the file: points `data` at
// it and returns its size; 0 or less when there are no more. Without a dropped connection the
// offsets follow each other (each is the last one plus the size returned).
using BlockSource = std::function<int(std::uint64_t offset, const unsigned char*& data)>;

// The registration conversation on one connection: begin with `info`, one putData per block of
// `source`, end. When the connection drops during the blocks or the end and the calls' retry policy
// allows another attempt, the registration goes on over a fresh connection from the length the
// service says it holds (an empty putData asks for it); when it cannot say, the registration is
// aborted on the service and begun again. A busy begin is retried by the policy itself. `key`
// holds the key of the open registration (for an abort). False when a call failed for good (the
// handler has its failure); a registration that failed after begin is left open on the service.
bool sendRegistration(ServiceCalls& calls, const char* account, const char* password, const RegistrationInfo& info,
                      const BlockSource& source, std::string& key);

}  // namespace anadata::detail

#endif
