// Sessions made from the settings file that the qx:: interface reads.
#include "session.h"

#include "cache_settings.h"
#include "settings_file.h"

namespace anadata {

SessionOptions loadSettings(const std::string& path) {
    detail::SettingsValues values;
    if (path.empty()) {
        if (detail::searchSettingsFile(values).empty())
            throw Error(ErrorCode::local_io, "no settings file found ($CLIENT_INI2, ~/.client2.ini, /etc/client2.ini)");
    } else if (!detail::readSettingsFile(path.c_str(), values)) {
        throw Error(ErrorCode::local_io, "cannot open the settings file " + path);
    }
    SessionOptions options;
    options.account = values.account.value_or("");
    options.password = values.password.value_or("");
    options.endpoint = values.endpoint.value_or("");
    options.caFile = values.caFile.value_or("");
    options.cache = detail::cacheOptionsOf(values);
    return options;
}

Session Session::fromSettings(const std::string& path) {
    return Session(loadSettings(path));
}

}  // namespace anadata
