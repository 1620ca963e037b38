// Reading the settings and the account's password.
#include "Settings.h"

#include <filesystem>

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

anadata::Session openSession(const GlobalOptions& globals, const std::string& user, bool credentials) {
    anadata::SessionOptions options = readSettings(globals);
    options.compressionThreads = globals.threads;
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

}  // namespace tool
