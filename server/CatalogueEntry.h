// One registered data file as the catalogue keeps it.
#ifndef ANADATA_SERVER_CATALOGUEENTRY_H
#define ANADATA_SERVER_CATALOGUEENTRY_H

#include <cstdint>
#include <string>
#include <vector>

struct CatalogueEntry {
    std::string diagnostics;
    int shotno = 0;
    int subshotno = 0;
    std::string directory;  // relative to the store, e.g. "data/0123abcd..."
    std::string filename;
    std::string filedate;
    std::string userid;
    std::string summary;
    std::int64_t filelen = 0;

    std::string relativePath() const { return directory + "/" + filename; }
};

// What a search selects; zero or empty fields do not filter.
struct CatalogueFilter {
    std::vector<std::string> names;
    int lower = 0;
    int higher = 0;
    int subshot = 0;
    std::string user;
    int limit = 0;
};

struct StoredAccount {
    std::string name;
    std::string salt;
    std::string hash;
    int iterations = 0;
};

#endif
