// The store on its own: only data/<dir>/<file> paths inside the store are served, and the operator's
// check of the store against its catalogue.
#include <filesystem>
#include <set>
#include <sstream>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "Catalogue.h"
#include "ServerProcess.h"
#include "Store.h"
#include "StoreCheck.h"
#include "TempDir.h"

TEST(Store, RelativeAcceptsExactlyDataDirFileInsideTheStore) {
    TempDir dir;
    Store store(dir.file("store"));
    const std::string root = store.root();
    const std::pair<std::string, std::string> cases[] = {
        {root + "/data/ab/f.zip", "data/ab/f.zip"},
        {root + "/data/../catalogue.sqlite", ""},  // three parts, but out of data/
        {root + "/data/ab/..", ""},
        {root + "/data/./f.zip", ""},
        {root + "/data/ab/.", ""},
        {root + "/data//f.zip", ""},
        {root + "/data/ab/", ""},
        {root + "/data/ab", ""},
        {root + "/data/ab/c/f.zip", ""},
        {root + "/staging/ab/f.zip", ""},
        {root + "/catalogue.sqlite", ""},
        {root + "x/data/ab/f.zip", ""},
        {"data/ab/f.zip", ""},
        {"/etc/passwd", ""},
        {"", ""},
    };
    for (const auto& [path, relative] : cases) EXPECT_EQ(store.relative(path), relative) << path;
}

TEST(Store, CheckFindsMissingFilesWrongSizesAndStraysAndRepairsWhatItCan) {
    TempDir dir;
    Store store(dir.file("store"));
    Catalogue catalogue(store.cataloguePath());
    auto add = [&](const std::string& name) {
        writeFile(store.stagingPath(name), "abc");
        CatalogueEntry e;
        e.diagnostics = name;
        e.shotno = e.subshotno = 1;
        e.filename = name + ".zip";
        e.userid = "alice";
        e.filelen = 3;
        e.directory = store.install(store.stagingPath(name), e.filename);
        catalogue.commit(e, false);
        return e.relativePath();
    };
    const std::string kept = add("kept"), gone = add("gone"), grown = add("grown");
    std::filesystem::remove(store.absolute(gone));
    writeFile(store.absolute(grown), "abcd");
    std::filesystem::create_directory(store.absolute("data/0123"));
    writeFile(store.absolute("data/0123/lost.zip"), "x");
    writeFile(store.absolute(kept.substr(0, kept.rfind('/')) + "/extra"), "x");
    writeFile(store.stagingPath("left"), "x");

    std::ostringstream report;
    EXPECT_EQ(checkStore(store, catalogue, false, report), kStoreProblems);
    std::multiset<std::string> lines;
    std::istringstream in(report.str());
    for (std::string line; std::getline(in, line);) lines.insert(line);
    EXPECT_EQ(lines, (std::multiset<std::string>{"missing " + gone + " (data=gone shot=1 sub=1)",
                                                 "size " + grown + " (data=grown shot=1 sub=1): 4 bytes, catalogue says 3",
                                                 "stray data/0123/", "stray " + kept.substr(0, kept.rfind('/')) + "/extra",
                                                 "stray staging/left.part",
                                                 "3 entries checked: 1 missing, 1 of the wrong size, 3 strays"}));
    EXPECT_EQ(ServerProcess::runToEnd(ANADATA_SERVER_PROGRAM, {"--store", store.root(), "--check-store"}, ""),
              kStoreProblems);
    EXPECT_TRUE(std::filesystem::exists(store.absolute("data/0123/lost.zip")));  // a check changes nothing

    std::ostringstream repaired;
    EXPECT_EQ(checkStore(store, catalogue, true, repaired), kStoreProblems);  // the wrong size stays
    EXPECT_FALSE(catalogue.find("gone", 1, 1));
    EXPECT_TRUE(store.strays(catalogue).empty());
    EXPECT_EQ(readFile(store.absolute(kept)), "abc");
    EXPECT_EQ(readFile(store.absolute(grown)), "abcd");
    std::filesystem::remove(store.absolute(grown));
    EXPECT_EQ(ServerProcess::runToEnd(ANADATA_SERVER_PROGRAM,
                                      {"--store", store.root(), "--check-store", "--repair"}, ""),
              kStoreConsistent);
}
