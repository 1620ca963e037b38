// Loading the settings and the account's password.
#include "Settings.h"

#include <cerrno>
#include <cstring>
#include <fstream>

#include <sys/stat.h>

#include <anadata/clsAnaDataAccess.h>

#include "LibraryOutput.h"
#include "Terminal.h"
#include "ToolError.h"

namespace tool {

void loadSettings(const GlobalOptions& globals) {
    using qx::clsAnaDataAccess;
    if (!globals.ini.empty()) {
        // The library's path constructor is silent about a file it cannot open.
        std::ifstream probe(globals.ini);
        if (!probe) throw ToolError(exitFile, "--ini " + globals.ini + ": cannot open: " + std::strerror(errno));
        probe.close();
        struct stat info;
        if (stat(globals.ini.c_str(), &info) != 0 || !S_ISREG(info.st_mode))
            throw ToolError(exitFile, "--ini " + globals.ini + ": not a regular file");
        clsAnaDataAccess access(globals.ini.c_str());
    } else {
        LibraryOutput output;
        clsAnaDataAccess access;
        output.finish();
        if (!clsAnaDataAccess::isInitialized)
            throw ToolError(exitFile,
                            "settings: no settings file found ($CLIENT_INI2, ~/.client2.ini, /etc/client2.ini; "
                            "or give --ini FILE)");
    }
    if (clsAnaDataAccess::endpoint.empty())
        throw ToolError(exitFile, "settings: no endpoint= line in the [tserver] section");
}

void ensurePassword(const std::string& account) {
    using qx::clsAnaDataAccess;
    if (!account.empty() && account != clsAnaDataAccess::user) {
        // The configured password belongs to the configured account, not to this one.
        clsAnaDataAccess::userset(account.c_str());
        clsAnaDataAccess::passset(readSecret("password for " + account + ": ").c_str());
        return;
    }
    if (clsAnaDataAccess::user.empty())
        throw ToolError(exitUsage, "settings: no account= line in the [tserver] section (or give --user NAME)");
    if (clsAnaDataAccess::pass.empty())
        clsAnaDataAccess::passset(readSecret("password for " + clsAnaDataAccess::user + ": ").c_str());
}

}  // namespace tool
