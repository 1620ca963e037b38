// The configuration half of clsAnaDataAccess: the settings statics, their search and loading.
#include "clsAnaDataAccess.h"

#include <iostream>
#include <mutex>
#include <utility>

#include "access_settings.h"
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

// Guards every read and write of the statics that the library makes, so that access objects may
// be made and used on several threads at once.
std::mutex& settingsMutex() {
    static std::mutex mutex;
    return mutex;
}

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

bool loadFile(const char* path) {
    anadata::detail::SettingsValues values;
    if (!anadata::detail::readSettingsFile(path, values)) return false;
    apply(values);
    return true;
}

}  // namespace

clsAnaDataAccess::clsAnaDataAccess() {
    std::lock_guard<std::mutex> lock(settingsMutex());
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
    std::lock_guard<std::mutex> lock(settingsMutex());
    if (isInitialized) return;
    if (iniFile != nullptr) loadFile(iniFile);
    isInitialized = true;
}

bool clsAnaDataAccess::iniload(const char* path) {
    std::lock_guard<std::mutex> lock(settingsMutex());
    return loadFile(path);
}

void clsAnaDataAccess::paramset(std::string& member, const std::string& line) {
    std::lock_guard<std::mutex> lock(settingsMutex());
    member = anadata::detail::settingsValue(line);
}

void clsAnaDataAccess::userset(const char* value) {
    std::lock_guard<std::mutex> lock(settingsMutex());
    user = value != nullptr ? value : "";
}

void clsAnaDataAccess::passset(const char* value) {
    std::lock_guard<std::mutex> lock(settingsMutex());
    pass = value != nullptr ? value : "";
}

std::string clsAnaDataAccess::getPage() {
    std::lock_guard<std::mutex> lock(settingsMutex());
    return page;
}

std::string clsAnaDataAccess::getLimit() {
    std::lock_guard<std::mutex> lock(settingsMutex());
    return limit;
}

std::string clsAnaDataAccess::getBaseDir() {
    std::lock_guard<std::mutex> lock(settingsMutex());
    return base_dir;
}

}  // namespace qx

namespace anadata::detail {

AccessSettings accessSettings() {
    std::lock_guard<std::mutex> lock(qx::settingsMutex());
    return {qx::clsAnaDataAccess::endpoint, qx::clsAnaDataAccess::user, qx::clsAnaDataAccess::pass,
            processCaFile()};
}

}  // namespace anadata::detail
