// Search results for C callers: ResultSet_s owns a list of catalogue records read row by row.
#include "anadata_c.h"

#include <memory>
#include <string>
#include <vector>

#include "clsAnaDataAccess.h"

using qx::clsAnaDataAccess;
using qx::DiagEntry;
using qx::NumEntry;
using qx::TavolenInfo;

namespace {

enum RowKind { noRows = 0, tavolenRows = 1, numEntryRows = 2, diagEntryRows = 3 };

// Runs one listing call into a fresh heap list; the set takes the list only when the call
// succeeded, so a failed query leaves nothing to release.
template <typename Row, typename Query>
ResultSet_s makeResultSet(RowKind kind, Query query) {
    ResultSet_s set{noRows, nullptr};
    auto rows = std::make_unique<std::vector<Row>>();
    if (query(*rows)) {
        set.type = kind;
        set.rows = rows.release();
    }
    return set;
}

template <typename Row>
std::vector<Row>& rowsOf(const ResultSet_s& set) {
    return *static_cast<std::vector<Row>*>(set.rows);
}

// Calls visit with the set's row list; false, without a call, for the empty set or an unknown type.
template <typename Visit>
bool visitRows(const ResultSet_s& set, Visit&& visit) {
    if (!set.rows) return false;
    switch (set.type) {
    case tavolenRows: visit(rowsOf<TavolenInfo>(set)); return true;
    case numEntryRows: visit(rowsOf<NumEntry>(set)); return true;
    case diagEntryRows: visit(rowsOf<DiagEntry>(set)); return true;
    default: return false;
    }
}

// One row into the caller's struct of the matching type.
void copyRow(const TavolenInfo& from, void* row) {
    TavolenInfo_s& to = *static_cast<TavolenInfo_s*>(row);
    to.diagnostics = from.diagnostics.c_str();
    to.server = from.server.c_str();
    to.directory = from.directory.c_str();
    to.filename = from.filename.c_str();
    to.filedate = from.filedate.c_str();
    to.userid = from.userid.c_str();
    to.summary = from.summary.c_str();
    to.shotno = from.shotno;
    to.subshotno = from.subshotno;
    to.filelen = from.filelen;
}

void copyRow(const NumEntry& from, void* row) {
    NumEntry_s& to = *static_cast<NumEntry_s*>(row);
    to.no = from.no;
    to.sum = from.sum;
}

void copyRow(const DiagEntry& from, void* row) {
    DiagEntry_s& to = *static_cast<DiagEntry_s*>(row);
    to.diagnostics = from.diagnostics.c_str();
    to.sum = from.sum;
}

// Row index as the bounds-checked lookup sees it: a negative index is out of range too.
std::size_t rowIndex(int index) { return static_cast<std::size_t>(static_cast<unsigned>(index)); }

}  // namespace

extern "C" {

ResultSet_s cAnaDataSearch(const char** diags, int ndiags, int lower, int higher, int subshot, const char* user,
                           int limit) {
    std::vector<std::string> names;
    for (int i = 0; diags && i < ndiags; ++i) names.emplace_back(diags[i] ? diags[i] : "");
    return makeResultSet<TavolenInfo>(tavolenRows, [&](std::vector<TavolenInfo>& rows) {
        return clsAnaDataAccess().Search(names, lower, higher, subshot, user, limit, rows);
    });
}

ResultSet_s cAnaDataGetNumEntry(const char* diag, int shot, int range) {
    return makeResultSet<NumEntry>(numEntryRows, [&](std::vector<NumEntry>& rows) {
        return clsAnaDataAccess().getNumEntry(diag, shot, range, rows);
    });
}

ResultSet_s cAnaDataGetDiagEntry(void) {
    return makeResultSet<DiagEntry>(diagEntryRows,
                                    [](std::vector<DiagEntry>& rows) { return clsAnaDataAccess().getDiagEntry(rows); });
}

int cAnaDataGetNumRow(ResultSet_s set) {
    int count = -1;
    visitRows(set, [&](const auto& rows) { count = static_cast<int>(rows.size()); });
    return count;
}

int cAnaDataGetRow(ResultSet_s set, int index, void* row) {
    if (!row) return 0;
    return visitRows(set, [&](const auto& rows) { copyRow(rows.at(rowIndex(index)), row); }) ? 1 : 0;
}

void cAnaDataReleaseResultSet(ResultSet_s set) {
    visitRows(set, [](auto& rows) { delete &rows; });
}

}  // extern "C"
