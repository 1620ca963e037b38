// The subcommands that read the catalogue and the experiment log, and passwd.
#include "Commands.h"

#include <iostream>
#include <memory>
#include <vector>

#include <CLI/CLI.hpp>

#include <anadata/clsAnaDataAccess.h>

#include "Columns.h"
#include "Json.h"
#include "LibraryOutput.h"
#include "Settings.h"
#include "Terminal.h"
#include "ToolError.h"
#include "Transfer.h"

namespace tool {

namespace {

// "FROM-TO", "SHOT", "FROM-" or "-TO"; an open end is 0, which the service reads as unbounded.
void parseShots(const std::string& text, int& lower, int& higher) {
    const auto dash = text.find('-');
    if (dash == std::string::npos) {
        lower = higher = parseInt(text, "--shots");
    } else {
        const std::string from = text.substr(0, dash), to = text.substr(dash + 1);
        lower = from.empty() ? 0 : parseInt(from, "--shots FROM");
        higher = to.empty() ? 0 : parseInt(to, "--shots TO");
    }
    if (lower < 0 || higher < 0) throw ToolError(exitUsage, "--shots: shot numbers are positive: " + text);
}

void addSearch(CLI::App& app, const GlobalOptions& globals) {
    struct Options {
        std::vector<std::string> diags;
        std::string shots, user;
        int subshot = 0, limit = -1;
        bool json = false;
    };
    auto o = std::make_shared<Options>();
    CLI::App* cmd = app.add_subcommand("search", "Search the catalogue of registered data sets");
    cmd->add_option("DIAG", o->diags, "Data names (default: all)");
    cmd->add_option("--shots", o->shots, "Shot range FROM-TO (either end may be left open) or one shot");
    cmd->add_option("--subshot", o->subshot, "Only this sub-shot (default: any)")->check(CLI::NonNegativeNumber);
    cmd->add_option("--user", o->user, "Only data sets registered by this account");
    cmd->add_option("--limit", o->limit, "At most this many rows (default: limit= of the settings; 0: no limit)")
        ->check(CLI::NonNegativeNumber);
    cmd->add_flag("--json", o->json, "Write JSON for scripts");
    cmd->callback([&globals, o] {
        int lower = 0, higher = 0;
        if (!o->shots.empty()) parseShots(o->shots, lower, higher);
        loadSettings(globals);
        int limit = o->limit;
        if (limit < 0) {
            const std::string configured = qx::clsAnaDataAccess::getLimit();
            limit = configured.empty() ? 0 : parseInt(configured, "settings: limit=");
        }
        std::vector<qx::TavolenInfo> rows;
        serviceCall("search: service failure", [&] {
            qx::clsAnaDataAccess access;
            return access.Search(o->diags, lower, higher, o->subshot, o->user.c_str(), limit, rows);
        });
        if (o->json) {
            JsonWriter json(std::cout);
            json.beginArray();
            for (const qx::TavolenInfo& row : rows) {
                json.beginObject();
                json.key("name").value(row.diagnostics);
                json.key("shot").value(row.shotno);
                json.key("subshot").value(row.subshotno);
                json.key("size").value(row.filelen);
                json.key("date").value(row.filedate);
                json.key("user").value(row.userid);
                json.key("server").value(row.server);
                json.key("directory").value(row.directory);
                json.key("filename").value(row.filename);
                json.key("summary").value(row.summary);
                json.endObject();
            }
            json.endArray();
        } else if (!rows.empty()) {
            std::size_t width = 4;
            for (const qx::TavolenInfo& row : rows) width = std::max(width, row.diagnostics.size());
            std::cout << padded("NAME", width) << "  " << padded("SHOT", 8) << "  SUB  " << padded("BYTES", 10)
                      << "  " << padded("DATE", 19) << "  USER\n";
            for (const qx::TavolenInfo& row : rows)
                std::cout << padded(row.diagnostics, width) << "  " << padded(std::to_string(row.shotno), 8) << "  "
                          << padded(std::to_string(row.subshotno), 3) << "  "
                          << padded(std::to_string(row.filelen), 10) << "  " << padded(row.filedate, 19) << "  "
                          << row.userid << '\n';
        }
        if (rows.empty()) throw ToolError(exitNotFound, "search: no data set matches");
    });
}

void addList(CLI::App& app, const GlobalOptions& globals) {
    auto json = std::make_shared<bool>(false);
    CLI::App* cmd = app.add_subcommand("list", "List the registered data names with their numbers of entries");
    cmd->add_flag("--json", *json, "Write JSON for scripts");
    cmd->callback([&globals, json] {
        loadSettings(globals);
        std::vector<qx::DiagEntry> entries;
        serviceCall("list: service failure", [&] {
            qx::clsAnaDataAccess access;
            return access.getDiagEntry(entries);
        });
        if (*json) {
            JsonWriter out(std::cout);
            out.beginArray();
            for (const qx::DiagEntry& e : entries) {
                out.beginObject();
                out.key("name").value(e.diagnostics);
                out.key("entries").value(e.sum);
                out.endObject();
            }
            out.endArray();
            return;
        }
        std::size_t width = 4;
        for (const qx::DiagEntry& e : entries) width = std::max(width, e.diagnostics.size());
        for (const qx::DiagEntry& e : entries) std::cout << padded(e.diagnostics, width) << "  " << e.sum << '\n';
    });
}

void addExplog(CLI::App& app, const GlobalOptions& globals) {
    struct Options {
        std::string shot, column;
        bool columns = false, json = false;
    };
    auto o = std::make_shared<Options>();
    CLI::App* cmd = app.add_subcommand("explog", "Read the experiment log: one shot's row, one column of it, or the column names");
    auto* shot = cmd->add_option("SHOT", o->shot, "Shot number");
    cmd->add_option("COLUMN", o->column, "Only this column")->needs(shot);
    cmd->add_flag("--columns", o->columns, "List the column names")->excludes(shot);
    cmd->add_flag("--json", o->json, "Write JSON for scripts");
    cmd->callback([&globals, o] {
        if (!o->columns && o->shot.empty()) throw ToolError(exitUsage, "explog: give SHOT [COLUMN] or --columns");
        const int shotNo = o->columns ? 0 : parseInt(o->shot, "SHOT");
        loadSettings(globals);
        std::vector<std::string> names, values;
        serviceCall("explog: service failure", [&] {
            qx::clsAnaDataAccess access;
            names = access.getExplogColNames();
            return true;
        });
        if (o->columns) {
            if (o->json) {
                JsonWriter json(std::cout);
                json.beginArray();
                for (const std::string& n : names) json.value(n);
                json.endArray();
            } else {
                for (const std::string& n : names) std::cout << n << '\n';
            }
            return;
        }
        // The service answers an unknown shot or column with the same "ERROR" as a failure;
        // it has just answered the column names, so a failure now means "not there".
        const std::string what = "explog " + o->shot + (o->column.empty() ? "" : " " + o->column);
        try {
            LibraryOutput output;
            qx::clsAnaDataAccess access;
            if (o->column.empty()) {
                values = access.getExplogColValues(shotNo);
            } else {
                names = {o->column};
                values = {access.getExplogColValue(shotNo, o->column.c_str())};
            }
            output.finish();
        } catch (const qx::clsException&) {
            throw ToolError(exitNotFound, what + ": not found");
        }
        if (o->json) {
            JsonWriter json(std::cout);
            json.beginObject();
            for (std::size_t i = 0; i < names.size() && i < values.size(); ++i) json.key(names[i]).value(values[i]);
            json.endObject();
        } else if (!o->column.empty()) {
            std::cout << values.front() << '\n';
        } else {
            std::size_t width = 0;
            for (const std::string& n : names) width = std::max(width, n.size());
            for (std::size_t i = 0; i < names.size() && i < values.size(); ++i)
                std::cout << padded(names[i], width) << "  " << values[i] << '\n';
        }
    });
}

void addPasswd(CLI::App& app, const GlobalOptions& globals) {
    auto user = std::make_shared<std::string>();
    CLI::App* cmd = app.add_subcommand("passwd", "Change the password of the account on the service");
    cmd->add_option("--user", *user, "Account (default: account= of the settings)");
    cmd->callback([&globals, user] {
        loadSettings(globals);
        ensurePassword(*user);
        const std::string account = qx::clsAnaDataAccess::user;
        const std::string oldPass = qx::clsAnaDataAccess::pass;
        const std::string newPass = readSecret("new password for " + account + ": ");
        if (newPass.empty()) throw ToolError(exitUsage, "passwd: the new password is empty");
        if (readSecret("new password again: ") != newPass)
            throw ToolError(exitUsage, "passwd: the two new passwords differ");
        serviceCall("passwd " + account + ": password not changed", [&] {
            qx::clsAnaDataAccess access;
            access.changePassword(account.c_str(), oldPass.c_str(), newPass.c_str());
            return true;
        });
        std::cout << "password of " << account << " changed; update passwd= in the settings file\n";
    });
}

}  // namespace

void addCatalogueCommands(CLI::App& app, const GlobalOptions& globals) {
    addSearch(app, globals);
    addList(app, globals);
    addExplog(app, globals);
    addPasswd(app, globals);
}

}  // namespace tool
