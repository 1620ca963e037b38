// The session of the service subcommands, made from the settings file and the account's password.
#ifndef ANADATA_TOOLS_SETTINGS_H
#define ANADATA_TOOLS_SETTINGS_H

#include <string>

#include <anadata/session.h>

#include "Commands.h"

namespace tool {

// The session of --ini FILE, else of the settings file the library finds. `user` (--user) names
// another account than the settings' one; with `credentials` (the operation sends the account)
// a password the settings do not give for that account is asked for. Throws ToolError: exitFile
// when no settings can be read or they name no endpoint, exitUsage when no account or password
// can be had.
anadata::Session openSession(const GlobalOptions& globals, const std::string& user = "", bool credentials = false);

}  // namespace tool

#endif
