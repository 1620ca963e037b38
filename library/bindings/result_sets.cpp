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

void copyTavolenInfo(const TavolenInfo& from, TavolenInfo_s& to) {
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

void copyNumEntry(const NumEntry& from, NumEntry_s& to) {
    to.no = from.no;
    to.sum = from.sum;
}

void copyDiagEntry(const DiagEntry& from, DiagEntry_s& to) {
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
    if (!set.rows) return -1;
    switch (set.type) {
    case tavolenRows: return static_cast<int>(rowsOf<TavolenInfo>(set).size());
    case numEntryRows: return static_cast<int>(rowsOf<NumEntry>(set).size());
    case diagEntryRows: return static_cast<int>(rowsOf<DiagEntry>(set).size());
    default: return -1;
    }
}

int cAnaDataGetRow(ResultSet_s set, int index, void* row) {
    if (!set.rows || !row) return 0;
    switch (set.type) {
    case tavolenRows:
        copyTavolenInfo(rowsOf<TavolenInfo>(set).at(rowIndex(index)), *static_cast<TavolenInfo_s*>(row));
        return 1;
    case numEntryRows:
        copyNumEntry(rowsOf<NumEntry>(set).at(rowIndex(index)), *static_cast<NumEntry_s*>(row));
        return 1;
    case diagEntryRows:
        copyDiagEntry(rowsOf<DiagEntry>(set).at(rowIndex(index)), *static_cast<DiagEntry_s*>(row));
        return 1;
    default: return 0;
    }
}

void cAnaDataReleaseResultSet(ResultSet_s set) {
    if (!set.rows) return;
    switch (set.type) {
    case tavolenRows: delete &rowsOf<TavolenInfo>(set); break;
    case numEntryRows: delete &rowsOf<NumEntry>(set); break;
    case diagEntryRows: delete &rowsOf<DiagEntry>(set); break;
    default: break;
    }
}

}  // extern "C"
