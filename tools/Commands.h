// The subcommand groups of the anadata tool and the options they share.
#ifndef ANADATA_TOOLS_COMMANDS_H
#define ANADATA_TOOLS_COMMANDS_H

#include <string>

namespace CLI {
class App;
}

namespace tool {

// Options given before the subcommand.
struct GlobalOptions {
    std::string ini;  // --ini: settings file instead of the library's search
    int threads = 0;  // --threads: compression threads of a registration, 0 = one per core
};

// The help of --lenient, which the subcommands that read data files share.
constexpr const char* lenientHelp =
    "Accept a text file cut short, with rows missing numbers or rows past its grid, read as far as it goes "
    "(as older programs read it)";

// show, convert, sample: data files on this machine (show also fetches).
void addRecordCommands(CLI::App& app, const GlobalOptions& globals);
// get, put, rm: moving data sets to and from the service.
void addTransferCommands(CLI::App& app, const GlobalOptions& globals);
// put: registering a data file (one of the transfer commands).
void addPutCommand(CLI::App& app, const GlobalOptions& globals);
// export: a record's numbers as CSV or numpy files.
void addExportCommand(CLI::App& app, const GlobalOptions& globals);
// search, list, explog, passwd: catalogue, experiment log and account.
void addCatalogueCommands(CLI::App& app, const GlobalOptions& globals);
// cache [clear|prune]: the local cache of fetched data sets.
void addCacheCommand(CLI::App& app, const GlobalOptions& globals);

}  // namespace tool

#endif
