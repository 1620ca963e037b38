// The experiment log: one row of text columns per shot, loaded from a CSV file with a header row.
#include "ExperimentLog.h"

#include <charconv>
#include <fstream>
#include <stdexcept>

#include "ServiceError.h"

namespace {

// Reads one record: fields separated by commas, optionally quoted with "" as an escaped quote; a quoted
// field may span lines. Returns false at end of input.
bool readRecord(std::istream& in, std::vector<std::string>& fields, int& line) {
    fields.clear();
    int c = in.get();
    if (c == EOF) return false;
    ++line;
    std::string field;
    bool quoted = false, wasQuoted = false;
    for (;; c = in.get()) {
        if (quoted) {
            if (c == EOF) throw std::runtime_error("line " + std::to_string(line) + ": unterminated quote");
            if (c == '"') {
                if (in.peek() == '"') {
                    in.get();
                    field += '"';
                } else {
                    quoted = false;
                }
            } else {
                if (c == '\n') ++line;
                field += static_cast<char>(c);
            }
            continue;
        }
        if (c == EOF || c == '\n' || c == ',') {
            if (!wasQuoted && !field.empty() && field.back() == '\r' && c != ',') field.pop_back();
            fields.push_back(field);
            field.clear();
            wasQuoted = false;
            if (c != ',') return true;
        } else if (c == '"' && field.empty() && !wasQuoted) {
            quoted = wasQuoted = true;
        } else if (c == '\r' && wasQuoted && (in.peek() == '\n' || in.peek() == EOF)) {
            // CRLF after a quoted field
        } else {
            field += static_cast<char>(c);
        }
    }
}

std::string trim(const std::string& s) {
    size_t b = s.find_first_not_of(" \t"), e = s.find_last_not_of(" \t");
    return b == std::string::npos ? std::string() : s.substr(b, e - b + 1);
}

}  // namespace

ExperimentLog ExperimentLog::parse(std::istream& in) {
    ExperimentLog log;
    std::vector<std::string> fields;
    int line = 0;
    if (!readRecord(in, log.columns_, line)) throw std::runtime_error("no header row");
    while (readRecord(in, fields, line)) {
        if (fields.size() == 1 && trim(fields[0]).empty()) continue;  // blank line
        if (fields.size() != log.columns_.size())
            throw std::runtime_error("line " + std::to_string(line) + ": " + std::to_string(fields.size()) +
                                     " columns, the header has " + std::to_string(log.columns_.size()));
        std::string shotText = trim(fields[0]);
        int shot = 0;
        auto [end, ec] = std::from_chars(shotText.data(), shotText.data() + shotText.size(), shot);
        if (ec != std::errc() || end != shotText.data() + shotText.size() || shotText.empty())
            throw std::runtime_error("line " + std::to_string(line) + ": shot number '" + fields[0] +
                                     "' is not an integer");
        if (!log.rows_.emplace(shot, fields).second)
            throw std::runtime_error("line " + std::to_string(line) + ": shot " + shotText + " appears twice");
    }
    return log;
}

ExperimentLog ExperimentLog::load(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error("cannot open " + path);
    try {
        return parse(in);
    } catch (const std::runtime_error& e) {
        throw std::runtime_error(path + ": " + e.what());
    }
}

const std::vector<std::string>& ExperimentLog::row(int shot) const {
    auto it = rows_.find(shot);
    if (it == rows_.end())
        throw ServiceError("no experiment-log entry for shot " + std::to_string(shot), ServiceError::Kind::NotFound);
    return it->second;
}

const std::string& ExperimentLog::value(int shot, const std::string& column) const {
    const auto& r = row(shot);
    for (size_t i = 0; i < columns_.size(); ++i)
        if (columns_[i] == column) return r[i];
    throw ServiceError("no such column: " + column, ServiceError::Kind::NotFound);
}
