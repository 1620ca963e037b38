// Every operation of anadata-server over HTTP, through the generated client stubs.
#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ServiceFixture.h"

namespace {

char* s(const char* text) { return const_cast<char*>(text); }

std::string baseName(const std::string& path) { return path.substr(path.rfind('/') + 1); }

using OperationsTest = ServiceFixture;

TEST_F(OperationsTest, UploadedBytesComeBackExactlyInBlocks) {
    auto c = client();
    std::string bytes = pattern(819200 * 2 + 17);
    ASSERT_EQ(c->upload("alice", "wonder", ServiceClient::record(s("ece"), 1234, 2, 0, s("ece@1234-2.dat.zip")), bytes), 0)
        << c->fault();
    std::string path = c->pathOf("ece", 1234, 2);
    EXPECT_EQ(baseName(path), "ece@1234-2.dat.zip");
    std::string back;
    ASSERT_EQ(c->download(s(path.c_str()), back), 0) << c->fault();
    EXPECT_TRUE(back == bytes);

    // A block past the end is empty; a requested size above the cap is served capped, not refused.
    ns__Binary bin;
    ASSERT_EQ(soap_call_ns__getData(c->soap(), c->url(), nullptr, s(path.c_str()), static_cast<int>(bytes.size()), 10, bin), 0);
    EXPECT_EQ(bin.__size, 0);
    ASSERT_EQ(soap_call_ns__getData(c->soap(), c->url(), nullptr, s(path.c_str()), 0, 0x7fffffff, bin), 0);
    EXPECT_EQ(bin.__size, 4 << 20 < static_cast<int>(bytes.size()) ? 4 << 20 : static_cast<int>(bytes.size()));
}

TEST_F(OperationsTest, PutDataAnswersBytesReceivedAndEmptyFileNeedsNoBlock) {
    auto c = client();
    char* session = nullptr;
    ns__TavolenInfo info = ServiceClient::record(s("d"), 5, 1, 6);
    ASSERT_EQ(soap_call_ns__beginTavolenDataRegistration(c->soap(), c->url(), nullptr, s("alice"), s("wonder"), true,
                                                         info, session), 0);
    ASSERT_EQ(std::string(session).size(), 32u);
    unsigned char block[3] = {'a', 0, 'c'};
    ns__Binary bin;
    bin.__ptr = block;
    bin.__size = 3;
    int ret = -1;
    ASSERT_EQ(soap_call_ns__putData(c->soap(), c->url(), nullptr, session, bin, ret), 0);
    EXPECT_EQ(ret, 3);
    ASSERT_EQ(soap_call_ns__putData(c->soap(), c->url(), nullptr, session, bin, ret), 0);
    EXPECT_EQ(ret, 6);
    ASSERT_EQ(soap_call_ns__endTavolenDataRegistration(c->soap(), c->url(), nullptr, session, ret), 0);
    EXPECT_EQ(ret, 0);

    ASSERT_EQ(c->upload("alice", "wonder", ServiceClient::record(s("empty"), 5, 1, 0), ""), 0) << c->fault();
    std::string back = "x";
    ASSERT_EQ(c->download(s(c->pathOf("empty", 5, 1).c_str()), back), 0);
    EXPECT_EQ(back, "");
}

TEST_F(OperationsTest, StoredNameAlwaysEndsInZipAndDefaultsFromTheKey) {
    auto c = client();
    ASSERT_EQ(c->upload("alice", "wonder", ServiceClient::record(s("a"), 7, 3, 0, s("plain.dat")), "x"), 0);
    EXPECT_EQ(baseName(c->pathOf("a", 7, 3)), "plain.dat.zip");
    ASSERT_EQ(c->upload("alice", "wonder", ServiceClient::record(s("b"), 7, 3, 0), "x"), 0);
    EXPECT_EQ(baseName(c->pathOf("b", 7, 3)), "b@7-3.dat.zip");
}

TEST_F(OperationsTest, SubshotZeroStandsForSubshotOne) {
    auto c = client();
    ASSERT_EQ(c->upload("alice", "wonder", ServiceClient::record(s("z"), 9, 0, 0), "zero"), 0) << c->fault();
    EXPECT_EQ(c->pathOf("z", 9, 0), c->pathOf("z", 9, 1));
    auto rows = c->list({"z"}, 0, 0, 0, nullptr, 0);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].subshotno, 1);
}

TEST_F(OperationsTest, ReplaceDecidesWhetherAnEntryMayBeOverwritten) {
    auto c = client();
    ASSERT_EQ(c->upload("alice", "wonder", ServiceClient::record(s("r"), 3, 1, 0), "old"), 0);
    std::string oldPath = c->pathOf("r", 3, 1);
    EXPECT_NE(c->upload("alice", "wonder", ServiceClient::record(s("r"), 3, 1, 0), "new", 819200, false), 0);
    EXPECT_EQ(c->fault(), "data set r shot 3 sub-shot 1 is already registered");
    ASSERT_EQ(c->upload("alice", "wonder", ServiceClient::record(s("r"), 3, 1, 0), "newer"), 0);
    std::string back;
    ASSERT_EQ(c->download(s(c->pathOf("r", 3, 1).c_str()), back), 0);
    EXPECT_EQ(back, "newer");
    EXPECT_NE(c->download(s(oldPath.c_str()), back), 0);
    EXPECT_EQ(c->fault(), "unknown path: " + oldPath);
}

class CatalogueTest : public ServiceFixture {
protected:
    void SetUp() override {
        ServiceFixture::SetUp();
        auto c = client();
        ASSERT_EQ(c->upload("alice", "wonder", ServiceClient::record(s("A"), 10, 1, 0), "a101"), 0) << c->fault();
        ASSERT_EQ(c->upload("alice", "wonder", ServiceClient::record(s("A"), 11, 1, 0), "a111"), 0);
        ASSERT_EQ(c->upload("bob", "builder", ServiceClient::record(s("A"), 11, 2, 0), "a112"), 0);
        ASSERT_EQ(c->upload("bob", "builder", ServiceClient::record(s("B"), 11, 1, 0), "b111"), 0);
        ASSERT_EQ(c->upload("bob", "builder", ServiceClient::record(s("B"), 20, 1, 0), "b201"), 0);
    }

    static std::vector<std::string> keys(const std::vector<ns__TavolenInfo>& rows) {
        std::vector<std::string> out;
        for (const auto& r : rows)
            out.push_back(std::string(r.diagnostics) + "/" + std::to_string(r.shotno) + "/" + std::to_string(r.subshotno));
        return out;
    }
};

TEST_F(CatalogueTest, NamesAndCountsPerName) {
    auto c = client();
    ns__StringArray names;
    ASSERT_EQ(soap_call_ns__getDiagnostics(c->soap(), c->url(), nullptr, names), 0);
    ASSERT_EQ(names.__size, 2);
    EXPECT_STREQ(names.__ptr[0], "A");
    EXPECT_STREQ(names.__ptr[1], "B");
    ns__DiagEntryArray entries;
    ASSERT_EQ(soap_call_ns__getDiagEntry(c->soap(), c->url(), nullptr, entries), 0);
    ASSERT_EQ(entries.__size, 2);
    EXPECT_STREQ(entries.__ptr[0].diagnostics, "A");
    EXPECT_EQ(entries.__ptr[0].sum, 3);
    EXPECT_EQ(entries.__ptr[1].sum, 2);
}

TEST_F(CatalogueTest, NumEntryCountsEntriesPerShotFromShotToShotPlusRange) {
    auto c = client();
    ns__NumEntryArray ary;
    ASSERT_EQ(soap_call_ns__getNumEntry(c->soap(), c->url(), nullptr, s("A"), 10, 1, ary), 0);
    ASSERT_EQ(ary.__size, 2);
    EXPECT_EQ(ary.__ptr[0].no, 10);
    EXPECT_EQ(ary.__ptr[0].sum, 1);
    EXPECT_EQ(ary.__ptr[1].no, 11);
    EXPECT_EQ(ary.__ptr[1].sum, 2);
    ASSERT_EQ(soap_call_ns__getNumEntry(c->soap(), c->url(), nullptr, s(""), 11, 0, ary), 0);
    ASSERT_EQ(ary.__size, 1);
    EXPECT_EQ(ary.__ptr[0].sum, 3);  // every data set when no name is given
    ASSERT_EQ(soap_call_ns__getNumEntry(c->soap(), c->url(), nullptr, s("B"), 0x7fffffff, 0x7fffffff, ary), 0);
    EXPECT_EQ(ary.__size, 0);
    EXPECT_NE(soap_call_ns__getNumEntry(c->soap(), c->url(), nullptr, s("A"), 10, -1, ary), 0);
    EXPECT_EQ(c->fault(), "range -1 is negative");
}

TEST_F(CatalogueTest, TavolenInfoOfOneDataSetInAShotRange) {
    auto c = client();
    ns__TavolenInfoArray ary;
    ASSERT_EQ(soap_call_ns__getTavolenInfo(c->soap(), c->url(), nullptr, s("A"), 11, 11, ary), 0);
    ASSERT_EQ(ary.__size, 2);
    const ns__TavolenInfo& r = ary.__ptr[1];
    EXPECT_STREQ(r.userid, "bob");
    EXPECT_EQ(r.filelen, 4);
    EXPECT_EQ(std::string(r.filedate).size(), 19u);
    EXPECT_EQ(std::string(r.directory) + "/" + r.filename, c->pathOf("A", 11, 2));
    ASSERT_EQ(soap_call_ns__getTavolenInfo(c->soap(), c->url(), nullptr, s("A"), 0, 0, ary), 0);
    EXPECT_EQ(ary.__size, 3);  // zero bounds do not limit
}

TEST_F(CatalogueTest, ListFiltersByNamesShotsSubshotUserAndLimit) {
    auto c = client();
    using V = std::vector<std::string>;
    EXPECT_EQ(keys(c->list({}, 0, 0, 0, nullptr, 0)), (V{"A/10/1", "A/11/1", "B/11/1", "A/11/2", "B/20/1"}));
    EXPECT_EQ(keys(c->list({"B"}, 0, 0, 0, "", 0)), (V{"B/11/1", "B/20/1"}));
    EXPECT_EQ(keys(c->list({"A", "B"}, 11, 19, 0, nullptr, 0)), (V{"A/11/1", "B/11/1", "A/11/2"}));
    EXPECT_EQ(keys(c->list({}, 0, 0, 2, nullptr, 0)), (V{"A/11/2"}));
    EXPECT_EQ(keys(c->list({}, 0, 0, 0, "alice", 0)), (V{"A/10/1", "A/11/1"}));
    EXPECT_EQ(keys(c->list({}, 0, 0, 0, nullptr, 2)), (V{"A/10/1", "A/11/1"}));
    EXPECT_TRUE(c->list({"nothing"}, 0, 0, 0, nullptr, 0).empty());
    int status = 0;
    c->list({}, 0, 0, -1, nullptr, 0, &status);
    EXPECT_NE(status, 0);
    EXPECT_EQ(c->fault(), "sub-shot number -1 is negative");
}

TEST_F(CatalogueTest, OnlyTheRegisteringAccountDeletes) {
    auto c = client();
    std::string path = c->pathOf("A", 10, 1);
    int ret = -1;
    EXPECT_NE(soap_call_ns__delTavolenData(c->soap(), c->url(), nullptr, s("bob"), s("builder"), s("A"), 10, 1, ret), 0);
    EXPECT_EQ(c->fault(), "data set A shot 10 sub-shot 1 was registered by another account");
    EXPECT_NE(soap_call_ns__delTavolenData(c->soap(), c->url(), nullptr, s("alice"), s("bad"), s("A"), 10, 1, ret), 0);
    EXPECT_EQ(c->fault(), "bad user name or password");
    ASSERT_EQ(soap_call_ns__delTavolenData(c->soap(), c->url(), nullptr, s("alice"), s("wonder"), s("A"), 10, 0, ret), 0);
    EXPECT_EQ(ret, 0);
    EXPECT_EQ(c->pathOf("A", 10, 1), "");
    EXPECT_EQ(c->fault(), "unknown data set A shot 10 sub-shot 1");
    std::string back;
    EXPECT_NE(c->download(s(path.c_str()), back), 0);
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_NE(soap_call_ns__delTavolenData(c->soap(), c->url(), nullptr, s("alice"), s("wonder"), s("A"), 10, 1, ret), 0);
    EXPECT_EQ(c->fault(), "unknown data set A shot 10 sub-shot 1");
}

TEST_F(OperationsTest, ChangePasswordReplacesTheOldOne) {
    auto c = client();
    int ret = -1;
    EXPECT_NE(soap_call_ns__changePassword(c->soap(), c->url(), nullptr, s("alice"), s("nope"), s("x"), ret), 0);
    EXPECT_EQ(c->fault(), "bad user name or password");
    ASSERT_EQ(soap_call_ns__changePassword(c->soap(), c->url(), nullptr, s("alice"), s("wonder"), s("land"), ret), 0);
    EXPECT_EQ(ret, 0);
    EXPECT_NE(c->upload("alice", "wonder", ServiceClient::record(s("p"), 1, 1, 0), "x"), 0);
    EXPECT_EQ(c->fault(), "bad user name or password");
    EXPECT_EQ(c->upload("alice", "land", ServiceClient::record(s("p"), 1, 1, 0), "x"), 0) << c->fault();
    EXPECT_NE(soap_call_ns__changePassword(c->soap(), c->url(), nullptr, s("alice"), s("land"), s(""), ret), 0);
    EXPECT_EQ(c->fault(), "password must not be empty");
}

TEST_F(OperationsTest, ExperimentLogColumnsRowsAndValues) {
    auto c = client();
    ns__StringArray names;
    ASSERT_EQ(soap_call_ns__getExplogColumnNames(c->soap(), c->url(), nullptr, names), 0);
    ASSERT_EQ(names.__size, 4);
    EXPECT_STREQ(names.__ptr[0], "shot");
    EXPECT_STREQ(names.__ptr[3], "comment");
    ns__StringArray values;
    ASSERT_EQ(soap_call_ns__getExplogColumnValues(c->soap(), c->url(), nullptr, 100, values), 0);
    ASSERT_EQ(values.__size, 4);
    EXPECT_STREQ(values.__ptr[0], "100");
    EXPECT_STREQ(values.__ptr[3], "first, with comma");
    char* value = nullptr;
    ASSERT_EQ(soap_call_ns__getExplogColumnValue(c->soap(), c->url(), nullptr, 101, s("comment"), value), 0);
    EXPECT_STREQ(value, "quoted \"word\"");
    ASSERT_EQ(soap_call_ns__getExplogColumnValue(c->soap(), c->url(), nullptr, 101, s("gas"), value), 0);
    EXPECT_STREQ(value, "He");
    EXPECT_NE(soap_call_ns__getExplogColumnValue(c->soap(), c->url(), nullptr, 101, s("temperature"), value), 0);
    EXPECT_EQ(c->fault(), "no such column: temperature");
    EXPECT_NE(soap_call_ns__getExplogColumnValues(c->soap(), c->url(), nullptr, 102, values), 0);
    EXPECT_EQ(c->fault(), "no experiment-log entry for shot 102");
}

TEST_F(OperationsTest, AbortDropsTheSessionAndItsBytes) {
    auto c = client();
    char* session = nullptr;
    ASSERT_EQ(soap_call_ns__beginTavolenDataRegistration(c->soap(), c->url(), nullptr, s("alice"), s("wonder"), true,
                                                         ServiceClient::record(s("ab"), 1, 1, 1), session), 0);
    EXPECT_EQ(stagingFiles(), 1u);
    int ret = -1;
    ASSERT_EQ(soap_call_ns__abortTavolenDataRegistration(c->soap(), c->url(), nullptr, session, ret), 0);
    EXPECT_EQ(ret, 0);
    EXPECT_EQ(stagingFiles(), 0u);
    EXPECT_NE(soap_call_ns__endTavolenDataRegistration(c->soap(), c->url(), nullptr, session, ret), 0);
    EXPECT_EQ(c->fault(), "unknown or expired upload session");
    EXPECT_EQ(c->pathOf("ab", 1, 1), "");
}

}  // namespace
