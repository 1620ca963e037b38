// NAME.part beside the target of fetchFile: the archive received so far, kept when a download is
// interrupted so that a later one of the same entry continues from it.
#ifndef ANADATA_SESSION_PART_FILE_H
#define ANADATA_SESSION_PART_FILE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace anadata::detail {

// The entry version a part file holds the start of: the service, the data set, and what the
// catalogue said of its archive. A replaced entry has another date or size.
struct PartIdentity {
    std::string endpoint;
    std::string name;
    int shot = 0;
    int subshot = 0;
    std::string fileDate;
    std::uint64_t size = 0;
};

// The file starts with a header naming its identity (so that neither it nor its bytes can pass for
// a record or an archive), followed by the archive's first bytes as they came. Every failure is
// an Error(local_io) naming the file.
class PartFile {
public:
    // Opens or creates target + ".part", locked against any other download into it. Bytes it
    // holds for the same identity are kept up to the last whole block (a later one may have been
    // cut short by a crash); anything else in it is discarded.
    PartFile(const std::string& target, const PartIdentity& identity);
    // Closes the file and leaves it where it is (see remove()).
    ~PartFile();
    PartFile(const PartFile&) = delete;
    PartFile& operator=(const PartFile&) = delete;

    // Archive bytes held: the download continues from here.
    std::uint64_t held() const { return held_; }
    // Hands the held bytes to sink in order, in pieces.
    void replay(const std::function<void(const unsigned char* data, std::size_t size)>& sink) const;
    void append(const unsigned char* data, std::size_t size);
    // Drops the bytes held: the download starts over.
    void restart();
    // Keeps the file for a later download when it holds a whole block, deletes it otherwise (a
    // later download would discard what it holds).
    void leave();
    // Deletes the file: the download is complete, or failed in a way a later one cannot build on.
    void remove();

    static std::string pathFor(const std::string& target) { return target + ".part"; }

private:
    std::string path_;
    int fd_ = -1;
    std::uint64_t header_ = 0;
    std::uint64_t held_ = 0;
};

}  // namespace anadata::detail

#endif
