// Reading the settings file and finding it, shared by the process-wide settings and the sessions.
#ifndef ANADATA_ACCESS_SETTINGS_FILE_H
#define ANADATA_ACCESS_SETTINGS_FILE_H

#include <optional>
#include <string>

namespace anadata::detail {

// The values a settings file gave, each only when a line for it was read (the last one wins).
struct SettingsValues {
    std::optional<std::string> account, password, endpoint, baseDir, caFile;  // [tserver]
    std::optional<std::string> limit, page;                                   // [search]
    std::optional<std::string> cacheDir, cacheMaxBytes;                       // [cache]
};

// The value part of one settings line: everything after the first '=' (the whole line without
// one), blanks kept, one double quote removed at each end.
std::string settingsValue(const std::string& line);

// Reads the settings file at path into values. False only when it cannot be opened. Something
// that opens but is no regular file (a directory, a device, a FIFO) is opened without blocking
// and never read: true, with nothing read.
bool readSettingsFile(const char* path, SettingsValues& values);

// The https CA bundle of the process-wide settings (the "cafile" key of the file they came from),
// which is not one of the access object's own settings; empty: the system's store.
std::string& processCaFile();

// Reads the first settings file that opens of $CLIENT_INI2, $HOME/.client2.ini and
// /etc/client2.ini into values and returns its path; empty when none opens.
std::string searchSettingsFile(SettingsValues& values);

}  // namespace anadata::detail

#endif
