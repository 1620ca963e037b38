// Writing record files for the modern layer: staged beside the target, renamed into place at the end.
#include "record_file.h"

#include <stdexcept>
#include <streambuf>
#include <vector>

#include "staged_file.h"

namespace anadata {

namespace {

// Hands what a stream gets to the staged file in blocks, asking the progress callback after each.
// Failures are thrown; the stream is set to pass them on (exceptions(badbit)).
class StagedBuffer : public std::streambuf {
public:
    StagedBuffer(detail::StagedFile& file, const Progress& progress, const std::string& path)
        : file_(file), progress_(progress), path_(path), buffer_(1u << 20) {
        setp(buffer_.data(), buffer_.data() + buffer_.size());
    }

    std::uint64_t written() const { return written_; }

    // Asks the callback once more with the final size.
    void complete() {
        drain();
        ask(written_);
    }

protected:
    int_type overflow(int_type c) override {
        drain();
        if (!traits_type::eq_int_type(c, traits_type::eof())) {
            *pptr() = traits_type::to_char_type(c);
            pbump(1);
        }
        return traits_type::not_eof(c);
    }

    int sync() override {
        drain();
        return 0;
    }

private:
    void drain() {
        const auto size = static_cast<std::size_t>(pptr() - pbase());
        if (size == 0) return;
        file_.write(pbase(), size);
        written_ += size;
        setp(buffer_.data(), buffer_.data() + buffer_.size());
        ask(0);
    }

    void ask(std::uint64_t total) {
        if (progress_ && !progress_(written_, total)) throw Error(ErrorCode::cancelled, "write " + path_ + ": cancelled");
    }

    detail::StagedFile& file_;
    const Progress& progress_;
    const std::string& path_;
    std::vector<char> buffer_;
    std::uint64_t written_ = 0;
};

}  // namespace

void writeFile(const std::string& path, const std::function<void(std::ostream&)>& fill, const WriteOptions& options) {
    detail::StagedFile file(path, options.overwrite);
    StagedBuffer buffer(file, options.progress, path);
    std::ostream out(&buffer);
    out.exceptions(std::ios::badbit);
    fill(out);
    if (!out) throw Error(ErrorCode::local_io, "cannot write " + path);
    buffer.complete();
    file.commit();
}

void writeRecord(const qx::AnaData& record, const std::string& path, const WriteOptions& options) {
    if (options.precision < 0 || options.precision > 40)
        throw std::invalid_argument("precision " + std::to_string(options.precision) + " is not 0 to 40 digits");
    writeFile(
        path,
        [&](std::ostream& out) {
            if (options.format == FileFormat::dump) {
                record.dump(out);
                return;
            }
            out.precision(options.precision);
            try {
                out << record;
            } catch (const qx::clsException& e) {
                throw Error(ErrorCode::format, path + ": " + e.getMessage());
            }
        },
        options);
}

}  // namespace anadata
