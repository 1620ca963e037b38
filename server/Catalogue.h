// The SQLite catalogue of a store: registered data files and accounts; one connection per thread.
#ifndef ANADATA_SERVER_CATALOGUE_H
#define ANADATA_SERVER_CATALOGUE_H

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "CatalogueEntry.h"

struct sqlite3;

class Catalogue {
public:
    // Opens (creating if needed) the database in WAL mode with a busy timeout. Throws ServiceError.
    explicit Catalogue(const std::string& path);
    ~Catalogue();
    Catalogue(const Catalogue&) = delete;
    Catalogue& operator=(const Catalogue&) = delete;

    std::optional<CatalogueEntry> find(const std::string& diag, int shot, int sub);
    bool knowsFile(const std::string& relativePath);
    std::vector<std::string> names();
    std::vector<std::pair<std::string, int>> nameCounts();
    // Shots in [from, to] with entries (of diag, or of all data sets when diag is empty) and their counts.
    std::vector<std::pair<int, int>> shotCounts(const std::string& diag, long long from, long long to, int maxRows);
    std::vector<CatalogueEntry> list(const CatalogueFilter& filter, int maxRows);
    std::vector<CatalogueEntry> all();

    // Adds the entry in one transaction. An existing entry of the same key is replaced when replace is
    // set (its relative path is returned, for the caller to remove) and refused otherwise.
    std::optional<std::string> commit(const CatalogueEntry& entry, bool replace);
    // Removes the entry if it belongs to user; returns its relative path. Throws ServiceError otherwise.
    std::string remove(const std::string& diag, int shot, int sub, const std::string& user);

    std::optional<StoredAccount> account(const std::string& name);
    void storeAccount(const StoredAccount& account);

private:
    void exec(const char* sql);
    sqlite3* db_ = nullptr;
};

#endif
