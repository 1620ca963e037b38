// The subcommands that read the catalogue and the experiment log, and passwd.
#include "Commands.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <vector>

#include <CLI/CLI.hpp>

#include <anadata/session.h>

#include "Columns.h"
#include "Json.h"
#include "Settings.h"
#include "Terminal.h"
#include "ToolError.h"
#include "Transfer.h"

namespace tool {

namespace {

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
        anadata::SearchQuery query;
        if (!o->shots.empty()) {
            const ShotRange range = parseShots(o->shots, "--shots");
            query.firstShot = range.first;
            query.lastShot = range.last;
        }
        const anadata::Session session = openSession(globals);
        query.names = o->diags;
        query.subshot = o->subshot;
        query.user = o->user;
        query.limit = o->limit >= 0 ? o->limit : session.options().searchLimit;
        const std::vector<anadata::Entry> rows = serviceCall("search", [&] { return session.search(query); });
        if (o->json) {
            Json list = Json::array();
            for (const anadata::Entry& row : rows)
                list.push_back({{"name", row.name},
                                {"shot", row.shot},
                                {"subshot", row.subshot},
                                {"size", row.size},
                                {"date", row.filedate},
                                {"user", row.user},
                                {"server", row.server},
                                {"directory", row.directory},
                                {"filename", row.filename},
                                {"summary", row.summary}});
            printJson(list);
        } else if (!rows.empty()) {
            std::size_t width = 4;
            for (const anadata::Entry& row : rows) width = std::max(width, row.name.size());
            std::cout << padded("NAME", width) << "  " << padded("SHOT", 8) << "  SUB  " << padded("BYTES", 10)
                      << "  " << padded("DATE", 19) << "  USER\n";
            for (const anadata::Entry& row : rows)
                std::cout << padded(row.name, width) << "  " << padded(std::to_string(row.shot), 8) << "  "
                          << padded(std::to_string(row.subshot), 3) << "  " << padded(std::to_string(row.size), 10)
                          << "  " << padded(row.filedate, 19) << "  " << row.user << '\n';
        }
        if (rows.empty()) throw ToolError(exitNotFound, "search: no data set matches");
    });
}

void addList(CLI::App& app, const GlobalOptions& globals) {
    auto json = std::make_shared<bool>(false);
    CLI::App* cmd = app.add_subcommand("list", "List the registered data names with their numbers of entries");
    cmd->add_flag("--json", *json, "Write JSON for scripts");
    cmd->callback([&globals, json] {
        const anadata::Session session = openSession(globals);
        const std::vector<anadata::NameCount> entries = serviceCall("list", [&] { return session.counts(); });
        if (*json) {
            Json list = Json::array();
            for (const anadata::NameCount& e : entries) list.push_back({{"name", e.name}, {"entries", e.entries}});
            printJson(list);
            return;
        }
        std::size_t width = 4;
        for (const anadata::NameCount& e : entries) width = std::max(width, e.name.size());
        std::cout << padded("NAME", width) << "  ENTRIES\n";
        for (const anadata::NameCount& e : entries) std::cout << padded(e.name, width) << "  " << e.entries << '\n';
    });
}

void addExplog(CLI::App& app, const GlobalOptions& globals) {
    struct Options {
        std::string shot, column;
        bool columns = false, json = false;
    };
    auto o = std::make_shared<Options>();
    CLI::App* cmd = app.add_subcommand(
        "explog", "Read the experiment log: one shot's row, one column of it, or the column names");
    auto* shot = cmd->add_option("SHOT", o->shot, "Shot number");
    cmd->add_option("COLUMN", o->column, "Only this column")->needs(shot);
    cmd->add_flag("--columns", o->columns, "List the column names")->excludes(shot);
    cmd->add_flag("--json", o->json, "Write JSON for scripts");
    cmd->callback([&globals, o] {
        if (!o->columns && o->shot.empty()) throw ToolError(exitUsage, "explog: give SHOT [COLUMN] or --columns");
        const int shotNo = o->columns ? 0 : parseInt(o->shot, "SHOT");
        const anadata::Session session = openSession(globals);
        const std::string what = "explog" + (o->columns ? std::string(" --columns") : " " + o->shot) +
                                 (o->column.empty() ? "" : " " + o->column);
        std::vector<std::string> names, values;
        // The service's refusal names what it does not know, the shot or the column.
        serviceCall(what, [&] {
            if (!o->column.empty()) {
                names = {o->column};
                values = {session.explogValue(shotNo, o->column)};
                return;
            }
            names = session.explogColumns();
            if (!o->columns) values = session.explogRow(shotNo);
        });
        if (o->columns) {
            if (o->json) {
                printJson(names);
            } else {
                for (const std::string& n : names) std::cout << n << '\n';
            }
            return;
        }
        if (o->json) {
            Json row = Json::object();
            for (std::size_t i = 0; i < names.size() && i < values.size(); ++i) row[names[i]] = values[i];
            printJson(row);
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
        const anadata::Session session = openSession(globals, *user, true);
        const std::string account = session.options().account;
        const std::string newPass = readSecret("new password for " + account + ": ", "passwd: no new password given");
        if (newPass.empty()) throw ToolError(exitUsage, "passwd: the new password is empty");
        if (readSecret("new password again: ", "passwd: the new password is not confirmed: give it twice") != newPass)
            throw ToolError(exitUsage, "passwd: the two new passwords differ");
        serviceCall("passwd " + account + ": password not changed", [&] { session.changePassword(newPass); });
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
