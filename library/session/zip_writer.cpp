// ZipWriter: the zip records around the parallel deflater's stream.
#include "zip_writer.h"

#include "zip_error.h"
#include "zip_format.h"

namespace anadata::detail {

using namespace zipformat;

namespace {

std::string checkedName(std::string name) {
    if (name.size() > 0xFFFF) throw ZipError("zip: entry name over 65535 bytes");
    return name;
}

}  // namespace

ZipWriter::ZipWriter(std::string entryName, ByteSink sink, DeflateOptions options)
    : name_(checkedName(std::move(entryName))),
      sink_(std::move(sink)),
      deflater_([this](const char* data, std::size_t size) { emit(data, size); }, options) {}

ZipWriter::~ZipWriter() = default;

void ZipWriter::emit(const char* data, std::size_t size) {
    // The deflater's output cannot outgrow the 32-bit fields either (stored blocks of random data).
    if (deflater_.outputSize() + size > maxSize)
        throw ZipError("zip: compressed entry over 0xFFFFFFFE bytes");
    sink_(data, size);
    written_ += size;
}

void ZipWriter::startArchive() {
    if (started_) return;
    started_ = true;
    unsigned char header[localHeaderSize] = {};
    put32(header, localSignature);
    put16(header + 4, versionNeeded);
    put16(header + 6, flagDescriptor);
    put16(header + 8, methodDeflated);
    put16(header + 10, dosTime);
    put16(header + 12, dosDate);
    // CRC-32 and sizes stay 0 here: the data descriptor carries them.
    put16(header + 26, static_cast<std::uint16_t>(name_.size()));
    sink_(reinterpret_cast<const char*>(header), sizeof header);
    sink_(name_.data(), name_.size());
    written_ += sizeof header + name_.size();
}

void ZipWriter::write(const void* data, std::size_t size) {
    if (failed_) throw ZipError("zip: the writer failed before and cannot go on");
    try {
        if (size > maxSize - deflater_.inputSize())
            throw ZipError("zip: entry over 0xFFFFFFFE bytes needs zip64, which these archives do not use");
        startArchive();
        deflater_.write(data, size);
    } catch (...) {
        failed_ = true;
        throw;
    }
}

void ZipWriter::finish() {
    if (failed_) throw ZipError("zip: the writer failed before and cannot go on");
    try {
        startArchive();
        deflater_.finish();
        const std::uint32_t crc = deflater_.crc();
        const auto packed = static_cast<std::uint32_t>(deflater_.outputSize());
        const auto size = static_cast<std::uint32_t>(deflater_.inputSize());
        const auto centralOffset = written_ + descriptorSize;
        if (centralOffset + centralHeaderSize + name_.size() > maxSize)
            throw ZipError("zip: archive over 0xFFFFFFFE bytes needs zip64, which these archives do not use");

        unsigned char descriptor[descriptorSize];
        put32(descriptor, descriptorSignature);
        put32(descriptor + 4, crc);
        put32(descriptor + 8, packed);
        put32(descriptor + 12, size);

        unsigned char central[centralHeaderSize] = {};
        put32(central, centralSignature);
        put16(central + 4, 0);  // made by MS-DOS, as minizip says
        put16(central + 6, versionNeeded);
        put16(central + 8, flagDescriptor);
        put16(central + 10, methodDeflated);
        put16(central + 12, dosTime);
        put16(central + 14, dosDate);
        put32(central + 16, crc);
        put32(central + 20, packed);
        put32(central + 24, size);
        put16(central + 28, static_cast<std::uint16_t>(name_.size()));
        // Extra, comment, disk, attributes and the local header's offset are all 0.

        unsigned char end[endRecordSize] = {};
        put32(end, endSignature);
        put16(end + 8, 1);
        put16(end + 10, 1);
        put32(end + 12, static_cast<std::uint32_t>(centralHeaderSize + name_.size()));
        put32(end + 16, static_cast<std::uint32_t>(centralOffset));

        sink_(reinterpret_cast<const char*>(descriptor), sizeof descriptor);
        sink_(reinterpret_cast<const char*>(central), sizeof central);
        sink_(name_.data(), name_.size());
        sink_(reinterpret_cast<const char*>(end), sizeof end);
        written_ += sizeof descriptor + sizeof central + name_.size() + sizeof end;
    } catch (...) {
        failed_ = true;
        throw;
    }
}

std::uint64_t ZipWriter::entrySize() const {
    return deflater_.inputSize();
}
std::uint64_t ZipWriter::archiveSize() const {
    return written_;
}

}  // namespace anadata::detail
