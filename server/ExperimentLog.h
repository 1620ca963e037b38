// The experiment log: one row of text columns per shot, loaded from a CSV file with a header row.
#ifndef ANADATA_SERVER_EXPERIMENTLOG_H
#define ANADATA_SERVER_EXPERIMENTLOG_H

#include <istream>
#include <map>
#include <string>
#include <vector>

class ExperimentLog {
public:
    ExperimentLog() = default;
    // Reads the CSV text: a header row of column names, then one row per shot whose first column is
    // the shot number. Throws std::runtime_error naming the line of a malformed file.
    static ExperimentLog parse(std::istream& in);
    static ExperimentLog load(const std::string& path);

    const std::vector<std::string>& columns() const { return columns_; }
    // Throw ServiceError for an unknown shot or column.
    const std::vector<std::string>& row(int shot) const;
    const std::string& value(int shot, const std::string& column) const;

private:
    std::vector<std::string> columns_;
    std::map<int, std::vector<std::string>> rows_;
};

#endif
