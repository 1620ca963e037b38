// The block download of a data set's archive, bounded by the catalogue's length.
#include "transfers.h"

#include <climits>

#include "DataBlockReply.h"
#include "TavolenSoapClient.h"
#include "soapH.h"

namespace anadata::detail {

void checkProgress(const TransferControl& control, const std::string& what, std::uint64_t done, std::uint64_t total) {
    if ((control.stop != nullptr && control.stop->load()) ||
        (control.progress != nullptr && *control.progress && !(*control.progress)(done, total)))
        throw Error(ErrorCode::cancelled, what + ": cancelled");
}

std::map<int, std::int64_t> catalogueLengths(Session::Impl& impl, const std::string& name, int first, int last,
                                             int subshot, bool& complete) {
    std::map<int, std::int64_t> lengths;
    complete = false;
    const int limit = last - first < 100000 ? last - first + 1 : 100000;
    std::vector<Entry> rows;
    try {
        SearchQuery query;
        query.names = {name};
        query.firstShot = first;
        query.lastShot = last;
        query.subshot = subshot;
        query.limit = limit;
        rows = searchCatalogue(impl, query);
    } catch (const Error& e) {
        // A service that will not list is still asked for the data itself.
        if (e.code() != ErrorCode::refused && e.code() != ErrorCode::protocol) throw;
        return lengths;
    }
    for (const Entry& e : rows)
        // An archive is never empty: a length of 0 or less says nothing.
        if (e.name == name && e.subshot == subshot && e.shot >= first && e.shot <= last && e.size > 0)
            lengths[e.shot] = e.size;
    complete = static_cast<int>(rows.size()) < limit;
    return lengths;
}

void downloadArchive(Session::Impl& impl, const DataSetRef& ref, ArchiveLength length, const TransferControl& control,
                     const std::function<void(const std::string& serverName)>& onPath,
                     const std::function<void(const unsigned char* data, std::size_t size)>& sink) {
    const std::string what = "fetch " + ref.text();
    if (control.stop != nullptr && control.stop->load()) throw Error(ErrorCode::cancelled, what + ": cancelled");
    if (!length.bytes && length.lookUp) {
        bool complete = false;
        const auto lengths = catalogueLengths(impl, ref.name, ref.shot, ref.shot, ref.subshot, complete);
        if (const auto found = lengths.find(ref.shot); found != lengths.end()) length.bytes = found->second;
    }
    const std::uint64_t total = length.bytes ? static_cast<std::uint64_t>(*length.bytes) : 0;

    auto lease = impl.pool.acquire();
    const std::string& endpoint = impl.options.endpoint;
    std::string path;
    callService(lease, impl.pool.settings(), what, ErrorCode::not_found, [&](struct soap* soap) {
        char* found = nullptr;
        const int status =
            soap_call_ns__getTavolenDataPath(soap, text(endpoint), nullptr, text(ref.name), ref.shot, ref.subshot, found);
        path = found != nullptr ? found : "";
        return status;
    });
    const auto slash = path.rfind('/');
    if (onPath) onPath(slash == std::string::npos ? path : path.substr(slash + 1));

    std::vector<unsigned char> block;
    std::uint64_t done = 0;
    // With the catalogue's length the download ends on its last byte; without it, on the empty
    // block that answers a read past the end.
    while (!length.bytes || done < total) {
        callService(lease, impl.pool.settings(), what, ErrorCode::refused, [&](struct soap* soap) {
            int status = soap_send_ns__getData(soap, text(endpoint), nullptr, text(path), static_cast<int>(done),
                                               TavolenSoapClient::BLOCK_SIZE);
            if (status == SOAP_OK) status = receiveDataBlock(soap, block);
            return status;
        });
        if (block.empty()) break;
        done += block.size();
        if (length.bytes && done > total)
            throw Error(ErrorCode::protocol, what + ": the service sent more than the catalogue's " +
                                                 std::to_string(total) + " bytes");
        if (done > static_cast<std::uint64_t>(INT_MAX))
            throw Error(ErrorCode::protocol, what + ": the service sent more than 2 GiB");
        sink(block.data(), block.size());
        checkProgress(control, what, done, total);
    }
    if (length.bytes && done != total)
        throw Error(ErrorCode::protocol, what + ": the download ended after " + std::to_string(done) + " of the " +
                                             std::to_string(total) + " bytes the catalogue gives");
}

}  // namespace anadata::detail
