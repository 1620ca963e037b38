// The session of the service subcommands, made from the settings file and the account's password.
#ifndef ANADATA_TOOLS_SETTINGS_H
#define ANADATA_TOOLS_SETTINGS_H

#include <string>

#include <anadata/session.h>

#include "Commands.h"

namespace tool {

// The options of the subcommands that talk to the service.
struct ServiceOptions {
    int retries = -1;      // --retries N; -1: the library's default
    int timeout = 0;       // --timeout SECONDS; 0: the library's time-outs
    bool noCache = false;  // --no-cache: no cache even when the settings configure one
    bool offline = false;  // --offline: only what the cache holds
};

// --retries, --timeout, --no-cache and --offline, for the subcommands that fetch data sets.
void addFetchOptions(CLI::App& cmd, ServiceOptions& options);

// The session of --ini FILE, else of the settings file the library finds, with the subcommand's
// service options. `user` (--user) names another account than the settings' one; with
// `credentials` (the operation sends the account) a password the settings do not give for that
// account is asked for. Throws ToolError: exitFile when no settings can be read, they name no
// endpoint or --offline finds no cache configured, exitUsage when no account or password can be
// had.
anadata::Session openSession(const GlobalOptions& globals, const ServiceOptions& service,
                             const std::string& user = "", bool credentials = false);
// The same with the library's defaults for the service options.
anadata::Session openSession(const GlobalOptions& globals, const std::string& user = "", bool credentials = false);

}  // namespace tool

#endif
