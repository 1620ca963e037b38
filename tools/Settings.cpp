// Reading the settings and the account's password.
#include "Settings.h"

#include <filesystem>

#include <CLI/CLI.hpp>

#include "Terminal.h"
#include "ToolError.h"

namespace tool {

namespace {

anadata::SessionOptions readSettings(const GlobalOptions& globals) {
    std::error_code ignored;
    if (!globals.ini.empty() && std::filesystem::exists(globals.ini, ignored) &&
        !std::filesystem::is_regular_file(globals.ini, ignored))
        throw ToolError(exitFile, "--ini " + globals.ini + ": not a regular file");
    anadata::SessionOptions options;
    try {
        options = anadata::loadSettings(globals.ini);
    } catch (const anadata::Error& e) {
        const char* hint = globals.ini.empty() ? " (or give --ini FILE)" : "";
        throw ToolError(exitFile, std::string("settings: ") + e.what() + hint);
    }
    if (options.endpoint.empty()) throw ToolError(exitFile, "settings: no endpoint= line in the [tserver] section");
    return options;
}

}  // namespace

void addFetchOptions(CLI::App& cmd, ServiceOptions& options) {
    cmd.add_option("--retries", options.retries,
                   "Attempts of a fetch or search after a lost connection, a time-out or a busy service "
                   "(default 4; 0 or 1: no retry)")
        ->check(CLI::Range(0, 100));
    cmd.add_option("--timeout", options.timeout,
                   "Seconds each connect, send, receive and whole request may take (default 30, and 120 for "
                   "a request)")
        ->check(CLI::Range(1, 86400));
    auto* noCache = cmd.add_flag("--no-cache", options.noCache,
                                 "Neither use nor fill the local cache that the settings configure");
    cmd.add_flag("--offline", options.offline,
                 "Only what the local cache holds, without asking the service (a data set it lacks is "
                 "not found)")
        ->excludes(noCache);
}

anadata::Session openSession(const GlobalOptions& globals, const ServiceOptions& service, const std::string& user,
                             bool credentials) {
    anadata::SessionOptions options = readSettings(globals);
    options.compressionThreads = globals.threads;
    if (service.retries >= 0) options.retries = service.retries;
    if (service.timeout > 0) options.ioTimeout = options.requestTimeout = std::chrono::seconds(service.timeout);
    if (service.noCache) options.cache.directory.clear();
    if (service.offline && options.cache.directory.empty())
        throw ToolError(exitFile, "--offline: the settings configure no cache (dir= of the [cache] section)");
    options.offline = service.offline;
    if (!user.empty() && user != options.account) {
        // The configured password belongs to the configured account, not to this one.
        options.account = user;
        options.password.clear();
    }
    if (credentials) {
        if (options.account.empty())
            throw ToolError(exitUsage, "settings: no account= line in the [tserver] section (or give --user NAME)");
        if (options.password.empty())
            options.password = readSecret("password for " + options.account + ": ", "no password given for " + options.account);
    }
    return serviceCall("settings", [&] { return anadata::Session(options); });
}

anadata::Session openSession(const GlobalOptions& globals, const std::string& user, bool credentials) {
    return openSession(globals, ServiceOptions{}, user, credentials);
}

}  // namespace tool
