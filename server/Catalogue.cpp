// The SQLite catalogue of a store: registered data files and accounts.
#include "Catalogue.h"

#include <cerrno>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ServiceError.h"

namespace {

const char* const kSchema =
    "CREATE TABLE IF NOT EXISTS datasets("
    " diagnostics TEXT NOT NULL, shotno INTEGER NOT NULL, subshotno INTEGER NOT NULL,"
    " directory TEXT NOT NULL, filename TEXT NOT NULL, filedate TEXT NOT NULL, userid TEXT NOT NULL,"
    " summary TEXT NOT NULL, filelen INTEGER NOT NULL,"
    " PRIMARY KEY(diagnostics, shotno, subshotno));"
    "CREATE INDEX IF NOT EXISTS datasets_shot ON datasets(shotno, subshotno);"
    "CREATE UNIQUE INDEX IF NOT EXISTS datasets_file ON datasets(directory, filename);"
    "CREATE TABLE IF NOT EXISTS accounts("
    " name TEXT PRIMARY KEY, salt BLOB NOT NULL, hash BLOB NOT NULL, iterations INTEGER NOT NULL);";

const char* const kColumns =
    "diagnostics, shotno, subshotno, directory, filename, filedate, userid, summary, filelen";

// A prepared statement that finalizes itself.
class Statement {
public:
    Statement(sqlite3* db, const std::string& sql) : db_(db) {
        if (sqlite3_prepare_v2(db, sql.c_str(), -1, &stmt_, nullptr) != SQLITE_OK)
            throw ServiceError(std::string("catalogue error: ") + sqlite3_errmsg(db), ServiceError::Kind::Internal);
    }
    ~Statement() { sqlite3_finalize(stmt_); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    Statement& bind(int i, const std::string& text) {
        sqlite3_bind_text(stmt_, i, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
        return *this;
    }
    Statement& bindBlob(int i, const std::string& bytes) {
        sqlite3_bind_blob(stmt_, i, bytes.data(), static_cast<int>(bytes.size()), SQLITE_TRANSIENT);
        return *this;
    }
    Statement& bind(int i, long long value) {
        sqlite3_bind_int64(stmt_, i, value);
        return *this;
    }
    // True while a row is available.
    bool step() {
        int rc = sqlite3_step(stmt_);
        if (rc == SQLITE_ROW) return true;
        if (rc == SQLITE_DONE) return false;
        throw ServiceError(std::string("catalogue error: ") + sqlite3_errmsg(db_), ServiceError::Kind::Internal);
    }
    std::string text(int col) const {
        auto p = reinterpret_cast<const char*>(sqlite3_column_blob(stmt_, col));
        return p ? std::string(p, static_cast<size_t>(sqlite3_column_bytes(stmt_, col))) : std::string();
    }
    long long integer(int col) const { return sqlite3_column_int64(stmt_, col); }

private:
    sqlite3* db_;
    sqlite3_stmt* stmt_ = nullptr;
};

CatalogueEntry readEntry(const Statement& s) {
    CatalogueEntry e;
    e.diagnostics = s.text(0);
    e.shotno = static_cast<int>(s.integer(1));
    e.subshotno = static_cast<int>(s.integer(2));
    e.directory = s.text(3);
    e.filename = s.text(4);
    e.filedate = s.text(5);
    e.userid = s.text(6);
    e.summary = s.text(7);
    e.filelen = s.integer(8);
    return e;
}

// Rolls back unless committed.
class Transaction {
public:
    explicit Transaction(sqlite3* db) : db_(db) { run("BEGIN IMMEDIATE"); }
    ~Transaction() {
        if (!done_) sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
    }
    void commit() {
        run("COMMIT");
        done_ = true;
    }

private:
    void run(const char* sql) {
        if (sqlite3_exec(db_, sql, nullptr, nullptr, nullptr) != SQLITE_OK)
            throw ServiceError(std::string("catalogue error: ") + sqlite3_errmsg(db_), ServiceError::Kind::Internal);
    }
    sqlite3* db_;
    bool done_ = false;
};

// The catalogue holds password hashes: its files are the owner's alone, whatever the umask. create
// makes the file when it is missing, so that SQLite never makes it with its own default mode.
void keepPrivate(const std::string& path, bool create) {
    int fd = open(path.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC | (create ? O_CREAT : 0), 0600);
    if (fd < 0) {
        if (!create && errno == ENOENT) return;
        throw ServiceError("cannot open catalogue " + path + ": " + std::strerror(errno), ServiceError::Kind::Internal);
    }
    int rc = fchmod(fd, 0600);
    int err = errno;
    close(fd);
    if (rc != 0) throw ServiceError("cannot protect " + path + ": " + std::strerror(err), ServiceError::Kind::Internal);
}

}  // namespace

Catalogue::Catalogue(const std::string& path) {
    keepPrivate(path, true);
    if (sqlite3_open_v2(path.c_str(), &db_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
                        nullptr) != SQLITE_OK) {
        std::string msg = db_ ? sqlite3_errmsg(db_) : "out of memory";
        sqlite3_close(db_);
        throw ServiceError("cannot open catalogue " + path + ": " + msg, ServiceError::Kind::Internal);
    }
    sqlite3_busy_timeout(db_, 10000);
    try {
        exec("PRAGMA journal_mode=WAL");
        exec("PRAGMA synchronous=FULL");
        exec(kSchema);
    } catch (...) {
        sqlite3_close(db_);
        throw;
    }
    // SQLite gives its side files the mode of the database; these may predate that mode.
    keepPrivate(path + "-wal", false);
    keepPrivate(path + "-shm", false);
}

Catalogue::~Catalogue() { sqlite3_close(db_); }

void Catalogue::exec(const char* sql) {
    char* err = nullptr;
    if (sqlite3_exec(db_, sql, nullptr, nullptr, &err) != SQLITE_OK) {
        std::string msg = err ? err : sqlite3_errmsg(db_);
        sqlite3_free(err);
        throw ServiceError("catalogue error: " + msg, ServiceError::Kind::Internal);
    }
}

std::optional<CatalogueEntry> Catalogue::find(const std::string& diag, int shot, int sub) {
    Statement s(db_, std::string("SELECT ") + kColumns +
                         " FROM datasets WHERE diagnostics=?1 AND shotno=?2 AND subshotno=?3");
    s.bind(1, diag).bind(2, shot).bind(3, sub);
    if (!s.step()) return std::nullopt;
    return readEntry(s);
}

bool Catalogue::knowsFile(const std::string& relativePath) {
    auto slash = relativePath.rfind('/');
    if (slash == std::string::npos) return false;
    Statement s(db_, "SELECT 1 FROM datasets WHERE directory=?1 AND filename=?2");
    s.bind(1, relativePath.substr(0, slash)).bind(2, relativePath.substr(slash + 1));
    return s.step();
}

std::vector<std::string> Catalogue::names() {
    Statement s(db_, "SELECT DISTINCT diagnostics FROM datasets ORDER BY diagnostics");
    std::vector<std::string> out;
    while (s.step()) out.push_back(s.text(0));
    return out;
}

std::vector<std::pair<std::string, int>> Catalogue::nameCounts() {
    Statement s(db_, "SELECT diagnostics, COUNT(*) FROM datasets GROUP BY diagnostics ORDER BY diagnostics");
    std::vector<std::pair<std::string, int>> out;
    while (s.step()) out.emplace_back(s.text(0), static_cast<int>(s.integer(1)));
    return out;
}

std::vector<std::pair<int, int>> Catalogue::shotCounts(const std::string& diag, long long from, long long to,
                                                       int maxRows) {
    std::string sql = "SELECT shotno, COUNT(*) FROM datasets WHERE shotno BETWEEN ?1 AND ?2";
    if (!diag.empty()) sql += " AND diagnostics=?3";
    sql += " GROUP BY shotno ORDER BY shotno LIMIT ?4";
    Statement s(db_, sql);
    s.bind(1, from).bind(2, to).bind(4, static_cast<long long>(maxRows));
    if (!diag.empty()) s.bind(3, diag);
    std::vector<std::pair<int, int>> out;
    while (s.step()) out.emplace_back(static_cast<int>(s.integer(0)), static_cast<int>(s.integer(1)));
    return out;
}

std::vector<CatalogueEntry> Catalogue::list(const CatalogueFilter& f, int maxRows) {
    std::string sql = std::string("SELECT ") + kColumns + " FROM datasets WHERE 1";
    int next = 1;
    if (!f.names.empty()) {
        sql += " AND diagnostics IN (";
        for (size_t i = 0; i < f.names.size(); ++i) sql += (i ? ",?" : "?") + std::to_string(next++);
        sql += ")";
    }
    int lowerAt = 0, higherAt = 0, subAt = 0, userAt = 0;
    if (f.lower > 0) { sql += " AND shotno>=?" + std::to_string(lowerAt = next++); }
    if (f.higher > 0) { sql += " AND shotno<=?" + std::to_string(higherAt = next++); }
    if (f.subshot > 0) { sql += " AND subshotno=?" + std::to_string(subAt = next++); }
    if (!f.user.empty()) { sql += " AND userid=?" + std::to_string(userAt = next++); }
    int limit = f.limit > 0 && f.limit < maxRows ? f.limit : maxRows;
    sql += " ORDER BY shotno, subshotno, diagnostics LIMIT " + std::to_string(limit);

    Statement s(db_, sql);
    for (size_t i = 0; i < f.names.size(); ++i) s.bind(static_cast<int>(i) + 1, f.names[i]);
    if (lowerAt) s.bind(lowerAt, f.lower);
    if (higherAt) s.bind(higherAt, f.higher);
    if (subAt) s.bind(subAt, f.subshot);
    if (userAt) s.bind(userAt, f.user);
    std::vector<CatalogueEntry> out;
    while (s.step()) out.push_back(readEntry(s));
    return out;
}

std::vector<CatalogueEntry> Catalogue::all() {
    Statement s(db_, std::string("SELECT ") + kColumns + " FROM datasets ORDER BY directory, filename");
    std::vector<CatalogueEntry> out;
    while (s.step()) out.push_back(readEntry(s));
    return out;
}

std::optional<std::string> Catalogue::commit(const CatalogueEntry& e, bool replace) {
    Transaction tx(db_);
    std::optional<std::string> old;
    if (auto existing = find(e.diagnostics, e.shotno, e.subshotno)) {
        std::string what = "data set " + e.diagnostics + " shot " + std::to_string(e.shotno) + " sub-shot " +
                           std::to_string(e.subshotno);
        if (!replace) throw ServiceError(what + " is already registered");
        // Checked again here: another account may have registered it since the session began.
        if (existing->userid != e.userid)
            throw ServiceError(what + " was registered by another account", ServiceError::Kind::Unauthorized);
        old = existing->relativePath();
    }
    Statement s(db_, std::string("INSERT OR REPLACE INTO datasets(") + kColumns +
                         ") VALUES(?1,?2,?3,?4,?5,?6,?7,?8,?9)");
    s.bind(1, e.diagnostics).bind(2, e.shotno).bind(3, e.subshotno).bind(4, e.directory).bind(5, e.filename);
    s.bind(6, e.filedate).bind(7, e.userid).bind(8, e.summary).bind(9, static_cast<long long>(e.filelen));
    s.step();
    tx.commit();
    return old;
}

std::string Catalogue::remove(const std::string& diag, int shot, int sub, const std::string& user) {
    Transaction tx(db_);
    auto existing = find(diag, shot, sub);
    std::string what = "data set " + diag + " shot " + std::to_string(shot) + " sub-shot " + std::to_string(sub);
    if (!existing) throw ServiceError("unknown " + what, ServiceError::Kind::NotFound);
    if (existing->userid != user)
        throw ServiceError(what + " was registered by another account", ServiceError::Kind::Unauthorized);
    Statement s(db_, "DELETE FROM datasets WHERE diagnostics=?1 AND shotno=?2 AND subshotno=?3");
    s.bind(1, diag).bind(2, shot).bind(3, sub);
    s.step();
    tx.commit();
    return existing->relativePath();
}

std::optional<StoredAccount> Catalogue::account(const std::string& name) {
    Statement s(db_, "SELECT name, salt, hash, iterations FROM accounts WHERE name=?1");
    s.bind(1, name);
    if (!s.step()) return std::nullopt;
    return StoredAccount{s.text(0), s.text(1), s.text(2), static_cast<int>(s.integer(3))};
}

void Catalogue::storeAccount(const StoredAccount& a) {
    Statement s(db_, "INSERT OR REPLACE INTO accounts(name, salt, hash, iterations) VALUES(?1,?2,?3,?4)");
    s.bind(1, a.name).bindBlob(2, a.salt).bindBlob(3, a.hash).bind(4, a.iterations);
    s.step();
}
