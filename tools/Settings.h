// Loading the library's settings for the service subcommands.
#ifndef ANADATA_TOOLS_SETTINGS_H
#define ANADATA_TOOLS_SETTINGS_H

#include <string>

#include "Commands.h"

namespace tool {

// Loads the settings the way the library does (or from --ini) and checks that an endpoint is
// set. Throws ToolError (exitFile) when no settings file can be read or it names no endpoint.
void loadSettings(const GlobalOptions& globals);

// The password for the configured account: the one from the settings, else asked for.
// Throws ToolError (exitUsage) when none can be had.
void ensurePassword(const std::string& account);

}  // namespace tool

#endif
