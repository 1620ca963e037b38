// Sessions made from the settings file that the qx:: interface reads.
#include "session.h"

#include <charconv>

#include "cache_settings.h"
#include "settings_file.h"

namespace anadata {

namespace {

// The [search] limit= value: a whole number of zero or more with blanks around it; none is 0.
int searchLimit(const std::optional<std::string>& value, const std::string& file) {
    const std::size_t first = value ? value->find_first_not_of(" \t\r") : std::string::npos;
    if (first == std::string::npos) return 0;
    const char* end = value->data() + value->find_last_not_of(" \t\r") + 1;
    int limit = 0;
    const auto result = std::from_chars(value->data() + first, end, limit);
    if (result.ec == std::errc() && result.ptr == end && limit >= 0) return limit;
    throw Error(ErrorCode::format, "[search] limit= of " + file + " is not a whole number: " + *value);
}

}  // namespace

SessionOptions loadSettings(const std::string& path) {
    detail::SettingsValues values;
    std::string file = path;
    if (path.empty()) {
        file = detail::searchSettingsFile(values);
        if (file.empty())
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
    options.searchLimit = searchLimit(values.limit, file);
    return options;
}

Session Session::fromSettings(const std::string& path) {
    return Session(loadSettings(path));
}

}  // namespace anadata
