// Reading the cache's directory and size limit from the settings file's values.
#include "cache_settings.h"

#include <cstdlib>

namespace anadata::detail {

namespace {

std::string trimmed(const std::string& text) {
    const char* blanks = " \t\r";
    const std::string::size_type first = text.find_first_not_of(blanks);
    if (first == std::string::npos) return "";
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::uint64_t byteCount(const std::string& value) {
    const std::string text = trimmed(value);
    const auto refuse = [&] {
        return Error(ErrorCode::local_io, "settings: [cache] max_bytes=" + value +
                                              ": not a byte count (digits, optionally followed by K, M, G or T)");
    };
    std::uint64_t count = 0;
    std::size_t i = 0;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
        const auto digit = static_cast<std::uint64_t>(text[i] - '0');
        if (count > (UINT64_MAX - digit) / 10) throw refuse();
        count = count * 10 + digit;
    }
    if (i == 0 || text.size() - i > 1) throw refuse();
    if (i == text.size()) return count;
    const std::string units = "KMGT";
    const std::string::size_type unit = units.find(static_cast<char>(text[i] & ~0x20));
    if (unit == std::string::npos) throw refuse();
    const int shift = 10 * (static_cast<int>(unit) + 1);
    if (count > (UINT64_MAX >> shift)) throw refuse();
    return count << shift;
}

}  // namespace

CacheOptions cacheOptionsOf(const SettingsValues& values) {
    CacheOptions options;
    if (values.cacheDir) {
        options.directory = trimmed(*values.cacheDir);
        if (options.directory == "~" || options.directory.compare(0, 2, "~/") == 0) {
            const char* home = std::getenv("HOME");
            if (home == nullptr || *home == '\0')
                throw Error(ErrorCode::local_io, "settings: [cache] dir=" + options.directory + ": $HOME is not set");
            options.directory.replace(0, 1, home);
        }
    }
    if (values.cacheMaxBytes) options.maxBytes = byteCount(*values.cacheMaxBytes);
    return options;
}

}  // namespace anadata::detail
