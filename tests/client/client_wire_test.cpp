// What the access object puts on the wire, seen by a scripted listener: elements, order, blocks, connections.
#include <random>
#include <regex>

#include "ClientFixture.h"
#include "FakeService.h"
#include "anadata_util.h"
#include "clsAnaDataAccess.h"

namespace {

const auto operationOf = &FakeService::operationOf;
const auto valueOf = &FakeService::valueOf;
using qx::clsAnaDataAccess;

// The element structure of a request body: "ns:op(a,b,c(item,item))".
std::string skeleton(const std::string& request) {
    static const std::regex tag("<(/?)([\\w:]+)[^>]*?(/?)>");
    std::string out;
    int depth = 0;
    char before = 0;  // what goes before the next element: '(' after its parent's tag, ',' after a sibling
    for (std::sregex_iterator t(request.begin() + static_cast<long>(request.find("<SOAP-ENV:Body") + 1),
                                request.end(), tag), end;
         t != end && depth >= 0; ++t) {
        if ((*t)[1].length() != 0) {  // a closing tag; the body's own ends the walk
            if (--depth >= 0 && before == ',') out += ")";
            before = ',';
            continue;
        }
        if (depth > 0) out += before;
        out += (*t)[2].str();
        before = (*t)[3].length() != 0 ? ',' : '(';
        depth += (*t)[3].length() == 0;
    }
    return out;
}

// Answers every operation with a valid reply; lists come back empty (their decoding is
// tested against the real service).
FakeService::Answer answer(const std::string& request, const std::string& block) {
    std::string op = operationOf(request);
    if (op == "getTavolenDataPath") return FakeService::response(op, "<path>/srv/data/d@5-1.dat.zip</path>");
    if (op == "getData")
        return FakeService::response(op, "<bin>" + (valueOf(request, "pos") == "0" ? block : "") + "</bin>");
    if (op == "beginTavolenDataRegistration") return FakeService::response(op, "<session>S-1</session>");
    if (op == "getExplogColumnValue") return FakeService::response(op, "<value>H2</value>");
    return FakeService::response(op, "<ret>0</ret><diags/><ary/><name/><values/>");
}

class WireTest : public ::testing::Test {
protected:
    void SetUp() override { token = "clientwire" + std::to_string(getpid()); }
    void TearDown() override { expectNoLeftovers(token, dir.path()); }

    std::string findRequest(FakeService& service, const std::string& op) {
        for (const auto& r : service.requests())
            if (operationOf(r) == op) return r;
        ADD_FAILURE() << "no request " << op;
        return "";
    }

    TempDir dir, home;
    std::string token;
};

TEST_F(WireTest, EveryOperationSendsTheContractsElementsInOrder) {
    FakeService service([](const std::string& r) { return answer(r, "QUJD"); });
    configureAccess(home, service.url(), "alice", "wonder");
    clsAnaDataAccess access;
    std::string name = token + ".dat";
    writeFile(dir.file(name), "abc\n");

    ASSERT_TRUE(access.Regist(dir.path().c_str(), name.c_str(), "d", 5, 0, nullptr, "sum"));
    std::string file = "got.zip";
    ASSERT_TRUE(access.Get("d", 5, 1, file, dir.path().c_str(), true));
    EXPECT_EQ(readFile(file), "ABC");
    ASSERT_TRUE(access.Delete("d", 5, 1));
    std::vector<qx::TavolenInfo> rows;
    std::vector<std::string> names;
    std::vector<qx::NumEntry> counts;
    std::vector<qx::DiagEntry> diags;
    ASSERT_TRUE(access.Search({"d", "e"}, 1, 9, 2, "bob", 50, rows) && access.getDiagnostics(names) &&
                access.getNumEntry("d", 5, 3, counts) && access.getDiagEntry(diags));
    EXPECT_TRUE(rows.empty() && names.empty() && counts.empty() && diags.empty());
    EXPECT_TRUE(access.getExplogColNames().empty() && access.getExplogColValues(7).empty());
    EXPECT_EQ(access.getExplogColValue(7, "gas"), "H2");
    access.changePassword("carol", "old", "new");

    const std::vector<std::pair<std::string, std::string>> expected{
        {"beginTavolenDataRegistration",
         "ns:beginTavolenDataRegistration(user,password,replace,info(diagnostics,filename,filedate,userid,summary,"
         "shotno,subshotno,filelen))"},
        {"putData", "ns:putData(session,bin)"},
        {"endTavolenDataRegistration", "ns:endTavolenDataRegistration(session)"},
        {"getTavolenDataPath", "ns:getTavolenDataPath(diag,shot,sub)"},
        {"getData", "ns:getData(path,pos,size)"},
        {"delTavolenData", "ns:delTavolenData(user,password,diag,shot,sub)"},
        {"listTavolenInfo", "ns:listTavolenInfo(diags(item,item),lower,higher,subshot,user,limit)"},
        {"getDiagnostics", "ns:getDiagnostics"},
        {"getNumEntry", "ns:getNumEntry(diag,shot,range)"},
        {"getDiagEntry", "ns:getDiagEntry"},
        {"getExplogColumnNames", "ns:getExplogColumnNames"},
        {"getExplogColumnValues", "ns:getExplogColumnValues(shotNo)"},
        {"getExplogColumnValue", "ns:getExplogColumnValue(shotNo,name)"},
        {"changePassword", "ns:changePassword(user,oldpass,newpass)"}};
    for (const auto& [op, shape] : expected) {
        std::string r = findRequest(service, op);
        EXPECT_EQ(skeleton(r), shape) << r;
        EXPECT_EQ(r.rfind("POST / HTTP/1.1\r\n", 0), 0u) << op;
        EXPECT_NE(r.find("xmlns:ns=\"" SERVICE_NAMESPACE "\""), std::string::npos) << op;
        for (const char* absent : {"SOAPAction:", "xsi:type", "SOAP-ENV:Header", "href="})
            EXPECT_EQ(r.find(absent), std::string::npos) << op << ": " << absent;
    }
    EXPECT_EQ(service.requests().size(), expected.size() + 1);  // the download's closing empty block

    std::string begin = findRequest(service, "beginTavolenDataRegistration");
    EXPECT_EQ(valueOf(begin, "user") + valueOf(begin, "password") + valueOf(begin, "replace") + "|" +
                  valueOf(begin, "filename") + "|" + valueOf(begin, "summary") + valueOf(begin, "subshotno") +
                  valueOf(begin, "userid"),
              "alicewondertrue|" + name + ".zip|sum1alice");
    std::string list = findRequest(service, "listTavolenInfo");
    EXPECT_EQ(valueOf(list, "lower") + valueOf(list, "higher") + valueOf(list, "subshot") + valueOf(list, "user") +
                  valueOf(list, "limit"),
              "192bob50");
    std::string get = findRequest(service, "getData");
    EXPECT_EQ(valueOf(get, "path") + "|" + valueOf(get, "pos") + "|" + valueOf(get, "size"),
              "/srv/data/d@5-1.dat.zip|0|819200");
    EXPECT_EQ(valueOf(findRequest(service, "changePassword"), "user"), "carol");
}

size_t decodedSize(const std::string& base64) {
    return base64.size() / 4 * 3 - (base64.size() - base64.find_last_not_of('=') - 1);
}

TEST_F(WireTest, TransfersMoveFullBlocksAndTheRestOverOneConnectionEach) {
    // The listener keeps the uploaded blocks as they came and hands them back by offset.
    std::vector<std::string> blocks;
    FakeService service([&](const std::string& r) {
        if (operationOf(r) == "putData") blocks.push_back(valueOf(r, "bin"));
        if (operationOf(r) != "getData") return answer(r, "");
        std::string text;
        for (size_t i = 0, at = 0; i < blocks.size() && text.empty(); at += decodedSize(blocks[i++]))
            if (std::to_string(at) == valueOf(r, "pos")) text = blocks[i];
        return FakeService::response("getData", "<bin>" + text + "</bin>");
    });
    configureAccess(home, service.url(), "alice", "wonder");
    std::string name = token + ".dat", data(2 * 819200 - 150, '\0');
    std::mt19937 gen(9);
    for (auto& c : data) c = static_cast<char>(gen());  // incompressible: the archive is a bit larger
    writeFile(dir.file(name), data);

    clsAnaDataAccess access;
    ASSERT_TRUE(access.Regist(dir.path().c_str(), name.c_str(), "d", 5, 2, nullptr, ""));
    EXPECT_EQ(service.connections(), 1);
    std::string file = "back.zip";
    ASSERT_TRUE(access.Get("d", 5, 2, file, dir.path().c_str(), true));
    EXPECT_EQ(service.connections(), 2);

    size_t archive = std::filesystem::file_size(file);
    ASSERT_EQ(blocks.size(), 3u);
    EXPECT_EQ(decodedSize(blocks[0]) + decodedSize(blocks[1]), 2u * 819200);
    EXPECT_EQ(decodedSize(blocks[2]), archive - 2 * 819200);
    std::vector<std::string> ops;
    for (const auto& r : service.requests()) ops.push_back(operationOf(r) + valueOf(r, "pos"));
    EXPECT_EQ(ops, (std::vector<std::string>{"beginTavolenDataRegistration<absent>", "putData<absent>",
                                             "putData<absent>", "putData<absent>", "endTavolenDataRegistration<absent>",
                                             "getTavolenDataPath<absent>", "getData0", "getData819200",
                                             "getData1638400", "getData" + std::to_string(archive)}));
    EXPECT_EQ(std::stoul(valueOf(service.requests()[0], "filelen")), archive);
    ASSERT_EQ(qx::unzip(file, dir.file("back.dat")), 0);
    EXPECT_TRUE(readFile(dir.file("back.dat")) == data);
}

}  // namespace
