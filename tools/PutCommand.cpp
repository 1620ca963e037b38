// The put subcommand: a text data file registered with the service, checked while it is compressed.
#include "Commands.h"

#include <chrono>
#include <future>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>

#include <anadata/record_file.h>
#include <anadata/session.h>

#include "Interrupts.h"
#include "Progress.h"
#include "RecordFiles.h"
#include "Settings.h"
#include "ToolError.h"
#include "Transfer.h"

namespace tool {

namespace {

// The check of a file that is sent as it is: read as readRecord would read it, on a thread of its
// own beside the compression, so that it costs no pass before it.
class FileCheck {
public:
    FileCheck(const std::string& file, bool lenient)
        : done_(std::async(std::launch::async, [file, lenient] {
                    anadata::ReadOptions read;
                    read.lenient = lenient;
                    anadata::checkRecordFile(file, read);
                }).share()) {}

    void wait() const { done_.wait(); }
    // Throws what the check found, once it is over.
    void result() const { done_.get(); }
    // True once the check is over and has refused the file.
    bool refused() const {
        if (done_.wait_for(std::chrono::seconds(0)) != std::future_status::ready) return false;
        try {
            done_.get();
            return false;
        } catch (...) {
            return true;
        }
    }

private:
    std::shared_future<void> done_;
};

// Registers the file while it is checked. The registration waits for the check at its last block:
// a file the check refuses is never registered, the upload is cancelled and the check's error
// thrown instead (as it is in place of any other failure of the registration).
void registerChecked(const anadata::Session& session, const std::string& file, const DataSetName& name,
                     const FileCheck& check, anadata::RegisterOptions options) {
    const anadata::Progress report = options.progress;
    options.progress = [&](std::uint64_t done, std::uint64_t total) {
        if (done >= total) check.wait();
        return !check.refused() && (!report || report(done, total));
    };
    try {
        session.registerFile(file, name.diag, name.shot, name.subshot, options);
    } catch (const anadata::Error&) {
        check.result();
        throw;
    }
    check.result();
}

}  // namespace

void addPutCommand(CLI::App& app, const GlobalOptions& globals) {
    struct Options {
        std::string file, user, diag;
        int shot = 0, subshot = 1;
        bool lenient = false;
    };
    auto o = std::make_shared<Options>();
    CLI::App* cmd = app.add_subcommand("put", "Register a text data file with the service (replacing an earlier one)");
    cmd->add_option("FILE", o->file, "Data file in the text format")->required();
    cmd->add_option("--user", o->user, "Account to register with (its password is asked for)");
    cmd->add_option("--name", o->diag, "Data name (default: the file's Name)");
    cmd->add_option("--shot", o->shot, "Shot number (default: the file's ShotNo)")->check(CLI::PositiveNumber);
    cmd->add_option("--subshot", o->subshot, "Sub-shot number")->capture_default_str()->check(CLI::NonNegativeNumber);
    cmd->add_flag("--lenient", o->lenient, lenientHelp);
    cmd->callback([&globals, o] {
        if (anadata::recordFileFormat(o->file) != anadata::FileFormat::text)
            throw ToolError(exitFile, "put " + o->file + ": a dump cannot be registered; convert it first "
                                      "(anadata convert " + o->file + " OUT --text)");
        const qx::AnaData header = anadata::readRecordHeader(o->file);
        DataSetName name;
        name.diag = o->diag.empty() ? header.getDiagnostics() : o->diag;
        name.shot = o->shot > 0 ? o->shot : header.getShotNo();
        name.subshot = o->subshot == 0 ? 1 : o->subshot;
        if (name.shot <= 0) throw ToolError(exitUsage, "put " + o->file + ": the file's ShotNo is not positive (give --shot)");
        // A file sent as it is would still say its own Name and ShotNo; renamed, the record
        // goes instead, its numbers written with every bit.
        const bool renamed = name.diag != header.getDiagnostics() || name.shot != header.getShotNo();
        qx::AnaData record;
        std::optional<FileCheck> check;
        if (renamed)
            record = loadRecord(o->file, o->lenient).record;
        else
            check.emplace(o->file, o->lenient);

        // What is wrong with the file comes before what is wrong with the settings.
        const anadata::Session session = [&] {
            try {
                return openSession(globals, o->user, true);
            } catch (...) {
                if (check) check->result();
                throw;
            }
        }();
        const std::string what = "put " + o->file + " as " + name.text();
        {
            ProgressBar bar("put " + o->file, ProgressBar::Unit::bytes);
            anadata::RegisterOptions options;
            options.progress = bar.callback();
            const CancelOnInterrupt cancel;
            serviceCall(what, [&] {
                if (check) return registerChecked(session, o->file, name, *check, options);
                record.setDiagnostics(name.diag.c_str());
                record.setShotNo(name.shot);
                record.setSubNo(name.subshot);
                session.registerRecord(record, options);
            });
        }
        std::cout << "registered " << o->file << " as " << name.text() << '\n';
    });
}

}  // namespace tool
