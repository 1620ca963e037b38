// The subcommands that move data sets: get (one data set or a shot range), put and rm.
#include "Commands.h"
#include "Transfer.h"

#include <charconv>
#include <iostream>
#include <memory>
#include <optional>
#include <vector>

#include <sys/stat.h>

#include <CLI/CLI.hpp>

#include <anadata/session.h>

#include "Interrupts.h"
#include "Progress.h"
#include "RecordFiles.h"
#include "Settings.h"
#include "ToolError.h"

namespace tool {

std::string DataSetName::text() const {
    return diag + " " + std::to_string(shot) + "/" + std::to_string(subshot);
}

int parseInt(const std::string& text, const std::string& what) {
    int value = 0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    if (text.empty() || result.ec != std::errc() || result.ptr != end)
        throw ToolError(exitUsage, what + ": not a whole number: " + text);
    return value;
}

DataSetName dataSetFrom(const std::string& diag, const std::string& shot, const std::optional<std::string>& subshot) {
    DataSetName name;
    name.diag = diag;
    name.shot = parseInt(shot, "SHOT");
    if (name.shot <= 0) throw ToolError(exitUsage, "SHOT: must be positive: " + shot);
    if (subshot) {
        name.subshot = parseInt(*subshot, "SUBSHOT");
        if (name.subshot < 0) throw ToolError(exitUsage, "SUBSHOT: must not be negative: " + *subshot);
        if (name.subshot == 0) name.subshot = 1;  // the service files sub-shot 0 as 1
    }
    return name;
}

ShotRange parseShots(const std::string& text, const std::string& option) {
    ShotRange range;
    const auto dash = text.find('-');
    if (dash == std::string::npos) {
        range.first = range.last = parseInt(text, option);
    } else {
        const std::string from = text.substr(0, dash), to = text.substr(dash + 1);
        range.first = from.empty() ? 0 : parseInt(from, option + " FROM");
        range.last = to.empty() ? 0 : parseInt(to, option + " TO");
    }
    if (range.first < 0 || range.last < 0) throw ToolError(exitUsage, option + ": shot numbers are positive: " + text);
    if (range.first > 0 && range.last > 0 && range.first > range.last)
        throw ToolError(exitUsage, option + ": the first shot comes after the last: " + text);
    return range;
}

qx::AnaData fetchRecord(const GlobalOptions& globals, const std::string& command, const DataSetName& name) {
    const anadata::Session session = openSession(globals);
    const std::string what = command + " " + name.text();
    qx::AnaData record;
    {
        ProgressBar bar(what, ProgressBar::Unit::bytes);
        const CancelOnInterrupt cancel;
        record = serviceCall(what, [&] { return session.fetch(name.diag, name.shot, name.subshot, bar.callback()); });
    }
    checkComplete(record, what);
    return record;
}

namespace {

constexpr int maxBatch = 100000;  // shots of one get --shots

long long fileSize(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 ? static_cast<long long>(info.st_size) : 0;
}

bool isDirectory(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
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
};

void getOne(const GlobalOptions& globals, const GetOptions& o) {
    const DataSetName name = dataSetFrom(o.diag, *o.shot, o.subshot);
    const anadata::Session session = openSession(globals);
    const std::string what = "get " + name.text();
    std::string path;
    {
        ProgressBar bar(what, ProgressBar::Unit::bytes);
        anadata::FetchFileOptions options;
        options.keepArchive = o.zip;
        options.overwrite = o.force;
        options.progress = bar.callback();
        const CancelOnInterrupt cancel;
        path = serviceCall(what, [&] {
            return session.fetchFile(name.diag, name.shot, name.subshot, o.output.empty() ? "." : o.output, options);
        });
    }
    std::cout << "fetched " << name.text() << " -> " << shownPath(path, o.output.empty()) << " (" << fileSize(path)
              << " bytes)\n";
}

// One file per shot; a shot that fails does not stop the others. Every failure is a line; the
// last one goes to main() with the status: a missing shot's 1 unless another failure has its own.
void getShots(const GlobalOptions& globals, const GetOptions& o) {
    const ShotRange range = parseShots(o.shots, "--shots");
    if (range.first == 0 || range.last == 0) throw ToolError(exitUsage, "--shots: give both ends FROM-TO: " + o.shots);
    if (range.last - range.first >= maxBatch)
        throw ToolError(exitUsage, "--shots: at most " + std::to_string(maxBatch) + " shots at once: " + o.shots);
    const std::string dir = o.output.empty() ? "." : o.output;
    if (!isDirectory(dir)) throw ToolError(exitFile, "get --shots: " + dir + " is not a directory (-o DIR)");
    const int subshot = o.batchSubshot == 0 ? 1 : o.batchSubshot;
    std::vector<int> shots;
    for (int shot = range.first; shot <= range.last; ++shot) shots.push_back(shot);

    const anadata::Session session = openSession(globals);
    const std::string what = "get " + o.diag + " " + o.shots;
    std::vector<anadata::FetchOutcome> outcomes;
    {
        ProgressBar bar(what, ProgressBar::Unit::items);
        anadata::BatchOptions options;
        options.jobs = o.jobs;
        options.progress = bar.callback();
        const CancelOnInterrupt cancel;
        outcomes = serviceCall(what, [&] { return session.fetchFiles(o.diag, shots, subshot, dir, options); });
    }
    std::vector<std::string> failures;
    std::vector<int> missing;
    int status = exitOk;
    for (const anadata::FetchOutcome& out : outcomes) {
        const DataSetName name{o.diag, out.shot, subshot};
        if (out.ok()) {
            std::cout << "fetched " << name.text() << " -> " << shownPath(out.path, o.output.empty()) << " ("
                      << fileSize(out.path) << " bytes)\n";
        } else if (out.error->code() == anadata::ErrorCode::not_found) {
            missing.push_back(out.shot);
        } else {
            failures.push_back("get " + name.text() + ": " + oneLine(out.error->what()));
            if (status == exitOk) status = exitStatusOf(out.error->code());
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
    auto* shots = cmd->add_option("--shots", o->shots, "Every shot FROM-TO, into the directory -o DIR (default: here)")
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
    cmd->add_flag("--zip", o->zip, "Keep the zip archive as it travelled instead of extracting it")->excludes(shots);
    cmd->add_flag("--force", o->force, "Replace the output file if it exists")->excludes(shots);
    cmd->callback([&globals, o] {
        if (!o->shots.empty()) return getShots(globals, *o);
        if (!o->shot) throw ToolError(exitUsage, "get: give SHOT or --shots FROM-TO");
        getOne(globals, *o);
    });
}

void addPut(CLI::App& app, const GlobalOptions& globals) {
    struct Options {
        std::string file, user, diag;
        int shot = 0, subshot = 1;
    };
    auto o = std::make_shared<Options>();
    CLI::App* cmd = app.add_subcommand("put", "Register a text data file with the service (replacing an earlier one)");
    cmd->add_option("FILE", o->file, "Data file in the text format")->required();
    cmd->add_option("--user", o->user, "Account to register with (its password is asked for)");
    cmd->add_option("--name", o->diag, "Data name (default: the file's Name)");
    cmd->add_option("--shot", o->shot, "Shot number (default: the file's ShotNo)")->check(CLI::PositiveNumber);
    cmd->add_option("--subshot", o->subshot, "Sub-shot number")->capture_default_str()->check(CLI::NonNegativeNumber);
    cmd->callback([&globals, o] {
        LoadedRecord loaded = loadRecord(o->file);
        if (loaded.format != FileFormat::text)
            throw ToolError(exitFile, "put " + o->file + ": a dump cannot be registered; convert it first "
                                      "(anadata convert " + o->file + " OUT --text)");
        DataSetName name;
        name.diag = o->diag.empty() ? loaded.record.getDiagnostics() : o->diag;
        name.shot = o->shot > 0 ? o->shot : loaded.record.getShotNo();
        name.subshot = o->subshot == 0 ? 1 : o->subshot;
        if (name.diag.empty()) throw ToolError(exitUsage, "put " + o->file + ": the file has no Name (give --name)");
        if (name.shot <= 0) throw ToolError(exitUsage, "put " + o->file + ": the file's ShotNo is not positive (give --shot)");
        // A file sent as it is would still say its own Name and ShotNo; renamed, the record
        // goes instead, its numbers written with every bit.
        const bool renamed = name.diag != loaded.record.getDiagnostics() || name.shot != loaded.record.getShotNo();

        const anadata::Session session = openSession(globals, o->user, true);
        const std::string what = "put " + o->file + " as " + name.text();
        {
            ProgressBar bar("put " + o->file, ProgressBar::Unit::bytes);
            anadata::RegisterOptions options;
            options.progress = bar.callback();
            const CancelOnInterrupt cancel;
            serviceCall(what, [&] {
                if (!renamed) return session.registerFile(o->file, name.diag, name.shot, name.subshot, options);
                loaded.record.setDiagnostics(name.diag.c_str());
                loaded.record.setShotNo(name.shot);
                loaded.record.setSubNo(name.subshot);
                options.precision = 16;
                session.registerRecord(loaded.record, options);
            });
        }
        std::cout << "registered " << o->file << " as " << name.text() << '\n';
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
    addPut(app, globals);
    addRm(app, globals);
}

}  // namespace tool
