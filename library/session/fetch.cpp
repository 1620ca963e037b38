// Fetching a data set into memory (download, inflate and parse as one stream) or into a file.
#include "transfers.h"

#include <istream>
#include <thread>

#include <sys/stat.h>

#include "byte_pipe.h"
#include "cached_fetch.h"
#include "part_file.h"
#include "staged_file.h"
#include "zip_error.h"
#include "zip_stream_reader.h"

namespace anadata::detail {

namespace {

// Thrown into the download when the reader on the other end of the pipe has stopped; the
// reader's own error then explains why.
struct ReaderStopped {};

}  // namespace

// The service's file name as a plain name for a local file; a name that is none falls back to
// the one the qx:: interface gives records.
std::string localName(const std::string& serverName, const DataSetRef& ref, bool keepArchive) {
    std::string name = serverName;
    if (name.empty() || name == "." || name == ".." || name == ".zip")
        name = ref.name + "@" + std::to_string(ref.shot) + "-" + std::to_string(ref.subshot) + ".dat.zip";
    if (!keepArchive && name.size() > 4) name.erase(name.size() - 4);  // the service's names end in ".zip"
    return name;
}

bool isDirectory(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

qx::AnaData fetchRecord(Session::Impl& impl, const DataSetRef& ref, ArchiveLength length,
                        const TransferControl& control) {
    const std::string what = "fetch " + ref.text();
    BytePipe pipe;
    qx::AnaData record;
    std::string parseFailure;
    // The reader parses on its own thread while this one downloads and inflates.
    std::thread reader([&] {
        try {
            std::istream in(&pipe);
            in >> record;
        } catch (const qx::clsException& e) {
            parseFailure = e.getMessage();
        } catch (const std::exception& e) {
            parseFailure = e.what();
        }
        pipe.abandon();
    });
    std::exception_ptr downloadFailure;
    try {
        ZipStreamReader unzip([&](const char* data, std::size_t size) {
            if (!pipe.write(data, size)) throw ReaderStopped{};
        });
        downloadArchive(impl, ref, length, control, nullptr,
                        [&](const unsigned char* data, std::size_t size) { unzip.feed(data, size); });
        unzip.finish();
    } catch (const ReaderStopped&) {
    } catch (const ZipError& e) {
        downloadFailure = std::make_exception_ptr(Error(ErrorCode::format, what + ": " + e.what()));
    } catch (...) {
        downloadFailure = std::current_exception();
    }
    pipe.close();
    reader.join();
    if (downloadFailure) std::rethrow_exception(downloadFailure);
    if (!parseFailure.empty()) throw Error(ErrorCode::format, what + ": " + parseFailure);
    record.setSubNo(ref.subshot);  // the text format does not carry it
    return record;
}

std::string fetchToFile(Session::Impl& impl, const DataSetRef& ref, const std::string& path,
                        const FetchFileOptions& options, ArchiveLength length, const TransferControl& control) {
    const std::string what = "fetch " + ref.text();
    const bool intoDirectory = isDirectory(path);
    std::string target;
    std::unique_ptr<StagedFile> file;
    std::unique_ptr<ZipStreamReader> unzip;
    std::unique_ptr<PartFile> part;
    const auto take = [&](const unsigned char* data, std::size_t size) {
        if (unzip)
            unzip->feed(data, size);
        else
            file->write(reinterpret_cast<const char*>(data), size);
    };
    const auto stage = [&] {
        file = std::make_unique<StagedFile>(target, options.overwrite);
        if (!options.keepArchive)
            unzip = std::make_unique<ZipStreamReader>(
                [&](const char* data, std::size_t size) { file->write(data, size); });
    };
    auto onStart = [&](const ArchiveStart& start) -> std::uint64_t {
        target = intoDirectory ? path + "/" + localName(start.serverName, ref, options.keepArchive) : path;
        stage();
        // Without the entry's date and size a part file could not tell a later download whether
        // it still belongs to the entry.
        if (!start.length.bytes || start.length.date.empty()) return 0;
        part = std::make_unique<PartFile>(target, PartIdentity{impl.options.endpoint, ref.name, ref.shot, ref.subshot,
                                                               start.length.date,
                                                               static_cast<std::uint64_t>(*start.length.bytes)});
        try {
            part->replay(take);
        } catch (const ZipError&) {
            // Not what the service sent (the file was damaged): the download starts over.
            part->restart();
            stage();
        }
        return part->held();
    };
    try {
        downloadArchive(impl, ref, length, control, onStart, [&](const unsigned char* data, std::size_t size) {
            if (part) part->append(data, size);
            take(data, size);
        });
        if (unzip) unzip->finish();
        file->commit();
    } catch (const ZipError& e) {
        if (part) part->remove();
        throw Error(ErrorCode::format, what + ": " + e.what());
    } catch (const Error& e) {
        // What came so far stays for a later download unless this one failed for good.
        const ErrorCode code = e.code();
        if (part && code != ErrorCode::cancelled && code != ErrorCode::transport && code != ErrorCode::timeout &&
            code != ErrorCode::busy)
            part->remove();
        else if (part)
            part->leave();
        throw;
    }
    if (part) part->remove();
    return target;
}

}  // namespace anadata::detail

namespace anadata {

qx::AnaData Session::fetch(const std::string& name, int shot, int subshot, const Progress& progress) const {
    return detail::fetchThroughCache(*impl_, {name, shot, subshot}, {&progress, nullptr});
}

std::string Session::fetchFile(const std::string& name, int shot, int subshot, const std::string& path,
                               const FetchFileOptions& options) const {
    return detail::fetchFileThroughCache(*impl_, {name, shot, subshot}, path, options, {&options.progress, nullptr});
}

}  // namespace anadata
