// Batches: one data name over many shots, several transfers at once, one outcome per shot.
#include "cached_fetch.h"

#include <algorithm>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace anadata::detail {

namespace {

// Runs item(i, row) for every shot on `jobs` threads. The catalogue's listing for the whole
// range is read once (not at all offline): it gives each item its row (the length of its
// transfer, what the cache checks), and when it is complete a shot it does not list is reported
// missing without asking for it.
void runBatch(Session::Impl& impl, const std::string& name, const std::vector<int>& shots, int subshot,
              const BatchOptions& options, std::vector<FetchOutcome>& outcomes,
              const std::function<void(std::size_t, const Entry*, const TransferControl&)>& item) {
    outcomes.assign(shots.size(), FetchOutcome{});
    if (shots.empty()) return;
    const auto [lowest, highest] = std::minmax_element(shots.begin(), shots.end());
    const ShotListing listing =
        impl.options.offline ? ShotListing{} : listShots(impl, name, std::max(*lowest, 1), *highest, subshot);

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
            const auto found = listing.rows.find(shots[i]);
            try {
                if (found == listing.rows.end() && listing.complete)
                    throw Error(ErrorCode::not_found, "fetch " + dataSetName(name, shots[i], subshot) +
                                                          ": not in the catalogue");
                item(i, found == listing.rows.end() ? nullptr : &found->second, control);
            } catch (const Error& e) {
                if (e.code() == ErrorCode::cancelled) {
                    stop = true;  // an item's own progress said no: the batch ends as a whole
                    return;
                }
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
                     [&](std::size_t i, const Entry* row, const detail::TransferControl& control) {
                         detail::fetchItem(*impl_, {name, shots[i], subshot}, row, control, outcomes[i]);
                     });
    return outcomes;
}

std::vector<FetchOutcome> Session::fetchFiles(const std::string& name, const std::vector<int>& shots, int subshot,
                                              const std::string& directory, const BatchOptions& options) const {
    std::vector<FetchOutcome> outcomes;
    FetchFileOptions file;
    detail::runBatch(*impl_, name, shots, subshot, options, outcomes,
                     [&](std::size_t i, const Entry* row, const detail::TransferControl& control) {
                         detail::fetchFileItem(*impl_, {name, shots[i], subshot}, row, directory, file, control,
                                               outcomes[i]);
                     });
    return outcomes;
}

std::vector<FetchOutcome> Session::fetchFiles(const std::string& name, const std::vector<int>& shots, int subshot,
                                              const std::vector<std::string>& paths, const FetchFileOptions& file,
                                              const BatchOptions& options) const {
    if (paths.size() != shots.size())
        throw std::invalid_argument("fetchFiles " + name + ": " + std::to_string(paths.size()) + " paths for " +
                                    std::to_string(shots.size()) + " shots");
    std::vector<FetchOutcome> outcomes;
    detail::runBatch(*impl_, name, shots, subshot, options, outcomes,
                     [&](std::size_t i, const Entry* row, const detail::TransferControl& control) {
                         const detail::TransferControl each{file.progress ? &file.progress : nullptr, control.stop, control.streams};
                         detail::fetchFileItem(*impl_, {name, shots[i], subshot}, row, paths[i], file, each,
                                               outcomes[i]);
                     });
    return outcomes;
}

}  // namespace anadata
