// A writer of single-entry zip archives that deflates the entry on several threads as it streams.
#ifndef ANADATA_SESSION_ZIP_WRITER_H
#define ANADATA_SESSION_ZIP_WRITER_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "parallel_deflater.h"

namespace anadata::detail {

// Produces, in order through the sink, one zip archive holding one deflated entry: local header,
// data, data descriptor (the sizes are known only at the end), central directory, end record.
// The entry carries minizip's all-zero date, no extra field and no comment. Entries over
// 0xFFFFFFFE bytes are refused: these archives have no zip64 records.
class ZipWriter {
public:
    // `entryName` is stored as given (callers pass the data file's base name). Throws ZipError for
    // a name over 65535 bytes or a bad piece size. Nothing reaches the sink before write() or finish().
    ZipWriter(std::string entryName, ByteSink sink, DeflateOptions options = {});
    ~ZipWriter();
    ZipWriter(const ZipWriter&) = delete;
    ZipWriter& operator=(const ZipWriter&) = delete;

    // Adds entry data. Throws ZipError when the entry would pass 0xFFFFFFFE bytes (before taking any
    // of these bytes), on a zlib failure or after finish(), and whatever the sink throws; after any
    // exception the object only accepts destruction and the archive is unusable.
    void write(const void* data, std::size_t size);
    // Writes the rest of the archive. Same exceptions as write().
    void finish();

    std::uint64_t entrySize() const;    // entry bytes written so far
    std::uint64_t archiveSize() const;  // archive bytes delivered so far

private:
    void emit(const char* data, std::size_t size);
    void startArchive();

    std::string name_;
    ByteSink sink_;
    ParallelDeflater deflater_;
    std::uint64_t written_ = 0;
    bool started_ = false;
    bool failed_ = false;
};

}  // namespace anadata::detail

#endif
