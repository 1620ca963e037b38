// Tests of loadHash, getValue, saveHash and escape.
#include <map>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "TempDir.h"
#include "keyvalue.h"

using Table = std::map<std::string, std::string>;

TEST(KeyValue, LoadHashSplitsTrimsAndDropsKeyBackslashesAndFillsTheProcessTable) {
    TempDir dir;
    writeFile(dir.file("kv"),
              "a\\b = 1 # c\n"
              "# comment = no\n"
              "key#x=1\n"
              "[tserver]\n"
              "\n"
              "  spaced\t=  v=w  \r\n"
              "dup=1\n"
              "dup=2\n"
              "=novalue\n"
              "last=end");
    Table table{{"kept", "old"}};
    EXPECT_TRUE(loadHash(dir.file("kv").c_str(), table));
    EXPECT_EQ(table, (Table{{"ab", "1 # c"}, {"key", ""}, {"[tserver]", ""}, {"spaced", "v=w"},
                            {"dup", "2"}, {"last", "end"}, {"kept", "old"}}));
    // Without a table of its own, the process table takes the keys, for getValue.
    writeFile(dir.file("process"), "host = example\n");
    EXPECT_EQ(getValue("host"), nullptr);
    EXPECT_TRUE(loadHash(dir.file("process").c_str()));
    EXPECT_STREQ(getValue("host"), "example");
    EXPECT_EQ(getValue("absent"), nullptr);
}

TEST(KeyValue, LongLinesAndMissingFilesEndTheReading) {
    TempDir dir;
    writeFile(dir.file("kv"), "first=1\n" + std::string(1023, 'k') + "\nlong=" +
                                  std::string(2000, 'x') + "\nafter=1\n");
    Table table;
    EXPECT_TRUE(loadHash(dir.file("kv").c_str(), table));
    EXPECT_EQ(table.size(), 2u);
    EXPECT_EQ(table.count(std::string(1023, 'k')), 1u);
    EXPECT_EQ(table.count("after"), 0u);
    EXPECT_TRUE(loadHash(dir.file("missing").c_str(), table));
    EXPECT_TRUE(loadHash(dir.path().c_str(), table));
    EXPECT_EQ(table.size(), 2u);
}

TEST(KeyValue, SaveHashSortsAndEscapesEqualsInKeys) {
    TempDir dir;
    Table table{{"b", "2"}, {"a=b", "v"}, {"A", "x=y"}};
    ASSERT_TRUE(saveHash(dir.file("kv").c_str(), table));
    EXPECT_EQ(readFile(dir.file("kv")), "A=x=y\na\\=b=v\nb=2\n");
    Table back;
    loadHash(dir.file("kv").c_str(), back);
    EXPECT_EQ(back, (Table{{"A", "x=y"}, {"a", "b=v"}, {"b", "2"}}));  // '=' in a key does not survive
    EXPECT_FALSE(saveHash(dir.file("no/dir/kv").c_str(), table));
}

TEST(KeyValue, EscapeDoublesQuotesExceptAtStartOrAfterAQuote) {
    for (auto [text, escaped] : {std::pair{"it's", "it''s"}, {"'a", "\\'a"}, {"a''b", "a''\\'b"},
                                 {"a\\b\\", "a\\\\b\\\\"}, {"\\'", "\\\\''"}, {"", ""}})
        EXPECT_EQ(escape(text), escaped) << text;
}
