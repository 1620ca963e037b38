// A reader that extracts the first entry of a zip archive pushed to it in blocks, as the blocks arrive.
#ifndef ANADATA_SESSION_ZIP_STREAM_READER_H
#define ANADATA_SESSION_ZIP_STREAM_READER_H

#include <cstddef>
#include <cstdint>
#include <memory>

#include "parallel_deflater.h"
#include "stream_inflater.h"

namespace anadata::detail {

// Takes archive bytes in blocks of any size and hands the first entry's data to the sink as it is
// decoded, never holding the archive: about half a MiB, whatever the headers claim. Reads
// entries stored or deflated, with their sizes in the local header (minizip) or in a data descriptor
// (ZipWriter). finish() checks the CRC-32 and size of the entry and that the archive ends with an
// end of central directory record; further entries are skipped unread. Encrypted and zip64
// entries, other methods, truncated or damaged archives throw ZipError with a message naming the
// fault. One thread at a time may use an object; objects are independent.
class ZipStreamReader {
public:
    // Throws ZipError when the engine is not available in this build.
    explicit ZipStreamReader(ByteSink sink, InflateEngine engine = InflateEngine::fastest);
    ~ZipStreamReader();
    ZipStreamReader(const ZipStreamReader&) = delete;
    ZipStreamReader& operator=(const ZipStreamReader&) = delete;

    // Takes the next block. Throws ZipError as soon as the bytes show a fault, and whatever the
    // sink throws; after any exception the object only accepts destruction. Data already handed to
    // the sink before an error is not taken back: callers discard it.
    void feed(const void* data, std::size_t size);
    // Declares the end of the archive: throws ZipError unless the entry was complete and checked
    // and the archive ended properly.
    void finish();

    std::uint64_t entrySize() const;  // entry bytes handed to the sink so far

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace anadata::detail

#endif
