// The subcommands that fetch and delete data sets: get (one data set or a shot range) and rm.
#include "Commands.h"
#include "Transfer.h"

#include <atomic>
#include <filesystem>
#include <iostream>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include <CLI/CLI.hpp>

#include <anadata/session.h>

#include "Interrupts.h"
#include "Progress.h"
#include "Settings.h"
#include "ToolError.h"

namespace tool {

namespace {

namespace fs = std::filesystem;

constexpr int maxBatch = 100000;  // shots of one get --shots

long long fileSize(const std::string& path) {
    std::error_code error;
    const auto size = fs::file_size(path, error);
    return error ? 0 : static_cast<long long>(size);
}

// A path as the user wrote it: the "./" the tool put in front for the current directory goes.
std::string shownPath(const std::string& path, bool here) {
    return here && path.compare(0, 2, "./") == 0 ? path.substr(2) : path;
}

// "3, 5-9, 12": ascending shots with runs joined.
std::string shotList(const std::vector<int>& shots) {
    std::string text;
    for (std::size_t i = 0; i < shots.size();) {
        std::size_t j = i;
        while (j + 1 < shots.size() && shots[j + 1] == shots[j] + 1) ++j;
        text += (text.empty() ? "" : ", ") + std::to_string(shots[i]);
        if (j > i) text += "-" + std::to_string(shots[j]);
        i = j + 1;
    }
    return text;
}

struct GetOptions {
    std::string diag, output, shots;
    std::optional<std::string> shot, subshot;
    int batchSubshot = 1, jobs = 8;
    bool zip = false, force = false;
    ServiceOptions service;
};

void getOne(const GlobalOptions& globals, const GetOptions& o) {
    const DataSetName name = dataSetFrom(o.diag, *o.shot, o.subshot);
    const anadata::Session session = openSession(globals, o.service);
    const std::string what = "get " + name.text();
    // A directory is joined to the file name with a slash of its own.
    std::string output = o.output.empty() ? "." : o.output;
    while (output.size() > 1 && output.back() == '/') output.pop_back();
    std::string path;
    {
        ProgressBar bar(what, ProgressBar::Unit::bytes);
        anadata::FetchFileOptions options;
        options.keepArchive = o.zip;
        options.overwrite = o.force;
        options.progress = bar.callback();
        const CancelOnInterrupt cancel;
        path = serviceCall(what, [&] { return session.fetchFile(name.diag, name.shot, name.subshot, output, options); });
    }
    std::cout << "fetched " << name.text() << " -> " << shownPath(path, o.output.empty()) << " (" << fileSize(path)
              << " bytes)\n";
}

// Fetches every shot into dir under its own name (DataSetName::fileName), `jobs` at a time, so
// that data sets registered from files of one name never collide; through the cache, the
// catalogue is asked once for the range. A failed shot does not stop the others; an interrupt
// stops them all.
std::vector<anadata::FetchOutcome> fetchShotFiles(const anadata::Session& session, const GetOptions& o,
                                                  const std::vector<int>& shots, int subshot, const std::string& dir) {
    const std::string what = "get " + o.diag + " " + o.shots;
    std::vector<std::string> paths;
    for (int shot : shots)
        paths.push_back((fs::path(dir) / (DataSetName{o.diag, shot, subshot}.fileName() + (o.zip ? ".zip" : ""))).string());
    anadata::FetchFileOptions file;
    file.keepArchive = o.zip;
    file.overwrite = o.force;
    file.progress = [](std::uint64_t, std::uint64_t) { return !interrupted(); };
    ProgressBar bar(what, ProgressBar::Unit::items);
    anadata::BatchOptions batch;
    batch.jobs = o.jobs;
    batch.progress = bar.callback();
    const CancelOnInterrupt cancel;
    try {
        return session.fetchFiles(o.diag, shots, subshot, paths, file, batch);
    } catch (const anadata::Error& e) {
        const bool cancelled = e.code() == anadata::ErrorCode::cancelled;
        throw anadata::Error(e.code(), what + ": " + (cancelled ? std::string("cancelled") : e.what()));
    }
}

// One file per shot in -o DIR, made when missing. Every failure is a line; the last one goes to
// main() with the status: a missing shot's 1 unless another failure has its own.
void getShots(const GlobalOptions& globals, const GetOptions& o) {
    const ShotRange range = parseShots(o.shots, "--shots");
    if (range.first == 0 || range.last == 0) throw ToolError(exitUsage, "--shots: give both ends FROM-TO: " + o.shots);
    if (range.last - range.first >= maxBatch)
        throw ToolError(exitUsage, "--shots: at most " + std::to_string(maxBatch) + " shots at once: " + o.shots);
    const std::string dir = o.output.empty() ? "." : o.output;
    std::error_code error;
    fs::create_directories(dir, error);
    if (!fs::is_directory(dir))
        throw ToolError(exitFile, "get --shots: " + dir + " is not a directory and cannot be made (-o DIR)" +
                                      (error ? ": " + error.message() : ""));
    const int subshot = o.batchSubshot == 0 ? 1 : o.batchSubshot;
    std::vector<int> shots;
    for (int shot = range.first; shot <= range.last; ++shot) shots.push_back(shot);

    const anadata::Session session = openSession(globals, o.service);
    const std::vector<anadata::FetchOutcome> files = fetchShotFiles(session, o, shots, subshot, dir);
    std::vector<std::string> failures;
    std::vector<int> missing;
    int status = exitOk;
    for (std::size_t i = 0; i < shots.size(); ++i) {
        const DataSetName name{o.diag, shots[i], subshot};
        const anadata::FetchOutcome& file = files[i];
        if (!file.error) {
            std::cout << "fetched " << name.text() << " -> " << shownPath(file.path, o.output.empty()) << " ("
                      << fileSize(file.path) << " bytes" << (file.fromCache ? ", from the local cache" : "") << ")\n";
        } else if (file.error->code() == anadata::ErrorCode::not_found) {
            missing.push_back(shots[i]);
        } else {
            failures.push_back("get " + name.text() + ": " + errorLine(*file.error));
            if (status == exitOk) status = exitStatusOf(file.error->code());
        }
    }
    if (!missing.empty()) {
        failures.push_back("get " + o.diag + ": missing shots " + shotList(missing) + " (sub-shot " +
                           std::to_string(subshot) + ")");
        if (status == exitOk) status = exitNotFound;
    }
    if (failures.empty()) return;
    std::cout.flush();
    for (std::size_t i = 0; i + 1 < failures.size(); ++i) std::cerr << "anadata: " << failures[i] << '\n';
    throw ToolError(status, failures.back());
}

void addGet(CLI::App& app, const GlobalOptions& globals) {
    auto o = std::make_shared<GetOptions>();
    CLI::App* cmd =
        app.add_subcommand("get", "Fetch a data set, or one data name over a shot range, from the service into files");
    cmd->add_option("DIAG", o->diag, "Data name")->required();
    auto* shot = cmd->add_option("SHOT", o->shot, "Shot number");
    auto* subshot = cmd->add_option("SUBSHOT", o->subshot, "Sub-shot number (default 1)");
    auto* shots = cmd->add_option("--shots", o->shots,
                                  "Every shot FROM-TO into the directory -o DIR (default: here, made when missing), "
                                  "each as DIAG@SHOT.dat (DIAG@SHOT-SUBSHOT.dat for a sub-shot other than 1)")
                      ->excludes(shot)
                      ->excludes(subshot);
    cmd->add_option("--subshot", o->batchSubshot, "Sub-shot number with --shots")
        ->needs(shots)
        ->capture_default_str()
        ->check(CLI::NonNegativeNumber);
    cmd->add_option("--jobs", o->jobs, "Transfers at once with --shots")
        ->needs(shots)
        ->capture_default_str()
        ->check(CLI::Range(1, 64));
    cmd->add_option("-o,--output", o->output,
                    "File to write, or a directory to write into (default: the service's file name here)");
    cmd->add_flag("--zip", o->zip, "Keep the zip archive as it travelled instead of extracting it (a .zip name)");
    cmd->add_flag("--force", o->force, "Replace an output file that exists");
    addFetchOptions(*cmd, o->service);
    cmd->callback([&globals, o] {
        if (!o->shots.empty()) return getShots(globals, *o);
        if (!o->shot) throw ToolError(exitUsage, "get: give SHOT or --shots FROM-TO");
        getOne(globals, *o);
    });
}

void addRm(CLI::App& app, const GlobalOptions& globals) {
    struct Options {
        std::string diag, shot, user;
        std::optional<std::string> subshot;
    };
    auto o = std::make_shared<Options>();
    CLI::App* cmd = app.add_subcommand("rm", "Delete a registered data set from the service");
    cmd->add_option("DIAG", o->diag, "Data name")->required();
    cmd->add_option("SHOT", o->shot, "Shot number")->required();
    cmd->add_option("SUBSHOT", o->subshot, "Sub-shot number (default 1)");
    cmd->add_option("--user", o->user, "Account that registered it (its password is asked for)");
    cmd->callback([&globals, o] {
        const DataSetName name = dataSetFrom(o->diag, o->shot, o->subshot);
        const anadata::Session session = openSession(globals, o->user, true);
        serviceCall("rm " + name.text(), [&] { session.remove(name.diag, name.shot, name.subshot); });
        std::cout << "deleted " << name.text() << '\n';
    });
}

}  // namespace

void addTransferCommands(CLI::App& app, const GlobalOptions& globals) {
    addGet(app, globals);
    addPutCommand(app, globals);
    addRm(app, globals);
}

}  // namespace tool
