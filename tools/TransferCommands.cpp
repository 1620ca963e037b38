// The subcommands that move data sets: get, put and rm, and the download they share with show.
#include "Commands.h"
#include "Transfer.h"

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <iostream>
#include <memory>
#include <optional>
#include <vector>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>

#include <anadata/anadata_util.h>
#include <anadata/clsAnaDataAccess.h>
#include <anadata/explog.h>

#include "Interrupts.h"
#include "LibraryOutput.h"
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

void removeDirectory(const std::string& dir) {
    if (DIR* handle = opendir(dir.c_str())) {
        std::vector<std::string> names;
        while (const dirent* entry = readdir(handle)) {
            const std::string name = entry->d_name;
            if (name != "." && name != "..") names.push_back(name);
        }
        closedir(handle);
        for (const std::string& name : names) unlink((dir + "/" + name).c_str());
    }
    rmdir(dir.c_str());
}

namespace {

std::string directoryOf(const std::string& path) {
    const auto slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    if (slash == 0) return "/";
    return path.substr(0, slash);
}

bool isDirectory(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// The data set's file name as the service holds it, reduced to a plain file name.
std::string serverFileName(const qx::TavolenInfo& entry, const DataSetName& name) {
    std::string file = qx::getFileName(entry.filename.c_str());
    if (file.empty() || file == "." || file == "..")
        file = name.diag + "@" + std::to_string(name.shot) + "-" + std::to_string(name.subshot) + ".dat.zip";
    return file;
}

void addGet(CLI::App& app, const GlobalOptions& globals) {
    struct Options {
        std::string diag, shot, output;
        std::optional<std::string> subshot;
        bool zip = false, force = false;
    };
    auto o = std::make_shared<Options>();
    CLI::App* cmd = app.add_subcommand("get", "Fetch a data set from the service into a file");
    cmd->add_option("DIAG", o->diag, "Data name")->required();
    cmd->add_option("SHOT", o->shot, "Shot number")->required();
    cmd->add_option("SUBSHOT", o->subshot, "Sub-shot number (default 1)");
    cmd->add_option("-o,--output", o->output,
                    "File to write, or a directory to write into (default: the service's file name here)");
    cmd->add_flag("--zip", o->zip, "Keep the zip archive as it travelled instead of extracting it");
    cmd->add_flag("--force", o->force, "Replace the output file if it exists");
    cmd->callback([&globals, o] {
        const DataSetName name = dataSetFrom(o->diag, o->shot, o->subshot);
        loadSettings(globals);
        const qx::TavolenInfo entry = findDataSet("get", name);
        std::string file = serverFileName(entry, name);
        if (!o->zip && file.size() > 4 && file.compare(file.size() - 4, 4, ".zip") == 0) file.resize(file.size() - 4);
        std::string target = o->output.empty() ? file : o->output;
        if (isDirectory(target)) target += (target.back() == '/' ? "" : "/") + file;
        download("get", name, entry, target, o->zip, o->force);
        struct stat info;
        const long long bytes = stat(target.c_str(), &info) == 0 ? static_cast<long long>(info.st_size) : 0;
        std::cout << "fetched " << name.text() << " -> " << target << " (" << bytes << " bytes)\n";
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
        const LoadedRecord loaded = loadRecord(o->file);
        if (loaded.format != FileFormat::text)
            throw ToolError(exitFile, "put " + o->file + ": a dump cannot be registered; convert it first "
                                      "(anadata convert " + o->file + " OUT --text)");
        DataSetName name;
        name.diag = o->diag.empty() ? loaded.record.getDiagnostics() : o->diag;
        name.shot = o->shot > 0 ? o->shot : loaded.record.getShotNo();
        name.subshot = o->subshot == 0 ? 1 : o->subshot;
        if (name.diag.empty()) throw ToolError(exitUsage, "put " + o->file + ": the file has no Name (give --name)");
        if (name.shot <= 0) throw ToolError(exitUsage, "put " + o->file + ": the file's ShotNo is not positive (give --shot)");

        std::string summary, date, time;
        {
            LibraryOutput output;
            try {
                qx::getSummary(o->file, summary, date, time);
            } catch (int code) {
                const std::string captured = output.finish();
                if (code == 1 || code == 2) throw ToolError(exitFile, "put " + o->file + ": cannot read its header");
                throw ToolError(exitFile, withReason("put " + o->file + ": header lacks a parameter or has an unreadable Date",
                                                     captured));
            }
            output.finish();
        }
        loadSettings(globals);
        ensurePassword(o->user);

        const std::string dir = directoryOf(o->file);
        const std::string base = qx::getFileName(o->file.c_str());
        struct stat info;
        const long long bytes = stat(o->file.c_str(), &info) == 0 ? static_cast<long long>(info.st_size) : 0;
        // Regist packs into this archive, replacing any file of that name, and removes it
        // afterwards; someone else's file there is kept, and an interruption removes ours.
        const std::string zipPath = "/tmp/" + base + ".zip";
        if (pathExists(zipPath))
            throw ToolError(exitFile, "put " + o->file + ": " + zipPath +
                                          " exists and would be replaced while packing; move it away first");
        const UndoOnInterrupt undo([zipPath] { unlink(zipPath.c_str()); });
        std::string captured;
        {
            // The archive is packed into /tmp and then sent; the counter shows the bytes read
            // by this process meanwhile (the file while packing, then the archive).
            const long long readBefore = bytesReadByProcess();
            std::unique_ptr<Progress> progress;
            if (Progress::wanted(bytes))
                progress = std::make_unique<Progress>("put " + base, 0, [readBefore] {
                    return bytesReadByProcess() - readBefore;
                });
            captured = serviceCall("put " + o->file + " as " + name.text() + ": registration failed", [&] {
                qx::clsAnaDataAccess access;
                return access.Regist(dir.c_str(), base.c_str(), name.diag.c_str(), name.shot, name.subshot, "",
                                     summary.c_str());
            });
        }
        // Regist reports success without contacting the service when packing failed.
        if (reportsZipError(captured))
            throw ToolError(exitFile, withReason("put " + o->file + ": cannot pack it into " + zipPath, captured));
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
        loadSettings(globals);
        findDataSet("rm", name);
        ensurePassword(o->user);
        serviceCall("rm " + name.text() + ": deletion failed", [&] {
            qx::clsAnaDataAccess access;
            return access.Delete(name.diag.c_str(), name.shot, name.subshot);
        });
        std::cout << "deleted " << name.text() << '\n';
    });
}

}  // namespace

qx::TavolenInfo findDataSet(const std::string& command, const DataSetName& name) {
    std::vector<qx::TavolenInfo> rows;
    serviceCall(command + " " + name.text() + ": service failure", [&] {
        qx::clsAnaDataAccess access;
        return access.Search({name.diag}, name.shot, name.shot, name.subshot, "", 0, rows);
    });
    for (const qx::TavolenInfo& row : rows)
        if (row.diagnostics == name.diag && row.shotno == name.shot && row.subshotno == name.subshot) return row;
    throw ToolError(exitNotFound, command + " " + name.text() + ": not found");
}

void download(const std::string& command, const DataSetName& name, const qx::TavolenInfo& entry,
              const std::string& target, bool keepArchive, bool replace) {
    if (!replace && pathExists(target))
        throw ToolError(exitFile, command + ": " + target + " exists (give --force to replace it)");
    std::string privateDir = directoryOf(target) + "/.anadata-get-XXXXXX";
    std::unique_ptr<UndoOnInterrupt> undo;
    {
        const InterruptsHeld held;
        if (mkdtemp(privateDir.data()) == nullptr)
            throw ToolError(exitFile, command + ": " + systemError("create a directory in", directoryOf(target)));
        undo = std::make_unique<UndoOnInterrupt>([privateDir] { removeDirectory(privateDir); });
    }
    const std::string fetched = privateDir + "/data";
    try {
        std::string captured;
        {
            std::unique_ptr<Progress> progress;
            if (Progress::wanted(entry.filelen))
                progress = std::make_unique<Progress>(command + " " + name.text(), entry.filelen,
                                                      [privateDir] { return sizeOfFiles(privateDir, "temp"); });
            captured = serviceCall(command + " " + name.text() + ": download failed", [&] {
                qx::clsAnaDataAccess access;
                std::string file = "data";
                return access.Get(name.diag.c_str(), name.shot, name.subshot, file, privateDir.c_str(), keepArchive);
            });
        }
        if (reportsZipError(captured))
            throw ToolError(exitService, withReason(command + " " + name.text() + ": the archive is damaged", captured));
        if (!pathExists(fetched))
            throw ToolError(exitFile, command + ": " + systemError("write in", directoryOf(target)));
        if (replace) {
            if (std::rename(fetched.c_str(), target.c_str()) != 0)
                throw ToolError(exitFile, command + ": " + systemError("write", target));
        } else if (link(fetched.c_str(), target.c_str()) != 0) {
            if (errno == EEXIST) throw ToolError(exitFile, command + ": " + target + " exists (give --force to replace it)");
            throw ToolError(exitFile, command + ": " + systemError("write", target));
        }
    } catch (...) {
        removeDirectory(privateDir);
        throw;
    }
    removeDirectory(privateDir);
}

void addTransferCommands(CLI::App& app, const GlobalOptions& globals) {
    addGet(app, globals);
    addPut(app, globals);
    addRm(app, globals);
}

}  // namespace tool
