// One server file fetched over several connections at once, its blocks handed on in their order.
#ifndef ANADATA_RANGEDDOWNLOAD_H
#define ANADATA_RANGEDDOWNLOAD_H

#include <cstdint>
#include <functional>

#include "BlockTransfers.h"
#include "ConnectionPool.h"

namespace anadata::detail {

// The calls a stream makes on its connection: the caller's failure handler and retry policy.
using CallsOn = std::function<ServiceCalls(Connection&)>;

// Reads bytes [done, total) of the server file at `path` as downloadBlocks does (the same
// blockSize requests, at the same offsets), but over up to `streams` connections of `pool` at
// once, each asking for other blocks. The blocks reach `sink` in their order on the calling
// thread, and at most two per stream wait to be handed on, so memory stays bounded whatever the
// file's length. One stream, a total past the contract's 32-bit offsets or a file of a few blocks
// is read by downloadBlocks on one connection. Ends as downloadBlocks does with a total: emptyBlock
// when the file ends short of it (`done` tells where), overrun when a block is longer than the
// rest, failed when a call failed without its handler throwing. Whatever a handler or the sink
// throws stops the other streams and passes through once they have stopped.
DownloadEnd downloadRanges(ConnectionPool& pool, const CallsOn& callsOn, const char* path, std::uint64_t total,
                           int streams, std::uint64_t& done, const BlockSink& sink);

}  // namespace anadata::detail

#endif
