// Registering a record or a data file: the archive made in memory on all cores, then sent in blocks.
#include "transfers.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fstream>
#include <ostream>

#include "BlockTransfers.h"
#include "FileDate.h"
#include "anadata_util.h"
#include "summary.h"
#include "zip_error.h"
#include "zip_writer.h"

namespace anadata::detail {

namespace {

// Sends what a text writer puts into an ostream on to the zip writer, in large pieces.
class ZipStreamBuf : public std::streambuf {
public:
    explicit ZipStreamBuf(ZipWriter& zip) : zip_(zip), buffer_(1u << 20) { setp(buffer_.data(), buffer_.data() + buffer_.size()); }

    // The stream hides exceptions of its buffer behind badbit; they are kept here instead.
    void rethrow() const {
        if (failure_) std::rethrow_exception(failure_);
    }

protected:
    int_type overflow(int_type c) override {
        if (!drain()) return traits_type::eof();
        if (!traits_type::eq_int_type(c, traits_type::eof())) {
            *pptr() = traits_type::to_char_type(c);
            pbump(1);
        }
        return traits_type::not_eof(c);
    }
    int sync() override { return drain() ? 0 : -1; }

private:
    bool drain() {
        try {
            zip_.write(pbase(), static_cast<std::size_t>(pptr() - pbase()));
            setp(buffer_.data(), buffer_.data() + buffer_.size());
            return true;
        } catch (...) {
            failure_ = std::current_exception();
            return false;
        }
    }

    ZipWriter& zip_;
    std::vector<char> buffer_;
    std::exception_ptr failure_;
};

DeflateOptions deflateOptions(const Session::Impl& impl) {
    DeflateOptions options;
    options.threads = static_cast<unsigned>(std::max(0, impl.options.compressionThreads));
    return options;
}

// What a registration announces besides the archive.
struct Registration {
    std::string what;     // for messages
    std::string diag;
    int shot = 0;
    int subshot = 1;
    std::string zipName;  // the data file's name + ".zip"
    std::string summary;
};

// The begin / blocks / end conversation on one connection (continued or begun again over a fresh
// one when it drops, see sendRegistration); a failed or cancelled upload is aborted, so that the
// service does not keep its staged bytes.
void upload(Session::Impl& impl, const Registration& r, const std::vector<char>& archive, const Progress& progress) {
    const auto [account, password] = impl.credentials();
    const std::string date = catalogueDate(std::time(nullptr));
    RegistrationInfo info;
    info.name = r.diag.c_str();
    info.fileName = r.zipName.c_str();
    info.fileDate = date.c_str();
    info.account = account.c_str();
    info.summary = r.summary.c_str();
    info.shot = r.shot;
    info.subshot = r.subshot;
    info.length = static_cast<int>(archive.size());

    auto lease = impl.lease();
    auto calls = impl.calls(lease.connection(), r.what);
    const TransferControl control{&progress, nullptr};
    std::string key;
    try {
        sendRegistration(calls, account.c_str(), password.c_str(), info,
                         [&](std::uint64_t offset, const unsigned char*& data) {
                             // Asked for the block at `offset`, the service holds what came before.
                             if (offset > 0) checkProgress(control, r.what, offset, archive.size());
                             const std::size_t at = static_cast<std::size_t>(std::min<std::uint64_t>(offset, archive.size()));
                             data = reinterpret_cast<const unsigned char*>(archive.data() + at);
                             return static_cast<int>(std::min<std::size_t>(archive.size() - at, blockSize));
                         },
                         key);
    } catch (...) {
        // Best effort on a fresh connection; the error that stopped the upload is the one to report.
        if (!key.empty()) {
            lease.connection().close();
            ServiceCalls(lease.connection(), [](const CallFailure&) {}).abortRegistration(key.c_str());
        }
        throw;
    }
}

std::vector<char> checkedArchive(const std::string& what, const std::function<void(ZipWriter&)>& fill,
                                 const std::string& entryName, const DeflateOptions& options) {
    std::vector<char> archive;
    try {
        ZipWriter zip(entryName, [&](const char* data, std::size_t size) { archive.insert(archive.end(), data, data + size); },
                      options);
        fill(zip);
        zip.finish();
    } catch (const ZipError& e) {
        throw Error(ErrorCode::format, what + ": " + e.what());
    }
    if (archive.size() > 0x7fffffffu) throw Error(ErrorCode::format, what + ": the archive is larger than 2 GiB");
    return archive;
}

}  // namespace

}  // namespace anadata::detail

namespace anadata {

void Session::registerRecord(const qx::AnaData& record, const RegisterOptions& options) const {
    detail::Registration r;
    r.diag = record.getDiagnostics();
    r.shot = record.getShotNo();
    r.subshot = record.getSubNo() == 0 ? 1 : record.getSubNo();  // the service files sub-shot 0 as 1
    std::string file = r.diag + "@" + std::to_string(r.shot);
    if (record.getSubNo() != 0) file += "-" + std::to_string(record.getSubNo());
    file += ".dat";
    r.zipName = file + ".zip";
    r.summary = record.getComment();
    r.what = "register " + detail::dataSetName(r.diag, r.shot, r.subshot);

    const auto archive = detail::checkedArchive(
        r.what,
        [&](detail::ZipWriter& zip) {
            detail::ZipStreamBuf buffer(zip);
            std::ostream out(&buffer);
            out.precision(options.precision);
            try {
                out << record;
            } catch (const qx::clsException& e) {
                throw Error(ErrorCode::format, r.what + ": " + e.getMessage());
            }
            out.flush();
            buffer.rethrow();
        },
        file, detail::deflateOptions(*impl_));
    detail::upload(*impl_, r, archive, options.progress);
}

void Session::registerFile(const std::string& path, const std::string& name, int shot, int subshot,
                           const RegisterOptions& options) const {
    detail::Registration r;
    r.diag = name;
    r.shot = shot;
    r.subshot = subshot == 0 ? 1 : subshot;
    r.what = "register " + path + " as " + detail::dataSetName(name, shot, r.subshot);
    detail::SummaryResult header = detail::readSummary(path);
    if (header.failure == 1) throw Error(ErrorCode::local_io, r.what + ": cannot open " + path);
    if (header.failure != 0) throw Error(ErrorCode::format, r.what + ": the file's header cannot be read");
    r.summary = std::move(header.summary);
    const std::string file = qx::getFileName(path.c_str());
    r.zipName = file + ".zip";

    std::ifstream in(path, std::ios::binary);
    if (!in) throw Error(ErrorCode::local_io, r.what + ": cannot open " + path + ": " + std::strerror(errno));
    const auto archive = detail::checkedArchive(
        r.what,
        [&](detail::ZipWriter& zip) {
            std::vector<char> chunk(1u << 20);
            while (in.read(chunk.data(), static_cast<std::streamsize>(chunk.size())) || in.gcount() > 0)
                zip.write(chunk.data(), static_cast<std::size_t>(in.gcount()));
            if (in.bad()) throw Error(ErrorCode::local_io, r.what + ": cannot read " + path);
        },
        file, detail::deflateOptions(*impl_));
    detail::upload(*impl_, r, archive, options.progress);
}

}  // namespace anadata
