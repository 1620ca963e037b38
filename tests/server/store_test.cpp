// The store's path check on its own: only data/<dir>/<file> paths inside the store are served.
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "Store.h"
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
