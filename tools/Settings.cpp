// Reading the settings and the account's password.
#include "Settings.h"

#include <sys/stat.h>

#include <anadata/clsAnaDataAccess.h>

#include "Terminal.h"
#include "ToolError.h"
#include "Transfer.h"

namespace tool {

namespace {

anadata::SessionOptions readSettings(const GlobalOptions& globals) {
    if (!globals.ini.empty()) {
        struct stat info;
        if (stat(globals.ini.c_str(), &info) == 0 && !S_ISREG(info.st_mode))
            throw ToolError(exitFile, "--ini " + globals.ini + ": not a regular file");
    }
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
        if (options.password.empty()) options.password = readSecret("password for " + options.account + ": ");
    }
    return serviceCall("settings", [&] { return anadata::Session(options); });
}

int configuredSearchLimit(const GlobalOptions& globals) {
    // The session leaves the [search] section to the qx:: settings, which read the same file.
    using qx::clsAnaDataAccess;
    if (!globals.ini.empty())
        clsAnaDataAccess::iniload(globals.ini.c_str());
    else
        clsAnaDataAccess access;
    const std::string limit = clsAnaDataAccess::getLimit();
    return limit.empty() ? 0 : parseInt(limit, "settings: limit=");
}

}  // namespace tool
