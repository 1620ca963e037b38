// The key/value file functions loadHash, getValue, saveHash and the quoting helper escape.
#include "keyvalue.h"

#include <fstream>

namespace {

// Longest line text the reader accepts; a longer line ends the reading.
constexpr std::string::size_type maxLineText = 1023;

const char* const blanks = " \t\r\n";

std::map<std::string, std::string>& processTable() {
    static std::map<std::string, std::string> table;
    return table;
}

std::string trim(const std::string& text) {
    std::string::size_type first = text.find_first_not_of(blanks);
    if (first == std::string::npos) return std::string();
    std::string::size_type last = text.find_last_not_of(blanks);
    return text.substr(first, last - first + 1);
}

// Splits one line into key and value. Backslashes are left out of the key; they escape
// nothing, so "a\=b" ends the key at the '='.
void splitLine(const std::string& line, std::string& key, std::string& value) {
    key.clear();
    value.clear();
    for (std::string::size_type i = 0; i < line.size(); ++i) {
        char c = line[i];
        if (c == '#') return;
        if (c == '=') {
            value = line.substr(i + 1);
            return;
        }
        if (c != '\\') key += c;
    }
}

// Applies the escaping of one character c to s (see escape in keyvalue.h).
std::string escapeChar(const std::string& s, char c) {
    std::string out;
    out.reserve(s.size() + s.size() / 8);
    std::string::size_type start = 0;
    for (std::string::size_type at = s.find(c); at != std::string::npos; at = s.find(c, start)) {
        if (at == start) {
            out += '\\';
        } else {
            out.append(s, start, at - start);
            out += c == '\'' ? '\'' : '\\';
        }
        out += c;
        start = at + 1;
    }
    out.append(s, start, std::string::npos);
    return out;
}

}  // namespace

bool loadHash(const char* path, std::map<std::string, std::string>& table) {
    if (path == nullptr) return true;
    std::ifstream in(path);
    char buffer[maxLineText + 1];
    std::string key;
    std::string value;
    for (;;) {
        in.getline(buffer, sizeof buffer);
        // failbit without eofbit: the line did not fit, and reading stops there. With
        // eofbit, failbit means nothing was left to read.
        if (in.fail()) break;
        // gcount counts the newline too, unless the line was ended by the end of file.
        std::streamsize length = in.gcount() - (in.eof() ? 0 : 1);
        if (length > 0) {
            splitLine(std::string(buffer, static_cast<std::size_t>(length)), key, value);
            key = trim(key);
            if (!key.empty()) table[key] = trim(value);
        }
        if (in.eof()) break;
    }
    return true;
}

bool loadHash(const char* path) {
    return loadHash(path, processTable());
}

const char* getValue(const char* key) {
    if (key == nullptr) return nullptr;
    const std::map<std::string, std::string>& table = processTable();
    auto found = table.find(key);
    return found == table.end() ? nullptr : found->second.c_str();
}

bool saveHash(const char* path, std::map<std::string, std::string>& table) {
    if (path == nullptr) return false;
    std::ofstream out(path, std::ios::out | std::ios::trunc);
    if (!out.is_open()) return false;
    // std::map already holds its keys in ascending order.
    for (const auto& entry : table) {
        for (char c : entry.first) {
            if (c == '=') out << '\\';
            out << c;
        }
        out << '=' << entry.second << '\n';
    }
    out.close();
    return !out.fail();
}

std::string escape(std::string s) {
    return escapeChar(escapeChar(s, '\\'), '\'');
}
