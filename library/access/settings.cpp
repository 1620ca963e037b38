// The configuration half of clsAnaDataAccess: the settings statics, their search and loading.
#include "clsAnaDataAccess.h"

#include <cstdlib>
#include <fstream>
#include <iostream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qx {

std::string clsAnaDataAccess::user;
std::string clsAnaDataAccess::pass;
std::string clsAnaDataAccess::endpoint;
std::string clsAnaDataAccess::base_dir;
std::string clsAnaDataAccess::limit;
std::string clsAnaDataAccess::page;
bool clsAnaDataAccess::isInitialized = false;

namespace {

bool startsWith(const std::string& line, const char* prefix) {
    return line.compare(0, std::char_traits<char>::length(prefix), prefix) == 0;
}

// Tries the places of the settings file in order; false when none opens.
bool searchSettings() {
    if (const char* named = std::getenv("CLIENT_INI2")) {
        if (clsAnaDataAccess::iniload(named)) return true;
    }
    if (const char* home = std::getenv("HOME")) {
        std::string path = std::string(home) + "/" + INITFILE;
        if (clsAnaDataAccess::iniload(path.c_str())) return true;
    }
    return clsAnaDataAccess::iniload("/etc/client2.ini");
}

}  // namespace

clsAnaDataAccess::clsAnaDataAccess() {
    if (isInitialized) return;
    try {
        if (!searchSettings()) throw clsException("ini file Not found.");
        isInitialized = true;
    } catch (const clsException& e) {
        std::cerr << e.getMessage() << std::endl;
    }
}

clsAnaDataAccess::clsAnaDataAccess(const char* iniFile) {
    if (isInitialized) return;
    if (iniFile != nullptr) iniload(iniFile);
    isInitialized = true;
}

bool clsAnaDataAccess::iniload(const char* path) {
    if (path == nullptr) return false;
    // Something that opens but is no regular file (a directory, a device, a FIFO) still ends
    // the search, so that it never falls through to another account's file; it is opened
    // without blocking and never read, as /dev/zero would be read for ever and a FIFO
    // without a writer would wait for one.
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

    enum class Section { none, server, search };
    Section section = Section::none;
    std::string line;
    while (std::getline(in, line)) {
        if (line == CATTSERVER)
            section = Section::server;
        else if (line == CATSEARCH)
            section = Section::search;

        std::string* serverMember = nullptr;
        if (startsWith(line, ACCOUNT))
            serverMember = &user;
        else if (startsWith(line, PASSWORD))
            serverMember = &pass;
        else if (startsWith(line, ENDPOINT))
            serverMember = &endpoint;
        else if (startsWith(line, BASE_DIR))
            serverMember = &base_dir;
        if (serverMember != nullptr && section == Section::server) paramset(*serverMember, line);

        std::string* searchMember = nullptr;
        if (startsWith(line, LIMIT))
            searchMember = &limit;
        else if (startsWith(line, PAGE))
            searchMember = &page;
        if (searchMember != nullptr && section == Section::search) paramset(*searchMember, line);
    }
    return true;
}

void clsAnaDataAccess::paramset(std::string& member, const std::string& line) {
    std::string::size_type equals = line.find('=');
    // No '=': npos + 1 wraps to 0 and the whole line is the value.
    std::string value = line.substr(equals + 1);
    if (!value.empty() && value.front() == '"') value.erase(0, 1);
    if (!value.empty() && value.back() == '"') value.pop_back();
    member = value;
}

void clsAnaDataAccess::userset(const char* value) {
    user = value != nullptr ? value : "";
}

void clsAnaDataAccess::passset(const char* value) {
    pass = value != nullptr ? value : "";
}

std::string clsAnaDataAccess::getPage() {
    return page;
}

std::string clsAnaDataAccess::getLimit() {
    return limit;
}

std::string clsAnaDataAccess::getBaseDir() {
    return base_dir;
}

}  // namespace qx
