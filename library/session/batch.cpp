// Batches: one data name over many shots, several transfers at once, one outcome per shot.
#include "transfers.h"

#include <algorithm>
#include <mutex>
#include <thread>

namespace anadata::detail {

namespace {

// Runs item(i, length) for every shot on `jobs` threads. The catalogue's listing for the whole
// range is read once: it gives each transfer its length, and when it is complete a shot it does
// not list is reported missing without asking for it.
void runBatch(Session::Impl& impl, const std::string& name, const std::vector<int>& shots, int subshot,
              const BatchOptions& options, std::vector<FetchOutcome>& outcomes,
              const std::function<void(std::size_t, ArchiveLength, const TransferControl&)>& item) {
    outcomes.assign(shots.size(), FetchOutcome{});
    if (shots.empty()) return;
    const auto [lowest, highest] = std::minmax_element(shots.begin(), shots.end());
    bool complete = false;
    const auto lengths = catalogueLengths(impl, name, std::max(*lowest, 1), *highest, subshot, complete);

    std::atomic<bool> stop{false};
    std::atomic<std::size_t> next{0};
    std::mutex reportMutex;
    std::size_t finished = 0;
    std::exception_ptr callbackFailure;
    // The items already run `jobs` at once: each downloads over one connection.
    const TransferControl control{nullptr, &stop, 1};
    auto work = [&] {
        for (std::size_t i; !stop && (i = next++) < shots.size();) {
            FetchOutcome& out = outcomes[i];
            out.shot = shots[i];
            const auto found = lengths.find(shots[i]);
            try {
                if (found == lengths.end() && complete)
                    throw Error(ErrorCode::not_found, "fetch " + dataSetName(name, shots[i], subshot) +
                                                          ": not in the catalogue");
                ArchiveLength length;
                if (found != lengths.end()) length = found->second;
                length.lookUp = false;
                item(i, length, control);
            } catch (const Error& e) {
                if (e.code() == ErrorCode::cancelled) return;
                out.error = e;
            } catch (const std::exception& e) {
                out.error = Error(ErrorCode::local_io, e.what());
            }
            std::lock_guard<std::mutex> lock(reportMutex);
            ++finished;
            try {
                if (options.progress && !stop && !options.progress(finished, shots.size())) stop = true;
            } catch (...) {
                // The callback's own exception ends the batch and reaches the caller.
                callbackFailure = std::current_exception();
                stop = true;
            }
        }
    };
    const std::size_t threads = std::min<std::size_t>(std::max(options.jobs, 1), shots.size());
    std::vector<std::thread> pool;
    for (std::size_t t = 1; t < threads; ++t) pool.emplace_back(work);
    work();
    for (auto& t : pool) t.join();
    if (callbackFailure) std::rethrow_exception(callbackFailure);
    if (stop) throw Error(ErrorCode::cancelled, "fetch " + name + ": batch cancelled");
}

}  // namespace

}  // namespace anadata::detail

namespace anadata {

std::vector<FetchOutcome> Session::fetchMany(const std::string& name, const std::vector<int>& shots, int subshot,
                                             const BatchOptions& options) const {
    std::vector<FetchOutcome> outcomes;
    detail::runBatch(*impl_, name, shots, subshot, options, outcomes,
                     [&](std::size_t i, detail::ArchiveLength length, const detail::TransferControl& control) {
                         outcomes[i].record = detail::fetchRecord(*impl_, {name, shots[i], subshot}, length, control);
                     });
    return outcomes;
}

std::vector<FetchOutcome> Session::fetchFiles(const std::string& name, const std::vector<int>& shots, int subshot,
                                              const std::string& directory, const BatchOptions& options) const {
    std::vector<FetchOutcome> outcomes;
    FetchFileOptions file;
    detail::runBatch(*impl_, name, shots, subshot, options, outcomes,
                     [&](std::size_t i, detail::ArchiveLength length, const detail::TransferControl& control) {
                         outcomes[i].path =
                             detail::fetchToFile(*impl_, {name, shots[i], subshot}, directory, file, length, control);
                     });
    return outcomes;
}

}  // namespace anadata
