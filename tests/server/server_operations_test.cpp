// Every operation of anadata-server over HTTP, through the generated client stubs.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ServiceFixture.h"

namespace {

using V = std::vector<std::string>;

std::string baseName(const std::string& path) { return path.substr(path.rfind('/') + 1); }

using OperationsTest = ServiceFixture;

TEST_F(OperationsTest, UploadedBytesComeBackExactlyInBlocks) {
    auto c = client();
    std::string bytes = pattern(819200 * 2 + 17);
    ASSERT_EQ(c->upload(dataSet("ece", 1234, 2), bytes), 0) << c->fault();
    std::string path = c->pathOf("ece", 1234, 2), back;
    ASSERT_EQ(c->download(path, back), 0) << c->fault();
    EXPECT_TRUE(back == bytes);

    // A block past the end is empty; a requested size above the cap is served capped, not refused.
    ns__Binary bin, capped;
    ASSERT_EQ(c->call(soap_call_ns__getData, s(path), static_cast<int>(bytes.size()), 10, bin), 0);
    EXPECT_EQ(bin.__size, 0);
    ASSERT_EQ(c->call(soap_call_ns__getData, s(path), 0, 0x7fffffff, capped), 0);
    EXPECT_EQ(capped.__size, 4 << 20 < static_cast<int>(bytes.size()) ? 4 << 20 : static_cast<int>(bytes.size()));
}

TEST_F(OperationsTest, PutDataAnswersBytesReceivedAndEmptyFileNeedsNoBlock) {
    auto c = client();
    std::string session;
    ASSERT_EQ(c->begin(dataSet("d", 5, 1, 6), session), 0);
    ASSERT_EQ(session.size(), 32u);
    int first = -1, second = -1, ret = -1;
    ASSERT_EQ(c->put(session, std::string("a\0c", 3), &first) + c->put(session, std::string("a\0c", 3), &second), 0);
    ASSERT_EQ(c->call(soap_call_ns__endTavolenDataRegistration, s(session), ret), 0);
    EXPECT_EQ(first * 100 + second * 10 + ret, 360);

    ASSERT_EQ(c->upload(dataSet("empty", 5, 1), ""), 0) << c->fault();
    std::string back = "x";
    ASSERT_EQ(c->download(c->pathOf("empty", 5, 1), back), 0);
    EXPECT_EQ(back, "");
}

TEST_F(OperationsTest, StoredNameAlwaysEndsInZipDefaultsFromTheKeyAndSubshotZeroIsOne) {
    auto c = client();
    ASSERT_EQ(c->upload(dataSet("a", 7, 3, 0, "plain.dat"), "x") + c->upload(dataSet("b", 7, 3), "x"), 0);
    EXPECT_EQ(baseName(c->pathOf("a", 7, 3)) + " " + baseName(c->pathOf("b", 7, 3)), "plain.dat.zip b@7-3.dat.zip");
    ASSERT_EQ(c->upload(dataSet("z", 9, 0), "zero"), 0) << c->fault();
    auto rows = c->list({"z"}, 0, 0, 0, nullptr, 0);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].subshotno, 1);
}

TEST_F(OperationsTest, ReplaceDecidesWhetherAnEntryMayBeOverwritten) {
    auto c = client();
    ASSERT_EQ(c->upload(dataSet("r", 3, 1), "old"), 0);
    std::string oldPath = c->pathOf("r", 3, 1), back;
    EXPECT_EQ(c->refused(c->upload("alice", "wonder", dataSet("r", 3, 1), "new", 819200, false)),
              "data set r shot 3 sub-shot 1 is already registered");
    ASSERT_EQ(c->upload(dataSet("r", 3, 1), "newer"), 0);
    ASSERT_EQ(c->download(c->pathOf("r", 3, 1), back), 0);
    EXPECT_EQ(back, "newer");
    EXPECT_EQ(c->refused(c->download(oldPath, back)), "unknown path: " + oldPath);
}

class CatalogueTest : public ServiceFixture {
protected:
    void SetUp() override {
        ServiceFixture::SetUp();
        auto c = client();
        ASSERT_EQ(c->upload(dataSet("A", 10, 1), "a101") + c->upload(dataSet("A", 11, 1), "a111") +
                      c->upload("bob", "builder", dataSet("A", 11, 2), "a112") +
                      c->upload("bob", "builder", dataSet("B", 11, 1), "b111") +
                      c->upload("bob", "builder", dataSet("B", 20, 1), "b201"),
                  0)
            << c->fault();
    }

    static V keys(const std::vector<ns__TavolenInfo>& rows) {
        V out;
        for (const auto& r : rows)
            out.push_back(std::string(r.diagnostics) + "/" + std::to_string(r.shotno) + "/" + std::to_string(r.subshotno));
        return out;
    }
    // "no:sum" for each row of a count list.
    static V counts(const ns__NumEntryArray& ary) {
        V out;
        for (int i = 0; i < ary.__size; ++i) out.push_back(std::to_string(ary.__ptr[i].no) + ":" + std::to_string(ary.__ptr[i].sum));
        return out;
    }
};

TEST_F(CatalogueTest, NamesAndCountsPerNameAndShot) {
    auto c = client();
    ns__StringArray names;
    ASSERT_EQ(c->call(soap_call_ns__getDiagnostics, names), 0);
    EXPECT_EQ(strings(names), (V{"A", "B"}));
    ns__DiagEntryArray entries;
    ASSERT_EQ(c->call(soap_call_ns__getDiagEntry, entries), 0);
    ASSERT_EQ(entries.__size, 2);
    EXPECT_EQ(entries.__ptr[0].diagnostics + std::to_string(entries.__ptr[0].sum) + std::to_string(entries.__ptr[1].sum),
              "A32");

    // Entries per shot from shot to shot + range; every data set when no name is given.
    ns__NumEntryArray ary;
    ASSERT_EQ(c->call(soap_call_ns__getNumEntry, s("A"), 10, 1, ary), 0);
    EXPECT_EQ(counts(ary), (V{"10:1", "11:2"}));
    ASSERT_EQ(c->call(soap_call_ns__getNumEntry, s(""), 11, 0, ary), 0);
    EXPECT_EQ(counts(ary), (V{"11:3"}));
    ASSERT_EQ(c->call(soap_call_ns__getNumEntry, s("B"), 0x7fffffff, 0x7fffffff, ary), 0);
    EXPECT_EQ(ary.__size, 0);
    EXPECT_EQ(c->refused(c->call(soap_call_ns__getNumEntry, s("A"), 10, -1, ary)), "range -1 is negative");
}

TEST_F(CatalogueTest, TavolenInfoOfOneDataSetInAShotRange) {
    auto c = client();
    ns__TavolenInfoArray ary;
    ASSERT_EQ(c->call(soap_call_ns__getTavolenInfo, s("A"), 11, 11, ary), 0);
    ASSERT_EQ(ary.__size, 2);
    const ns__TavolenInfo& r = ary.__ptr[1];
    EXPECT_EQ(r.userid + std::string(" ") + std::to_string(r.filelen), "bob 4");
    EXPECT_EQ(std::string(r.filedate).size(), 19u);
    EXPECT_EQ(std::string(r.directory) + "/" + r.filename, c->pathOf("A", 11, 2));
    ASSERT_EQ(c->call(soap_call_ns__getTavolenInfo, s("A"), 0, 0, ary), 0);
    EXPECT_EQ(ary.__size, 3);  // zero bounds do not limit
}

TEST_F(CatalogueTest, ListFiltersByNamesShotsSubshotUserAndLimit) {
    auto c = client();
    EXPECT_EQ(keys(c->list({}, 0, 0, 0, nullptr, 0)), (V{"A/10/1", "A/11/1", "B/11/1", "A/11/2", "B/20/1"}));
    EXPECT_EQ(keys(c->list({"B"}, 0, 0, 0, "", 0)), (V{"B/11/1", "B/20/1"}));
    EXPECT_EQ(keys(c->list({"A", "B"}, 11, 19, 0, nullptr, 0)), (V{"A/11/1", "B/11/1", "A/11/2"}));
    EXPECT_EQ(keys(c->list({}, 0, 0, 2, nullptr, 0)), (V{"A/11/2"}));
    EXPECT_EQ(keys(c->list({}, 0, 0, 0, "alice", 0)), (V{"A/10/1", "A/11/1"}));
    EXPECT_EQ(keys(c->list({}, 0, 0, 0, nullptr, 2)), (V{"A/10/1", "A/11/1"}));
    EXPECT_TRUE(c->list({"nothing"}, 0, 0, 0, nullptr, 0).empty());
    int status = 0;
    c->list({}, 0, 0, -1, nullptr, 0, &status);
    EXPECT_EQ(c->refused(status), "sub-shot number -1 is negative");
}

TEST_F(CatalogueTest, OnlyTheRegisteringAccountDeletesOrReplaces) {
    auto c = client();
    std::string path = c->pathOf("A", 10, 1), back, session;
    int ret = -1;
    EXPECT_EQ(c->refused(c->begin(dataSet("A", 10, 1, 3), session, "bob", "builder", true)),
              "data set A shot 10 sub-shot 1 was registered by another account");
    EXPECT_EQ(c->faultCode(), "SOAP-ENV:Client.Unauthorized");
    EXPECT_EQ(stagingFiles(), 0u);
    // A replacement begun before another account registered the entry is refused when it ends.
    ASSERT_EQ(c->begin(dataSet("late", 1, 1, 1), session, "bob", "builder", true), 0);
    ASSERT_EQ(c->upload(dataSet("late", 1, 1), "a"), 0);
    ASSERT_EQ(c->put(session, "b"), 0);
    EXPECT_EQ(c->refused(c->end(session)), "data set late shot 1 sub-shot 1 was registered by another account");
    EXPECT_EQ(stagingFiles(), 0u);
    ASSERT_EQ(c->download(c->pathOf("late", 1, 1), back), 0);
    EXPECT_EQ(back, "a");

    const struct {
        const char *user, *pass;
        int sub;
        const char* fault;
    } cases[] = {{"bob", "builder", 1, "data set A shot 10 sub-shot 1 was registered by another account"},
                 {"alice", "wonder", 0, ""},  // sub-shot 0 is 1
                 {"alice", "wonder", 1, "unknown data set A shot 10 sub-shot 1"}};
    for (const auto& k : cases) {
        EXPECT_EQ(c->call(soap_call_ns__delTavolenData, s(k.user), s(k.pass), s("A"), 10, k.sub, ret) != 0, *k.fault != 0);
        EXPECT_EQ(c->fault(), k.fault);
    }
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(OperationsTest, ChangePasswordReplacesTheOldOne) {
    auto c = client();
    int ret = -1;
    auto change = [&](const char* old, const char* now) {
        return c->call(soap_call_ns__changePassword, s("alice"), s(old), s(now), ret);
    };
    ASSERT_EQ(change("wonder", "land"), 0);
    EXPECT_EQ(ret, 0);
    EXPECT_EQ(c->refused(c->upload(dataSet("p", 1, 1), "x")), "bad user name or password");
    EXPECT_EQ(c->upload("alice", "land", dataSet("p", 1, 1), "x"), 0) << c->fault();
    EXPECT_EQ(c->refused(change("land", "")), "password must not be empty");
}

TEST_F(OperationsTest, ExperimentLogColumnsRowsAndValues) {
    auto c = client();
    ns__StringArray names, values;
    ASSERT_EQ(c->call(soap_call_ns__getExplogColumnNames, names), 0);
    EXPECT_EQ(strings(names), (V{"shot", "date", "gas", "comment"}));
    ASSERT_EQ(c->call(soap_call_ns__getExplogColumnValues, 100, values), 0);
    EXPECT_EQ(strings(values), (V{"100", "2024-01-02", "H2", "first, with comma"}));
    char *quoted = nullptr, *gas = nullptr;
    ASSERT_EQ(c->call(soap_call_ns__getExplogColumnValue, 101, s("comment"), quoted) +
                  c->call(soap_call_ns__getExplogColumnValue, 101, s("gas"), gas),
              0);
    EXPECT_EQ(quoted + std::string("|") + gas, "quoted \"word\"|He");
    EXPECT_NE(c->call(soap_call_ns__getExplogColumnValue, 101, s("temperature"), gas), 0);
    EXPECT_EQ(c->fault(), "no such column: temperature");
    EXPECT_NE(c->call(soap_call_ns__getExplogColumnValues, 102, values), 0);
    EXPECT_EQ(c->fault(), "no experiment-log entry for shot 102");
}

TEST_F(OperationsTest, AbortDropsTheSessionAndItsBytes) {
    auto c = client();
    std::string session;
    ASSERT_EQ(c->begin(dataSet("ab", 1, 1, 1), session), 0);
    EXPECT_EQ(stagingFiles(), 1u);
    int ret = -1;
    ASSERT_EQ(c->call(soap_call_ns__abortTavolenDataRegistration, s(session), ret), 0);
    EXPECT_EQ(ret * 10 + static_cast<int>(stagingFiles()), 0);
    EXPECT_EQ(c->refused(c->end(session)), "unknown or expired upload session");
    EXPECT_EQ(c->pathOf("ab", 1, 1), "");
}

}  // namespace
