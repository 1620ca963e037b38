// String helpers of the text format: trimming, case-insensitive search and header value pickup.
#include "anadata.h"

#include <cctype>
#include <cstdlib>

namespace qx {

std::string& ltrim(std::string& s, int c) {
    std::size_t start = 0;
    while (start < s.size() && static_cast<unsigned char>(s[start]) == static_cast<unsigned char>(c)) ++start;
    s.erase(0, start);
    return s;
}

std::string& rtrim(std::string& s, int c) {
    std::size_t end = s.size();
    while (end > 0 && static_cast<unsigned char>(s[end - 1]) == static_cast<unsigned char>(c)) --end;
    s.erase(end);
    return s;
}

std::string& trim(std::string& s, int c) { return ltrim(rtrim(s, c), c); }

std::string& chop(std::string& s) {
    while (!s.empty() && (s.back() == '\r' || s.back() == '\n')) s.pop_back();
    return s;
}

namespace {

int lower(int c) { return std::tolower(static_cast<unsigned char>(c)); }

}  // namespace

const char* strchri(const char* s, int c) {
    const int wanted = lower(c);
    for (;; ++s) {
        if (lower(*s) == wanted) return s;
        if (*s == '\0') return nullptr;
    }
}

const char* strstri(const char* s, const char* key) {
    if (*key == '\0') return s;
    for (const char* at = strchri(s, *key); at != nullptr; at = strchri(at + 1, *key)) {
        std::size_t k = 0;
        while (key[k] != '\0' && lower(at[k]) == lower(key[k])) ++k;
        if (key[k] == '\0') return at;
        if (at[0] == '\0') return nullptr;
    }
    return nullptr;
}

std::string pickup(const std::string& line, bool unquote) {
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos) return std::string();
    std::string value = line.substr(equals + 1);
    trim(value, ' ');
    if (unquote) {
        trim(value, '\'');
        trim(value, ' ');
    }
    return value;
}

std::vector<std::string> pickup_strings(const std::string& line) {
    const std::string value = pickup(line, false);
    std::vector<std::string> items;
    std::size_t pos = 0;
    for (;;) {
        const std::size_t open = value.find('\'', pos);
        if (open == std::string::npos) break;
        const std::size_t close = value.find('\'', open + 1);
        if (close == std::string::npos) break;
        std::string item = value.substr(open + 1, close - open - 1);
        items.push_back(item.empty() ? std::string(" ") : item);
        pos = close + 1;
    }
    return items;
}

std::vector<int> pickup_sizes(const std::string& line) {
    const std::string value = pickup(line, false);
    std::vector<int> sizes;
    std::size_t pos = 0;
    for (std::size_t comma = value.find(','); comma != std::string::npos; comma = value.find(',', pos)) {
        sizes.push_back(std::atoi(value.substr(pos, comma - pos).c_str()));
        pos = comma + 1;
    }
    if (pos < value.size()) sizes.push_back(std::atoi(value.substr(pos).c_str()));
    return sizes;
}

}  // namespace qx
