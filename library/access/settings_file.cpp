// The settings file's syntax (sections, key prefixes, quoted values) and its places.
#include "settings_file.h"

#include <cstdlib>
#include <fstream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace anadata::detail {

namespace {

bool startsWith(const std::string& line, const char* prefix) {
    return line.compare(0, std::char_traits<char>::length(prefix), prefix) == 0;
}

}  // namespace

std::string settingsValue(const std::string& line) {
    const std::string::size_type equals = line.find('=');
    // No '=': npos + 1 wraps to 0 and the whole line is the value.
    std::string value = line.substr(equals + 1);
    if (!value.empty() && value.front() == '"') value.erase(0, 1);
    if (!value.empty() && value.back() == '"') value.pop_back();
    return value;
}

bool readSettingsFile(const char* path, SettingsValues& values) {
    if (path == nullptr) return false;
    // Something that opens but is no regular file still ends the search, so that it never falls
    // through to another account's file; it is never read, as /dev/zero would be read for ever
    // and a FIFO without a writer would wait for one.
    struct stat info;
    if (::stat(path, &info) != 0) return false;
    if (!S_ISREG(info.st_mode)) {
        const int fd = ::open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        if (fd < 0) return false;
        ::close(fd);
        return true;
    }
    std::ifstream in(path);
    if (!in.is_open()) return false;

    // A header of another section leaves the current one in force; keys match by prefix.
    enum class Section { none, server, search };
    Section section = Section::none;
    // The session's own [cache] section ends at any other header; it leaves the two sections
    // above as they are, as every other header does.
    bool inCache = false;
    std::string line;
    while (std::getline(in, line)) {
        if (line == "[tserver]")
            section = Section::server;
        else if (line == "[search]")
            section = Section::search;
        if (!line.empty() && line.front() == '[') inCache = line == "[cache]";
        if (inCache && startsWith(line, "dir"))
            values.cacheDir = settingsValue(line);
        else if (inCache && startsWith(line, "max_bytes"))
            values.cacheMaxBytes = settingsValue(line);

        std::optional<std::string>* serverValue = nullptr;
        if (startsWith(line, "account"))
            serverValue = &values.account;
        else if (startsWith(line, "passwd"))
            serverValue = &values.password;
        else if (startsWith(line, "endpoint"))
            serverValue = &values.endpoint;
        else if (startsWith(line, "base_dir"))
            serverValue = &values.baseDir;
        else if (startsWith(line, "cafile"))
            serverValue = &values.caFile;
        if (serverValue != nullptr && section == Section::server) *serverValue = settingsValue(line);

        std::optional<std::string>* searchValue = nullptr;
        if (startsWith(line, "limit"))
            searchValue = &values.limit;
        else if (startsWith(line, "page"))
            searchValue = &values.page;
        if (searchValue != nullptr && section == Section::search) *searchValue = settingsValue(line);
    }
    return true;
}

std::string& processCaFile() {
    static std::string caFile;
    return caFile;
}

std::string searchSettingsFile(SettingsValues& values) {
    if (const char* named = std::getenv("CLIENT_INI2"))
        if (readSettingsFile(named, values)) return named;
    if (const char* home = std::getenv("HOME")) {
        const std::string path = std::string(home) + "/.client2.ini";
        if (readSettingsFile(path.c_str(), values)) return path;
    }
    const char* system = "/etc/client2.ini";
    return readSettingsFile(system, values) ? system : "";
}

}  // namespace anadata::detail
