// The configuration half of clsAnaDataAccess: the settings statics, their search and loading.
#include "clsAnaDataAccess.h"

#include <iostream>
#include <utility>

#include "settings_file.h"

namespace qx {

std::string clsAnaDataAccess::user;
std::string clsAnaDataAccess::pass;
std::string clsAnaDataAccess::endpoint;
std::string clsAnaDataAccess::base_dir;
std::string clsAnaDataAccess::limit;
std::string clsAnaDataAccess::page;
bool clsAnaDataAccess::isInitialized = false;

namespace {

// The settings a file gave replace the statics; the others keep what they held.
void apply(const anadata::detail::SettingsValues& values) {
    const std::pair<const std::optional<std::string>*, std::string*> fields[] = {
        {&values.account, &clsAnaDataAccess::user},    {&values.password, &clsAnaDataAccess::pass},
        {&values.endpoint, &clsAnaDataAccess::endpoint}, {&values.baseDir, &clsAnaDataAccess::base_dir},
        {&values.limit, &clsAnaDataAccess::limit},     {&values.page, &clsAnaDataAccess::page}};
    for (const auto& [value, member] : fields)
        if (*value) *member = **value;
    if (values.caFile) anadata::detail::processCaFile() = *values.caFile;
}

}  // namespace

clsAnaDataAccess::clsAnaDataAccess() {
    if (isInitialized) return;
    try {
        anadata::detail::SettingsValues values;
        if (anadata::detail::searchSettingsFile(values).empty()) throw clsException("ini file Not found.");
        apply(values);
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
    anadata::detail::SettingsValues values;
    if (!anadata::detail::readSettingsFile(path, values)) return false;
    apply(values);
    return true;
}

void clsAnaDataAccess::paramset(std::string& member, const std::string& line) {
    member = anadata::detail::settingsValue(line);
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
